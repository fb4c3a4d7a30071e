#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "can/network/pdu/pdu.h"
#include "can/network/tp/rx_tp.h"
#include "comm/observer.h"

namespace qv::can_bus::tp::rx::bam {

/// A broadcast being received [ISO 11783-3 5.13; SAE J1939-21 5.10.2.1]. Nothing answers on the bus; a broken one
/// disappears.
class TP final : public rx::TP {
public:
    TP(std::shared_ptr<node::Node> peer, std::uint32_t pgn, std::uint32_t size,
       comm::dispatcher::Dispatcher_id bus_dispatcher_id);

    void on_time_elapsed(std::uint32_t elapsed) override;
    /// A data frame: `index` is its sequence number less 1. One that does not belong is ignored.
    void packet(std::uint32_t index, std::span<const std::uint8_t> bytes);

private:
    comm::dispatcher::Dispatcher_id bus_dispatcher_id_;
};

} // namespace qv::can_bus::tp::rx::bam

namespace qv::can_bus::tp::rx::bam::manager {

/// Receives the broadcasts of one bus, each once whatever the number of local ECUs.
///
/// An announcement leaves the sender's earlier ones alone: data goes to the oldest until it ends. Beyond
/// `sessions_per_sender_maximum` of one sender, or `sessions_maximum` in all, further announcements are
/// dropped without a word, so that a flood of them stays below 1 MiB.
///
/// Thread: the bus thread. Its owner, the bus, subscribes it after creation and unsubscribes it before it goes.
class Manager final : public comm::observer::Observer_dispatcher_id {
public:
    static constexpr std::size_t sessions_per_sender_maximum = 8;
    static constexpr std::size_t sessions_maximum = 508;

    Manager(comm::dispatcher::Dispatcher_id pdu_dispatcher_id, comm::dispatcher::Dispatcher_id bus_dispatcher_id);

    void subscribe() override;
    void unsubscribe() override;

private:
    void on_time_elapsed(comm::message::Message& message);
    void on_tp_cm_standard(comm::message::Message& message);
    void on_tp_dt_standard(comm::message::Message& message);
    void step(std::uint32_t elapsed);
    bool has_room_for(const node::Node* sender) const;

    comm::dispatcher::Dispatcher_id bus_dispatcher_id_;
    std::vector<std::shared_ptr<TP>> sessions_; ///< in the order of their announcements
};

} // namespace qv::can_bus::tp::rx::bam::manager
