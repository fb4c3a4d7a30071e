#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "can/network/node/node.h"
#include "service/own_ecu.h"

namespace qv::can_bus::flr {

/// Brings the chunk that was announced to the ECU that asks for it, so that it neither stays away nor comes again
/// as the data of the next one [SAE J1939-73 5.7.16].
///
/// Thread: the bus thread. Lifetime: the own ECU outlives it.
class Chunk_transfer {
public:
    explicit Chunk_transfer(const Own_ecu& own_ecu) noexcept
        : own_ecu_(own_ecu)
    {}

    /// A write request went out; nobody has its chunk yet.
    void announce() noexcept;
    /// Sends the chunk for a Proceed of `node`, but not while it is on its way there, and one frame not twice for
    /// one request: `is_repeated` tells that its Proceed was heard before. What is on its way to a stranger gives
    /// way to the target; what the target has, no stranger gets. Nothing goes out without an own address.
    void send(std::span<const std::uint8_t> chunk, const std::shared_ptr<node::Node>& node,
              const std::shared_ptr<node::Node>& target, bool is_repeated);
    /// Whether this node was sent all of the chunk. Who was not has not written it.
    bool has_reached(const std::shared_ptr<node::Node>& node);
    /// The ECU has written the chunk.
    void complete();
    /// No chunk is to be sent any more.
    void stop();

    bool is_announced() const noexcept { return transfer_step_ == Transfer_step::announced; }

private:
    enum class Transfer_step : std::int32_t { none = 0, announced = 1, completed = 2 };
    class Sending;

    void withdraw();
    void note_holder();

    Transfer_step transfer_step_ = Transfer_step::none;
    std::shared_ptr<Sending> sending_;   ///< the last time that it was sent
    std::shared_ptr<node::Node> holder_; ///< who got all of it
    const Own_ecu& own_ecu_;
};

} // namespace qv::can_bus::flr
