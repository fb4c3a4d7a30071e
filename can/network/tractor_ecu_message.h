#pragma once

#include <cstdint>

#include "comm/message.h"

/// What the tractor ECU tells all others. Posted by `PDU_observer` to the dispatcher that it reports to.
namespace qv::can_bus::tractor_ecu::message {

/// The state of the key switch differs from the last one heard.
class Key_switch_state_changed final : public comm::message::Cloneable<Key_switch_state_changed> {
public:
    static constexpr comm::message::Id id = 0x4012A;
    explicit Key_switch_state_changed(std::uint32_t new_state) noexcept
        : Cloneable<Key_switch_state_changed>(id)
        , state(new_state)
    {}
    std::uint32_t state; ///< 0 off, 1 on, 2 error, 3 not available [ISO 11783-7]
};

namespace speed_distance {

/// Ground-based speed and distance [ISO 11783-7 B.4].
class Ground_0 final : public comm::message::Cloneable<Ground_0> {
public:
    static constexpr comm::message::Id id = 0x4012C;
    struct Values {
        std::uint32_t speed = 0;     ///< 0.001 m/s
        std::uint32_t distance = 0;  ///< 0.001 m
        std::uint32_t direction = 0; ///< 0 reverse, 1 forward
    };
    explicit Ground_0(const Values& received) noexcept
        : Cloneable<Ground_0>(id)
        , values(received)
    {}
    Values values;
};

/// Wheel-based speed and distance [ISO 11783-7 B.3].
class Wheel_0 final : public comm::message::Cloneable<Wheel_0> {
public:
    static constexpr comm::message::Id id = 0x4012D;
    struct Values {
        std::uint32_t speed = 0;     ///< 0.001 m/s
        std::uint32_t distance = 0;  ///< 0.001 m
        std::uint32_t direction = 0; ///< 0 reverse, 1 forward
        std::uint32_t key_switch = 0;
        std::uint32_t start_stop = 0;
        std::uint32_t operator_direction_reversed = 0;
        std::uint32_t maximum_time_of_tractor_power = 0; ///< minutes
    };
    explicit Wheel_0(const Values& received) noexcept
        : Cloneable<Wheel_0>(id)
        , values(received)
    {}
    Values values;
};

} // namespace speed_distance

} // namespace qv::can_bus::tractor_ecu::message
