#pragma once

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "can/network/node/node.h"
#include "comm/master.h"
#include "comm/observer.h"
#include "comm/time_message.h"
#include "framework/byte_array.h"

namespace qv::can_bus::test {

/// "00 EE 00" as bytes.
inline Byte_array hex(const std::string& text)
{
    std::vector<std::uint8_t> bytes;
    for (const char* position = text.c_str(); std::isxdigit(static_cast<unsigned char>(*position)) != 0;) {
        char* end = nullptr;
        bytes.push_back(static_cast<std::uint8_t>(std::strtoul(position, &end, 16)));
        position = *end == ' ' ? end + 1 : end;
    }
    return Byte_array(bytes);
}

/// The characters as bytes.
inline Byte_array chars(std::string_view text)
{
    return Byte_array({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

/// Calls `hear` for each message of the given ids.
class Ear final : public comm::observer::Observer_dispatcher_id {
public:
    using Ids = std::vector<comm::message::Id>;
    using Hear = std::function<void(comm::message::Message&)>;

    Ear(comm::Dispatcher_id id, Ids ids, Hear hear)
        : Observer_dispatcher_id(id)
        , ids_(std::move(ids))
        , hear_(std::move(hear))
    {}
    void subscribe() override
    {
        std::ranges::for_each(ids_, [this](auto id) { add(id, &Ear::on_message); });
    }
    void unsubscribe() override
    {
        std::ranges::for_each(ids_, [this](auto id) { remove(id); });
    }

private:
    void on_message(comm::message::Message& message) { hear_(message); }

    Ids ids_;
    Hear hear_;
};

/// A comm core with a dispatcher in the place of a bus's.
class Network_test : public testing::Test {
protected:
    Network_test() { EXPECT_TRUE(comm::core_start(0)); }
    ~Network_test() override { comm::master_stop(); }

    std::shared_ptr<Ear> listen(const std::shared_ptr<comm::Dispatcher>& dispatcher, Ear::Ids ids, Ear::Hear hear)
    {
        auto ear = std::make_shared<Ear>(dispatcher->id(), std::move(ids), std::move(hear));
        ears_.add(ear);
        return ear;
    }
    /// Lets time pass on the primary dispatcher and hands it to all who listen.
    void pass(std::uint32_t milliseconds)
    {
        comm::primary_dispatcher()->post(
            std::make_unique<comm::message::time_elapsed::Time_elapsed>(milliseconds));
        comm::primary_dispatcher()->process_queue();
        drain();
    }
    /// To the bus's dispatcher.
    void post(std::unique_ptr<comm::message::Message> message)
    {
        bus_dispatcher_->post(std::move(message));
        drain();
    }
    void pass_each(const std::vector<std::uint32_t>& ticks)
    {
        std::ranges::for_each(ticks, [this](std::uint32_t tick) { pass(tick); });
    }
    virtual void drain() { bus_dispatcher_->process_queue(); }

    std::shared_ptr<comm::Dispatcher> bus_dispatcher_;
    comm::observer::Observer_list ears_;
};

/// A bus for nodes, which asks them nothing.
class Node_bus_test : public Network_test, public node::Bus_port {
protected:
    Node_bus_test() { bus_dispatcher_ = comm::create_dispatcher("bus", false); }
    ~Node_bus_test() override { ears_.clear(); }

    comm::Dispatcher_id dispatcher_id() const override { return bus_dispatcher_->id(); }
    bool detail_manager_enabled() const override { return false; }
    bool can_request() const override { return false; }
    void request(std::uint32_t /*pgn*/, const std::shared_ptr<node::Node>& /*node*/) override {}
};

} // namespace qv::can_bus::test
