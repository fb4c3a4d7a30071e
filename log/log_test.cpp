#include "log/log.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "comm/shutdown_message.h"
#include "framework/signal/handler.h"
#include "framework/thread/clock.h"
#include "framework/thread/process_exit.h"
#include "log/directory.h"
#include "log/test_kit.h"

namespace qv::log {
namespace {

namespace fs = std::filesystem;
using comm::message::time_elapsed::Milliseconds_500;
using test::holds;
using test::Log_test;

TEST_F(Log_test, lays_its_file_out_with_a_header_a_line_for_each_item_and_the_clients)
{
    start(5);
    const Client client = register_client("engine");
    write(5, client, "temperature %d \xC2\xB0\x43", 90);
    write(6, client, "too much");
    write(0, 3, "two\nlines\tat\r%s", "once");
    log->register_client(client, "engine");
    log->register_client(client, "motor");
    log->register_client(7, "seven");
    register_client("eight");
    std::string layout = "\xEF\xBB\xBFOur tool 1\\.2\\.3\\.4 - "
                         "Our_tool_[0-9]{4}-[0-9]{2}-[0-9]{2}_[0-9]{2}-[0-9]{2}-[0-9]{2}\\.log\n\n"
                         "time                  lvl   id  text\n";
    for (const std::string item :
         {"0    0  client 0 'default client' registered", "0    0  client 1 'engine' registered",
          "5    1  temperature 90 \xC2\xB0\x43", "0    3  two\\.lines\tat\\.once",
          "0    0  client 1 'engine' registered", "0    0  client 1 'engine' was already registered",
          "0    0  client 1 'motor' registered", "0    0  client 7 'seven' registered",
          "0    0  client 8 'eight' registered", "0    0  closing log"}) {
        layout += "[0-9]{6,}\\.[0-9]{3}  [0-9]{2}:[0-9]{2}:[0-9]{2}    " + item + "\n";
    }
    layout += "client 0 'default client'\nclient 1 'motor'\nclient 7 'seven'\nclient 8 'eight'\n";
    const std::string written = finish();
    EXPECT_THAT(written, testing::MatchesRegex(layout));
    EXPECT_TRUE(holds(written, " - " + fs::read_symlink(directory / "log/Our_tool.log").string() + "\n"));
    EXPECT_EQ(register_client("late"), 0U);
}

TEST_F(Log_test, writes_on_each_tick_while_others_watch_and_what_comes_after_the_stop_as_well)
{
    start();
    listen<item::Message>(log->dispatcher(), [](comm::message::Message& message) {
        const auto copy = message.clone();
        const auto& item = dynamic_cast<item::Message&>(*copy);
        write(0, item.client + 1, "watched %s", item.text.to_utf_8_string().c_str()); // a watcher may log
    });
    EXPECT_FALSE(fs::exists(directory / "log"));
    write(1, 4, "line");
    EXPECT_TRUE(soon([&] { return holds(text(), "    0    5  watched line\n"); }));
    log->dispatcher()->post(std::make_unique<directory::message::Cleanup>(0, 0, 1));
    comm::mark_core_stopping();
    pass<comm::message::shutdown::Application>(primary); // nobody ticks from here on
    write(1, 0, "after");
    EXPECT_TRUE(holds(finish(), "after\n"));
}

TEST_F(Log_test, keeps_every_line_of_two_threads_in_order)
{
    constexpr int count = 50'000;
    start();
    const auto talk = [this](Client client) {
        for (int number = 0; number < count; ++number) {
            write(1, client, "%d", number);
            if (number % 5000 == 0) {
                log->dispatcher()->post(std::make_unique<Milliseconds_500>());
            }
        }
    };
    std::thread other(talk, 1);
    talk(2);
    other.join();
    std::istringstream lines(finish());
    int next[3] = {};
    double clock = 0;
    double last_clock = 0;
    unsigned client = 0;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        if (std::sscanf(line.c_str(), "%lf %*s 1 %u %d", &clock, &client, &number) == 3) {
            ASSERT_EQ(number, next[client]++);
            ASSERT_GE(clock, std::exchange(last_clock, clock));
        }
    }
    EXPECT_EQ(next[1], count);
    EXPECT_EQ(next[2], count);
}

TEST_F(Log_test, bounds_what_waits_and_tells_how_much_was_lost)
{
    start();
    for (std::size_t number = 1; number < Log::waiting_lines_maximum + 9; ++number) { // one waits already
        write(1, 0, "x");
    }
    write(0, 0, "important");
    EXPECT_TRUE(holds(finish(), "    0    0  important\n"));
    EXPECT_TRUE(holds(text(), "    0    0  9 lines lost\n"));

    fs::remove_all(directory / "log"); // a second later the next run has a file of its own
    start();
    const std::string dump(Log::waiting_bytes_maximum / 100, 'x');
    for (int number = 0; number < 150; ++number) {
        write(1, 0, "%s", dump.c_str());
    }
    write(0, 0, "important too");
    EXPECT_TRUE(holds(finish(), "    0    0  important too\n"));
}

TEST_F(Log_test, costs_nothing_but_itself_where_no_file_can_be_written)
{
    std::ofstream(directory / "file") << "kept";
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    for (const std::string place : {"missing/log", "file", "removed", "full"}) {
        const rlimit limit{place == "full" ? 64 : former.rlim_cur, former.rlim_max};
        const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &limit);
        start(0, place);
        EXPECT_TRUE(place != "removed" || soon([&] {
                        std::error_code busy; // the log may make its file just then
                        return fs::exists(directory / place) && fs::remove_all(directory / place, busy) != 0 &&
                               !busy;
                    }));
        for (int number = 0; number < 1000; ++number) {
            write(0, 0, "a line of a text %d", number);
        }
        finish();
        ::setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, ignored);
    }
    EXPECT_EQ(fs::file_size(directory / "file"), 4U);
}

