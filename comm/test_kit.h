#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "comm/master.h"

namespace qv::comm::test {

/// An observer for tests: calls `hear` for each message of the given id.
class Ear final : public observer::Observer_dispatcher_id {
public:
    using Hear = std::function<void(message::Message&)>;

    Ear(Dispatcher_id id, message::Id message_id, Hear hear)
        : Observer_dispatcher_id(id)
        , message_id_(message_id)
        , hear_(std::move(hear))
    {}
    void subscribe() override { add_routed(message_id_, &Ear::on_message); }
    void unsubscribe() override { remove_routed(message_id_); }

private:
    void on_message(message::Message& message) { hear_(message); }

    message::Id message_id_;
    Hear hear_;
};

/// A core for the time of a test, drained by hand.
class Core_test : public testing::Test {
protected:
    Core_test() { EXPECT_TRUE(started_); }
    ~Core_test() override { master_stop(); }

    template <class Message_type>
    std::shared_ptr<Ear> listen(const std::shared_ptr<Dispatcher>& dispatcher, Ear::Hear hear)
    {
        auto ear = std::make_shared<Ear>(dispatcher->id(), Message_type::id, std::move(hear));
        ears_.add(ear);
        return ear;
    }
    template <class Message_type> void pass(const std::shared_ptr<Dispatcher>& dispatcher)
    {
        dispatcher->post(std::make_unique<Message_type>());
        dispatcher->process_queue();
    }

    const bool started_ = core_start(0); // before all that needs a core
    observer::Observer_list ears_;
    std::shared_ptr<Dispatcher> primary = primary_dispatcher();
};

} // namespace qv::comm::test
