#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "comm/master.h"

namespace qv::comm::test {

/// An observer for tests: calls `hear` for each message of the given ids.
class Ear final : public observer::Observer_dispatcher_id {
public:
    using Hear = std::function<void(message::Message&)>;

    Ear(Dispatcher_id id, std::vector<message::Id> ids, Hear hear)
        : Observer_dispatcher_id(id)
        , ids_(std::move(ids))
        , hear_(std::move(hear))
    {}
    void subscribe() override
    {
        for (const auto id : ids_) {
            add_routed(id, &Ear::on_message);
        }
    }
    void unsubscribe() override
    {
        for (const auto id : ids_) {
            remove_routed(id);
        }
    }

private:
    void on_message(message::Message& message) { hear_(message); }

    std::vector<message::Id> ids_;
    Hear hear_;
};

/// A core for the time of a test, drained by hand.
class Core_test : public testing::Test {
protected:
    Core_test() { EXPECT_TRUE(core_start(0)); }
    ~Core_test() override { master_stop(); }

    std::shared_ptr<Ear> listen(const std::shared_ptr<Dispatcher>& dispatcher, std::vector<message::Id> ids,
                                Ear::Hear hear)
    {
        auto ear = std::make_shared<Ear>(dispatcher->id(), std::move(ids), std::move(hear));
        ears_.add(ear);
        return ear;
    }

    observer::Observer_list ears_;
};

} // namespace qv::comm::test
