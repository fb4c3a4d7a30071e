#include <cstdio>
#include <memory>
#include <stdexcept>

#include "benchmarks/report.h"

namespace benchmarks {

namespace {

using Pipe = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// The figures that a program of this folder prints.
Pipe run(const char* command) { return {::popen(command, "r"), &::pclose}; }

/// What the log of PDUs takes of the bus thread.
std::vector<Row> measure_annotated_line()
{
    const Pipe pipe = run(FLINTROW_BIN_DIR "/annotated_line");
    double off = 0;
    double plain = 0;
    double annotated = 0;
    unsigned characters = 0;
    if (pipe == nullptr || std::fscanf(pipe.get(), "%lf %lf %lf %u", &off, &plain, &annotated, &characters) != 4) {
        throw std::runtime_error("annotated_line failed");
    }
    // 2000 PDUs a second, more than a bus of 250 kbit/s brings, may take a hundredth of a core.
    constexpr double bound = 5000;
    const std::string bound_text = figure(bound, 0, "ns (1 % of a core at 2000/s)");
    return {{"one PDU logged without its annotation", figure(plain - off, 0, "ns"), bound_text,
             (plain - off) / bound, 1},
            {"one annotated PDU line, an address claim",
             figure(annotated - off, 0, "ns") + " (" + std::to_string(characters) + " characters)", bound_text,
             (annotated - off) / bound, 1}};
}

} // namespace

std::vector<Row> measure_frame_road()
{
    const Pipe pipe = run(FLINTROW_BIN_DIR "/frame_road");
    double nanoseconds = 0;
    double allocations = 0;
    double copies = 0;
    double position = 0;
    if (pipe == nullptr ||
        std::fscanf(pipe.get(), "%lf %lf %lf %lf", &nanoseconds, &allocations, &copies, &position) != 4) {
        throw std::runtime_error("frame_road failed");
    }
    // At the highest rate of a 250 kbit/s bus a frame may take half a millisecond; the figure is told as such.
    std::vector<Row> rows{
        {"one frame from Received to an observer of its PGN", figure(nanoseconds, 0, "ns"), "a figure", 0, 1},
        {"the same: heap allocations", figure(allocations, 2, "a frame"),
         figure(2 + copies, 0, "(2, and 3 subscriber copies)"), allocations / (2 + copies), 1}};
    // 250 a second are more than a bus of 250 kbit/s brings; they may take a thousandth of a core.
    constexpr double position_bound = 4000;
    rows.push_back({"decoding of a position message, 51 bytes", figure(position, 0, "ns"),
                    figure(position_bound, 0, "ns"), position / position_bound, 1});
    const auto lines = measure_annotated_line();
    rows.insert(rows.end(), lines.begin(), lines.end());
    return rows;
}

} // namespace benchmarks
