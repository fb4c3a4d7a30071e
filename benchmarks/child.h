#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace benchmarks {

/// What a program took from start to end.
struct Cost {
    double seconds = 0;  ///< by the clock on the wall
    double cpu = 0;      ///< user and system time
    double peak_mib = 0; ///< largest resident size
};

/// Runs a program to its end with its output going nowhere. Throws when it fails.
Cost run(const std::vector<std::string>& arguments);

/// Runs a program of this folder to its end: the figures that it prints. Throws when it fails, or prints another
/// number of them.
std::vector<double> figures_of(const std::string& command, std::size_t count);

/// CPU seconds that a running process has used so far.
double cpu_seconds(int process);
/// Resident size of a running process in MiB.
double resident_mib(int process);

} // namespace benchmarks
