#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace qv::can_bus::flr {

/// The body of a node's reply, a text that grows as it arrives.
///
/// Thread: the worker that asked.
struct url_data {
    struct Free {
        void operator()(char* block) const noexcept { std::free(block); }
    };
    /// A node says in a line how it stands; whoever says more than this is not taken for a node.
    static constexpr std::uint32_t limit = 256 * 1024; // bytes

    std::uint32_t size = 0;
    std::unique_ptr<char, Free> data; ///< ends with NUL; null when memory ran out

    /// Begins an empty text. False, and `data` is null, without memory.
    [[nodiscard]] bool begin() noexcept;
};

/// libcurl's write callback: appends count * `size` bytes to the reply. Gives back how many those were, or 0,
/// which ends the transfer, when the reply grows beyond its limit or memory runs out.
std::size_t write_data(const void* bytes, std::size_t size, std::size_t count, url_data* reply) noexcept;

} // namespace qv::can_bus::flr
