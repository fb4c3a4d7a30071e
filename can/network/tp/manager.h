#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "can/network/pdu/pdu.h"
#include "can/network/tp/ecu_port.h"
#include "can/network/tp/frame.h"
#include "can/network/tp/rx_specific_tp.h"
#include "can/network/tp/tx_tp.h"
#include "comm/observer.h"

namespace qv::can_bus::tp::manager {

/// How far the message now being sent has come; both 0 when there is none.
struct Transfer {
    std::uint32_t total = 0; ///< bytes
    std::uint32_t sent = 0;  ///< packets sent times 7
};

/// Runs the transport sessions of one local ECU in both directions, broadcasts being sent included.
///
/// Sends run one at a time, in the order of `send`. Receptions of 17 packets or more take turns, one window
/// each; smaller ones run freely beside them. A finished message reaches its subscribers before the handling
/// of its last frame returns; they may call `send` meanwhile, or take the ECU away.
///
/// What strangers can make it keep is bounded. The sizes announced to it and not yet received add up to
/// `announced_maximum` at most, which is twice the largest message, in `receptions_maximum` sessions at most,
/// one by TP and one by ETP for each address of a bus. An RTS beyond that is refused (abort, reason 7) as for
/// any lack of memory. `sends_maximum` messages may wait to be sent: answers to a peer that asks without end
/// and never takes them.
///
/// Thread: the bus thread. Its owner, the ECU, outlives the subscription: it subscribes the manager once its
/// dispatchers are there, and unsubscribes it, which ends all sessions without a frame, before it goes.
class Manager final : public comm::observer::Observer_dispatcher_id {
public:
    static constexpr std::uint64_t announced_maximum = 2 * std::uint64_t{extended_size_maximum};
    static constexpr std::size_t receptions_maximum = 508;
    static constexpr std::size_t sends_maximum = 1024;

    explicit Manager(Ecu_port& ecu);

    void subscribe() override;
    void unsubscribe() override;

    /// Queues a message of `size` bytes for `peer`, or for all when that is empty; it starts with a tick.
    /// `context` may produce the bytes from `payload`, and comes back with the finished session. False, with
    /// nothing queued, for an empty payload, one without context that is not `size` bytes long, a size that
    /// no protocol carries (1785 bytes is the limit of a broadcast), and a full queue.
    bool send(std::shared_ptr<data_supplier::Data_supplier> context, std::uint32_t pgn,
              std::unique_ptr<Byte_array> payload, std::uint32_t size, const std::shared_ptr<node::Node>& peer);
    /// Ends the send of this `context` as one that failed. A peer that is in the middle of it is sent an abort.
    void withdraw(const data_supplier::Data_supplier& context);
    Transfer current_transfer() const;

private:
    using Reception = std::shared_ptr<rx::specific::TP>;

    template <class Visit> static void for_each_subscription(Visit visit);

    void on_time_elapsed(comm::message::Message& message);
    void on_tp_cm_extended(comm::message::Message& message);
    void on_tp_cm_standard(comm::message::Message& message);
    void on_tp_dt_extended(comm::message::Message& message);
    void on_tp_dt_standard(comm::message::Message& message);

    void on_rts(const pdu::PDU& pdu, bool extended);
    void on_cts(const pdu::PDU& pdu, bool extended);
    void on_dpo(const pdu::PDU& pdu);
    void on_eoma(const pdu::PDU& pdu, bool extended);
    void on_abort(const pdu::PDU& pdu, bool extended);
    void on_data(const pdu::PDU& pdu, bool extended);

    Reception open(const pdu::PDU& pdu, bool extended);
    bool has_room_for(std::uint32_t size) const;
    Reception find_reception(const pdu::PDU& pdu, bool extended, std::uint32_t pgn) const;
    std::shared_ptr<tx::TP> find_send(const pdu::PDU& pdu, bool extended) const;
    void rotate(rx::specific::TP* current);
    void give_free_turn();
    void rx_step(std::uint32_t elapsed);
    void end(rx::specific::TP& session);
    void tx_step(std::uint32_t elapsed);

    Ecu_port& ecu_;
    std::vector<Reception> receptions_;
    std::deque<std::shared_ptr<tx::TP>> sends_; ///< the first one runs
};

} // namespace qv::can_bus::tp::manager
