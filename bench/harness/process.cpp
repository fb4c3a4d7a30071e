#include "bench/harness/process.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace harness {

namespace {

using Clock = std::chrono::steady_clock;

milliseconds left_until(Clock::time_point deadline)
{
    return std::max(std::chrono::duration_cast<milliseconds>(deadline - Clock::now()), milliseconds(0));
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result(texts.size() + 1, nullptr);
    std::transform(texts.begin(), texts.end(), result.begin(), [](std::string& text) { return text.data(); });
    return result;
}

/// What its open descriptors lead to, as in "socket:[12345]".
std::set<std::string> descriptors_of(pid_t id)
{
    std::set<std::string> result;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(id) + "/fd", gone)) {
        result.insert(std::filesystem::read_symlink(entry, gone));
    }
    return result;
}

std::optional<std::uint16_t> listening_port(pid_t id)
{
    const auto descriptors = descriptors_of(id);
    std::ifstream sockets("/proc/net/tcp");
    for (std::string line; std::getline(sockets, line);) {
        std::istringstream fields(line);
        std::string number, local, remote, state, queues, timer, retries, user, timeout, inode;
        fields >> number >> local >> remote >> state >> queues >> timer >> retries >> user >> timeout >> inode;
        if (state == "0A" && descriptors.contains("socket:[" + inode + "]")) {
            return static_cast<std::uint16_t>(std::stoul(local.substr(local.find(':') + 1), nullptr, 16));
        }
    }
    return std::nullopt;
}

} // namespace

Process::Process(const std::vector<std::string>& arguments, const std::vector<std::string>& variables)
{
    auto words = arguments;
    auto environment = variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        environment.emplace_back(*entry);
    }
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    pipe_ = ends[0];
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const int error = ::posix_spawn(&id_, words.front().c_str(), &actions, nullptr, pointers(words).data(),
                                    pointers(environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (error != 0) {
        ::close(pipe_);
        throw std::runtime_error("cannot start " + words.front());
    }
}

Process::~Process()
{
    if (!status_) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
    ::close(pipe_);
}

bool Process::says(const std::string& text, milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const auto place = output_.find(text, heard_);
        if (place != output_.npos) {
            heard_ = place + text.size();
            return true;
        }
        if (Clock::now() >= deadline || !read_some(left_until(deadline))) {
            return false;
        }
    }
}

const std::string& Process::output()
{
    while (read_some(milliseconds(0))) {
    }
    return output_;
}

void Process::signal(int number) const { ::kill(id_, number); }

std::optional<int> Process::ends(milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    while (!status_) {
        int status = 0;
        if (::waitpid(id_, &status, WNOHANG) == id_) {
            status_ = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
        } else if (Clock::now() >= deadline) {
            return std::nullopt;
        } else if (!read_some(milliseconds(20))) {
            ::usleep(5000);
        }
    }
    output();
    return status_;
}

std::optional<std::uint16_t> Process::listens(milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    auto port = listening_port(id_);
    while (!port && Clock::now() < deadline && !ends(milliseconds(10))) {
        port = listening_port(id_);
    }
    return port;
}

/// False when nothing came in the time, or nothing will come any more.
bool Process::read_some(milliseconds limit)
{
    pollfd polled{pipe_, POLLIN, 0};
    if (::poll(&polled, 1, static_cast<int>(limit.count())) <= 0) {
        return false;
    }
    std::array<char, 4096> bytes{};
    const auto count = ::read(pipe_, bytes.data(), bytes.size());
    if (count <= 0) {
        return false;
    }
    output_.append(bytes.data(), static_cast<std::size_t>(count));
    return true;
}

} // namespace harness
