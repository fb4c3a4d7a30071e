#include "service/unzip.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "framework/file/root.h"
#include "service/update_place.h"

namespace qv::can_bus::flr {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* command = "/usr/bin/unzip";
// What the command finds open beside its standard descriptors.
constexpr int archive_in_child = 3;
constexpr const char* archive_name = "/proc/self/fd/3";
/// A second way into the pipe, which the command does not know and so keeps until it ends.
constexpr int life_in_child = 4;

int open_above_standard(const std::string& path)
{
    // Not blocking: should the path by now lead to a pipe, nothing waits for its writer.
    const int descriptor = ::open(place_of(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int above = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(descriptor);
    return above;
}

/// Reading and writing end, closed when they are no longer needed.
struct Pipe {
    Pipe() noexcept
        : is_open(::pipe2(ends.data(), O_CLOEXEC) == 0)
    {}
    ~Pipe()
    {
        close(ends[0]);
        close(ends[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    static void close(int& end) noexcept
    {
        if (end >= 0) {
            ::close(end);
        }
        end = -1;
    }

    std::array<int, 2> ends{-1, -1};
    const bool is_open;
};

/// With what the command starts: no descriptor, signal setting or terminal of this process.
class Start {
public:
    Start(int archive, int output)
    {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        // In this order none is overwritten before it was used, whatever their numbers are here.
        ::posix_spawn_file_actions_adddup2(&actions, archive, archive_in_child);
        ::posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, life_in_child);
        ::posix_spawn_file_actions_addclosefrom_np(&actions, life_in_child + 1);

        sigset_t signals;
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setflags(&attributes,
                                   POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes, &signals);
    }
    ~Start()
    {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

/// The running command; ended by force unless it was waited for.
class Child {
public:
    Child(int archive, std::string member, int output)
    {
        const Start start(archive, output);
        auto program = file::rooted(command);
        std::string option = "-p";
        std::string name = archive_name;
        const std::array arguments{program.data(), option.data(), name.data(), member.data(),
                                   static_cast<char*>(nullptr)};
        // No variables: some of them hold further options of the command.
        const std::array<char*, 1> variables{nullptr};
        if (::posix_spawn(&id_, program.c_str(), &start.actions, &start.attributes, arguments.data(),
                          variables.data()) != 0) {
            id_ = -1;
        }
    }
    ~Child()
    {
        if (is_running()) {
            ::kill(-id_, SIGKILL);
            wait();
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool is_running() const noexcept { return id_ > 0; }

    /// The exit status; -1 when a signal was the end.
    int wait()
    {
        int status = 0;
        pid_t ended = 0;
        do {
            ended = ::waitpid(id_, &status, 0);
        } while (ended < 0 && errno == EINTR);
        id_ = -1;
        return ended > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t id_ = -1;
};

bool wait_readable(int descriptor, Clock::time_point deadline)
{
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd polled{descriptor, POLLIN, 0};
        const int ready = ::poll(&polled, 1, static_cast<int>(left.count()));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

/// Reads until nobody can write any more. False when the limits or an error ended it.
bool read_all(int descriptor, Clock::time_point deadline, std::string& bytes)
{
    std::array<char, 4096> piece;
    while (wait_readable(descriptor, deadline)) {
        const auto count = ::read(descriptor, piece.data(), piece.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == 0;
        }
        bytes.append(piece.data(), static_cast<std::size_t>(count));
        if (bytes.size() > Zip_archive::member_limit) {
            return false;
        }
    }
    return false;
}

} // namespace

Zip_archive::Zip_archive(const std::string& path, std::chrono::milliseconds time_limit)
    : time_limit_(time_limit)
    , descriptor_(open_above_standard(path))
{}

Zip_archive::~Zip_archive()
{
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

Zip_archive::Member Zip_archive::extract(const std::string& member) const
{
    const auto deadline = Clock::now() + time_limit_;
    Pipe pipe;
    if (descriptor_ < 0 || !pipe.is_open) {
        return {};
    }
    Child child(descriptor_, member, pipe.ends[1]);
    Pipe::close(pipe.ends[1]);
    Member result;
    if (!child.is_running() || !read_all(pipe.ends[0], deadline, result.bytes)) {
        return {};
    }
    result.status = child.wait(); // at once: the pipe ended because the command did
    if (result.status != 0) {
        result.bytes.clear();
    }
    return result;
}

} // namespace qv::can_bus::flr
