#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "can/hardware/message.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "comm/thread_message.h"
#include "comm/time_message.h"
#include "framework/byte_text.h"
#include "framework/log/hook.h"
#include "framework/socket/address.h"
#include "framework/socket/socket.h"

namespace qv::can_bus::hardware::test {

using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

/// Keeps the log up to a level as lines "client level text". The first client is 1.
class Log_lines final : public log::Sink {
public:
    explicit Log_lines(log::Level highest)
        : highest_(highest)
    {
        log::set_sink(this);
    }
    ~Log_lines() override { log::set_sink(nullptr); }
    bool accepts(log::Level level) const override { return level <= highest_; }
    void write(log::Level level, log::Client client, string::Utf_8_string text) override
    {
        lines.push_back(std::to_string(client) + " " + std::to_string(level) + " " + text.to_utf_8_string());
    }
    log::Client register_client(std::string_view name) override
    {
        clients.emplace_back(name);
        return static_cast<log::Client>(clients.size());
    }

    Texts clients;
    Texts lines;

private:
    log::Level highest_;
};

/// Waits for what other threads do. False when it does not come.
inline bool await(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Posts a message to the primary dispatcher and hands it on to all threads.
template <class Message, class... Arguments> void announce(Arguments... arguments)
{
    comm::primary_dispatcher()->post(std::make_unique<Message>(arguments...));
    comm::primary_dispatcher()->process_queue();
}

/// The dispatcher of one of the router client's threads, empty when that does not run.
inline std::shared_ptr<comm::Dispatcher> client_thread(const char* name)
{
    return comm::find_dispatcher_by_name(std::string("CAN bus router client ") + name);
}

/// Ends the router client's threads.
inline bool stop_client()
{
    return await([] {
        announce<comm::message::shutdown::Application>();
        return !client_thread("receiver") && !client_thread("transmitter");
    });
}

/// "18EA80FE 00 EE 00".
inline std::string text_of(const Message& message)
{
    std::array<char, 16> identifier;
    std::snprintf(identifier.data(), identifier.size(), "%08X", message.identifier);
    return identifier.data() + to_hex_text(message.data, all_bytes, {.uppercase = true, .spaced = true});
}

/// How many of the threads that begin late have begun.
inline std::atomic<int> late_threads{0};

/// Lets the threads of the bus begin long after their start. The core of the test runs already.
inline void delay_bus_threads()
{
    static std::thread::id starter;
    starter = std::this_thread::get_id();
    late_threads = 0;
    thread::set_lifecycle_hook([](const std::shared_ptr<thread::Handle>& handle, bool finished) {
        if (!finished && starter != std::this_thread::get_id() && handle->name().starts_with("CAN bus")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            ++late_threads;
        }
        comm::post_to(comm::primary_dispatcher_id(),
                      std::make_unique<comm::message::thread_handle::Thread_handle>(handle, finished));
    });
}

/// The router's end of a connection.
class Router {
public:
    Router() { EXPECT_TRUE(listening_.listen_on(socket::loopback_address(), AF_INET, 0, false, true)); }

    std::uint16_t port() const { return listening_.port(); }
    /// Ticks until the client has connected.
    bool accept()
    {
        return await([this] {
            announce<comm::message::time_elapsed::Milliseconds_500>();
            return client_thread("transmitter") && listening_.accept(connection_);
        });
    }
    void hang_up() { connection_.close(); }
    /// Lets the client, which is in this process, meet a full buffer soon.
    void shrink_buffer_of_client(int size) const
    {
        for (int descriptor = 0; descriptor < 256; ++descriptor) {
            sockaddr_in peer{};
            socklen_t length = sizeof peer;
            if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
                peer.sin_port == htons(port())) {
                ::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
            }
        }
    }
    void send(const Bytes& bytes) { EXPECT_TRUE(connection_.write(bytes.data(), bytes.size())); }
    Bytes receive(std::size_t count)
    {
        Bytes bytes(count);
        for (std::size_t size = 0, more = 0; size < count; size += more) {
            more = count - size;
            EXPECT_TRUE(connection_.wait_readable(10000) && connection_.read(bytes.data() + size, more));
        }
        return bytes;
    }
    /// The next record but the request for all claims, which the client sends when its connection changes.
    Bytes receive_record()
    {
        const Bytes claim_request{0xFE, 0xFF, 0xEA, 0x98, 3, 0x00, 0xEE, 0, 0, 0, 0, 0, 0};
        Bytes record = receive(13);
        while (record == claim_request) {
            record = receive(13);
        }
        return record;
    }
    /// All that comes until nothing more does; `ended` tells whether the connection is at its end.
    Bytes receive_rest(bool& ended)
    {
        Bytes bytes;
        for (ended = false; !ended && connection_.wait_readable(500);) {
            Bytes part(4096);
            std::size_t size = part.size();
            ended = !connection_.read(part.data(), size);
            bytes.insert(bytes.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(size));
        }
        return bytes;
    }

private:
    socket::Socket listening_{false, "listening router"};
    socket::Socket connection_{false, "router"};
};

} // namespace qv::can_bus::hardware::test
