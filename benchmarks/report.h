#pragma once

#include <functional>
#include <string>
#include <vector>

namespace benchmarks {

/// One line of the table. `ratio` is the measured figure by its bound, or by the other tool's figure of the same
/// run; the row is `ok` when it does not exceed `limit`.
struct Row {
    std::string what;
    std::string measured;
    std::string bound;
    double ratio = 0;
    double limit = 1;
    bool skipped = false; ///< `measured` tells why
};

/// Prints the rows as a table, each ending in "ok", "short" or "skipped".
void print(const std::vector<Row>& rows);

/// "%.*f unit".
std::string figure(double value, int digits, const char* unit);

/// A row that this machine cannot measure, and why.
Row skipped(const std::string& what, const std::string& why);

/// The rows, a group each. They take minutes, and print nothing.
std::vector<Row> measure_image_parsing(const std::string& folder);
std::vector<Row> measure_log(const std::string& folder);
std::vector<Row> measure_programming();
std::vector<Row> measure_service();
std::vector<Row> measure_control_interface();
std::vector<Row> measure_frame_road();
Row measure_programming_over_can();
std::vector<Row> measure_extended_transport();

} // namespace benchmarks
