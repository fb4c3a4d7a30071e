#include "benchmarks/child.h"
#include "benchmarks/report.h"

namespace benchmarks {

namespace {

/// What the log of PDUs takes of the bus thread.
std::vector<Row> measure_annotated_line()
{
    const auto figures = figures_of("annotated_line", 4);
    const double off = figures[0];
    const double plain = figures[1];
    const double annotated = figures[2];
    // 2000 PDUs a second, more than a bus of 250 kbit/s brings, may take a hundredth of a core.
    constexpr double bound = 5000;
    const std::string bound_text = figure(bound, 0, "ns (1 % of a core at 2000/s)");
    return {{"one PDU logged without its annotation", figure(plain - off, 0, "ns"), bound_text,
             (plain - off) / bound, 1},
            {"one annotated PDU line, an address claim",
             figure(annotated - off, 0, "ns (") + figure(figures[3], 0, "characters)"), bound_text,
             (annotated - off) / bound, 1}};
}

} // namespace

std::vector<Row> measure_frame_road()
{
    const auto figures = figures_of("frame_road", 4);
    const double nanoseconds = figures[0];
    const double allocations = figures[1];
    const double copies = figures[2];
    const double position = figures[3];
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
