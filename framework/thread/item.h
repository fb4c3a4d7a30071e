#pragma once

#include <cstdint>

namespace qv::thread {

/// Root of things that a thread drives with elapsed time, in milliseconds.
class Item {
public:
    virtual ~Item() = default;
    virtual void on_time_elapsed(const std::uint32_t& elapsed) = 0;
};

} // namespace qv::thread
