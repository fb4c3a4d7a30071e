#include <cstdio>
#include <memory>
#include <stdexcept>

#include "benchmarks/report.h"

namespace benchmarks {

std::vector<Row> measure_frame_road()
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen(FLINTROW_BIN_DIR "/frame_road", "r"),
                                                               &::pclose);
    double nanoseconds = 0;
    double allocations = 0;
    double copies = 0;
    if (pipe == nullptr || std::fscanf(pipe.get(), "%lf %lf %lf", &nanoseconds, &allocations, &copies) != 3) {
        throw std::runtime_error("frame_road failed");
    }
    // At the highest rate of a 250 kbit/s bus a frame may take half a millisecond; the figure is told as such.
    return {{"one frame from Received to an observer of its PGN", figure(nanoseconds, 0, "ns"), "a figure", 0, 1},
            {"the same: heap allocations", figure(allocations, 2, "a frame"),
             figure(2 + copies, 0, "(2, and 3 subscriber copies)"), allocations / (2 + copies), 1}};
}

} // namespace benchmarks
