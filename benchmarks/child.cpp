#include "benchmarks/child.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace benchmarks {

namespace {

double seconds_of(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

} // namespace

Cost run(const std::vector<std::string>& arguments)
{
    auto words = arguments;
    std::vector<char*> pointers;
    for (auto& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    const int error = ::posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage{};
    if (error != 0 || ::wait4(child, &status, 0, &usage) != child || status != 0) {
        throw std::runtime_error(arguments[0] + " failed");
    }
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    return {passed.count(), seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / 1024};
}

std::vector<double> figures_of(const std::string& command, std::size_t count)
{
    std::FILE* const pipe = ::popen((FLINTROW_BIN_DIR "/" + command).c_str(), "r");
    std::vector<double> figures;
    double figure = 0;
    while (pipe != nullptr && std::fscanf(pipe, "%lf", &figure) == 1) {
        figures.push_back(figure);
    }
    if (pipe == nullptr || ::pclose(pipe) != 0 || figures.size() != count) {
        throw std::runtime_error(command + " failed");
    }
    return figures;
}

double cpu_seconds(int process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream fields(line.substr(line.rfind(')') + 2));
    std::string skipped;
    for (int field = 3; field < 14; ++field) {
        fields >> skipped;
    }
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

double resident_mib(int process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/statm");
    double total = 0;
    double resident = 0;
    file >> total >> resident;
    return resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1 << 20);
}

} // namespace benchmarks
