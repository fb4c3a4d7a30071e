#pragma once

#include "comm/message.h"

namespace qv::comm::message {

/// Asks the primary dispatcher to look at the clock. The primary loop posts it; `handler::Time_tick` listens.
class Time_tick : public Cloneable<Time_tick> {
public:
    static constexpr Id id = 0x40001;
    Time_tick() noexcept
        : Time_tick(id)
    {}

protected:
    explicit Time_tick(Id derived_id) noexcept
        : Cloneable<Time_tick>(derived_id)
    {}
};

namespace time_elapsed {

/// Time has passed; about every 3 to 4 ms. Posted by `handler::Time_tick`; everything with a timer listens.
class Time_elapsed final : public Cloneable<Time_elapsed, Time_tick> {
public:
    static constexpr Id id = 0x40002;
    explicit Time_elapsed(std::uint32_t elapsed_ms) noexcept
        : Cloneable<Time_elapsed, Time_tick>(id)
        , elapsed(elapsed_ms)
    {}
    /// Leaves the value alone when fewer than four bytes are left.
    void deserialize(std::span<const std::uint8_t> bytes, std::size_t& offset) override;
    void serialize(std::vector<std::uint8_t>& bytes) const override;
    std::uint32_t elapsed; ///< milliseconds
};

/// Posted at least 20 ms apart.
class Milliseconds_020 final : public Cloneable<Milliseconds_020, Time_tick> {
public:
    static constexpr Id id = 0x40003;
    Milliseconds_020() noexcept
        : Cloneable<Milliseconds_020, Time_tick>(id)
    {}
};

/// Posted at least 500 ms apart.
class Milliseconds_500 final : public Cloneable<Milliseconds_500, Time_tick> {
public:
    static constexpr Id id = 0x40004;
    Milliseconds_500() noexcept
        : Cloneable<Milliseconds_500, Time_tick>(id)
    {}
};

/// Posted at least 1000 ms apart.
class Seconds_1 final : public Cloneable<Seconds_1, Time_tick> {
public:
    static constexpr Id id = 0x40005;
    Seconds_1() noexcept
        : Cloneable<Seconds_1, Time_tick>(id)
    {}
};

} // namespace time_elapsed

} // namespace qv::comm::message
