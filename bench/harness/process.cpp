#include "bench/harness/process.h"

#include <array>
#include <csignal>
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
    std::vector<char*> result;
    for (auto& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
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
