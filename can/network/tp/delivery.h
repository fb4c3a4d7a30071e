#pragma once

#include "can/network/tp/ecu_port.h"
#include "can/network/tp/rx_tp.h"

namespace qv::can_bus::tp {

/// Hands the finished message of `session` to the bus's dispatcher, on this thread, so that it reaches the
/// subscribers of its group before the call returns. `destination` is the address of the ECU that received
/// it, or 255 for a broadcast.
void deliver(rx::TP& session, std::uint32_t destination, comm::dispatcher::Dispatcher_id bus_dispatcher_id);

} // namespace qv::can_bus::tp
