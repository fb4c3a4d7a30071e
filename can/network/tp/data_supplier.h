#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "framework/byte_array.h"

namespace qv::can_bus::data_supplier {

/// Produces the bytes of a message while it is being sent, so that they need not all exist beforehand.
///
/// Thread: the bus thread, in the middle of a burst: it answers without blocking.
class Data_supplier {
public:
    /// `cache_size` bytes of what was supplied last are kept, so that a window that is sent again needs no
    /// second `get`. 0 keeps none.
    explicit Data_supplier(std::uint32_t cache_size = 0)
        : cache_(cache_size)
    {}
    virtual ~Data_supplier() = default;
    Data_supplier(const Data_supplier&) = delete;
    Data_supplier& operator=(const Data_supplier&) = delete;

    /// Fills `view` with the bytes of the stream from `offset` on. False, with nothing copied, when it cannot.
    /// Here the stream is `payload` itself.
    virtual bool get(std::span<std::uint8_t> view, const Byte_array& payload, std::uint32_t offset);
    /// The same through the cache; what a session calls.
    bool read(std::span<std::uint8_t> view, const Byte_array& payload, std::uint32_t offset);

private:
    std::size_t copy_cached(std::span<std::uint8_t> view, std::uint32_t offset) const;
    void append(std::span<const std::uint8_t> bytes, std::uint32_t offset);

    std::vector<std::uint8_t> cache_; ///< a ring
    std::size_t oldest_ = 0;          ///< where in the ring its oldest byte stands
    std::size_t cached_ = 0;          ///< bytes held
    std::uint32_t oldest_offset_ = 0; ///< offset of the oldest byte in the stream
};

} // namespace qv::can_bus::data_supplier
