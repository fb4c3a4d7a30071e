#pragma once

#include <memory>

#include "can/network/node/table.h"
#include "comm/observer.h"

namespace qv::can_bus::working_set {

/// Follows the announcements of all masters on the bus [ISO 11783-7]. Once one is complete, the nodes of its
/// members name the master as the source of their PDUs. A message of another length than 8, or of a sender that
/// nobody knows, is ignored.
///
/// Thread: the bus thread, on the bus's PDU dispatcher. Lifetime: the bus owns it.
class PDU_observer final : public comm::observer::Observer_dispatcher_id {
public:
    /// `nodes`, the table of the bus, outlives it.
    PDU_observer(comm::dispatcher::Dispatcher_id pdu_dispatcher_id, const node::Table& nodes) noexcept;

    void subscribe() override;
    void unsubscribe() override;

private:
    template <class Visit> static void for_each_subscription(Visit visit);

    void on_working_set_master(comm::message::Message& message);
    void on_working_set_member(comm::message::Message& message);
    void assign_members(const std::shared_ptr<node::Node>& master) const;

    const node::Table& nodes_;
};

} // namespace qv::can_bus::working_set