/// The exit status of a process of its own that does the work, 99 when that comes to its end.
template <class Work> int status_of(Work work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        std::_Exit(99);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// The directory belongs to another user, and holds pipes by the names of the next files: to open one is to wait.
TEST_F(Log_test, holds_up_nobody_on_a_disk_that_hangs_or_lets_nobody_in)
{
    fs::create_directory(directory / "log");
    fs::permissions(directory, fs::perms::all);
    for (const std::time_t names : {0, 10}) {
        std::vector<std::string> pipes;
        for (std::time_t name = 0; name < names; ++name) {
            const std::time_t second = std::time(nullptr) + name;
            char path[64];
            std::strftime(path, sizeof path, "log/Our_tool_%Y-%m-%d_%H-%M-%S.log", std::gmtime(&second));
            pipes.push_back(directory / path);
            ASSERT_EQ(::mkfifo(pipes.back().c_str(), 0), 0);
            fs::permissions(pipes.back(), fs::perms::all);
        }
        fs::permissions(directory / "log", static_cast<fs::perms>(0555));
        const auto log_for_a_while = [&] {
            ::alarm(20);
            static_cast<void>(::setresuid(65534, 65534, 65534)); // root may do all
            start();
            write(0, 0, "first");
            soon([start = time::now_ms()] { return time::now_ms() - start > 100; });
            for (int number = 0; number < 500; ++number) {
                write(0, 0, "line %d", number);
            }
            std::vector<int> ends;
            for (const auto& pipe : pipes) {
                ends.push_back(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK));
            }
            log.reset();
            destroy();
            std::string written;
            for (const int end : ends) {
                char part[65536];
                written.append(part,
                               static_cast<std::size_t>(std::max(::read(end, part, sizeof part), ssize_t{0})));
            }
            std::_Exit(holds(written, "first\n") && holds(written, "line 499\n") ? 10 : 0);
        };
        EXPECT_EQ(status_of(log_for_a_while), names);
        fs::permissions(directory / "log", fs::perms::owner_all);
        for (const auto& pipe : pipes) {
            fs::remove(pipe);
        }
    }
}

/// Ends a process of its own while other threads keep the log busy.
class Log_end_test : public Log_test {
protected:
    template <class End> int run(End end)
    {
        fs::remove_all(directory / "log");
        return status_of([this, &end] {
            start();
            register_client("the one that fails");
            const auto talk = [] {
                for (;;) {
                    write(9, 0, "busy");
                }
            };
            std::thread(talk).detach();
            std::thread(talk).detach();
            const posix_signal::Handler handler(posix_signal::type::all);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            end();
            std::this_thread::sleep_for(std::chrono::seconds(10));
        });
    }
};

TEST_F(Log_end_test, leaves_a_whole_file_with_the_report_of_a_signal)
{
    const std::string clients = "\nclient 0 'default client'\nclient 1 'the one that fails'\n";
    EXPECT_EQ(run([] { qv::thread::end_process(9); }), 9);
    EXPECT_TRUE(text().ends_with(clients));
    for (const auto& [signal, type] : {std::pair{SIGSEGV, 256}, {SIGABRT, 4}, {SIGQUIT, 8}}) {
        EXPECT_EQ(run([number = signal] { ::raise(number); }), -type & 0xFF);
        EXPECT_TRUE(holds(text(), "    0    0  signal raised: "));
        EXPECT_TRUE(holds(text(), "    0    0  terminated by signal #" + std::to_string(type) + "\n"));
        EXPECT_TRUE(text().ends_with(clients));
    }
}

} // namespace
} // namespace qv::log
