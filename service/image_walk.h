#pragma once

#include <cstdint>
#include <span>

#include "service/image.h"

namespace qv::can_bus::flr {

/// The way through the sectors of an image that are to be erased, table after table.
///
/// The image outlives the calls of the walk.
class Erase_walk {
public:
    void start(const Image& image);
    /// The next dirty sector, or null behind the last one.
    const Flash_sector* next();

private:
    const Flash_table* sector_table_ = nullptr;
    std::uint32_t sector_index_ = 0; ///< in `sector_table_`
};

/// The way through the data of an image in chunks that an ECU takes in one transfer.
///
/// A chunk has 768 bytes at most, lies in one block, and ends with its sector where the sector's rule applies:
/// `next` tells it. The image outlives the calls of the walk.
class Chunk_walk {
public:
    static constexpr std::int64_t chunk_size_maximum = 768;

    void start(const Image& image);

    /// Whether the block at hand has bytes that are not confirmed.
    bool has_bytes() const noexcept { return block_remaining_ > 0; }
    /// Goes on to the next block; false behind the last one, which leaves nothing to send.
    bool next_block();
    /// Lays out the next chunk of the block at hand, which has bytes left.
    ///
    /// A chunk that begins and ends in two sectors, neither of which has index 0, is cut to end with the last
    /// byte of its first sector.
    void next(const Image& image);
    /// The ECU has taken the chunk.
    void confirm() noexcept { block_remaining_ -= chunk_length_; }

    std::uint32_t chunk_address() const noexcept { return chunk_address_; }
    std::uint16_t chunk_length() const noexcept { return chunk_length_; }
    /// The bytes of the chunk; none once it was the last and is confirmed.
    std::span<const std::uint8_t> chunk() const noexcept;
    /// How much of the block is through when this chunk is.
    float percent() const noexcept;

private:
    void enter(const Data_block* block);
    void cut_at_sector_end(const Image& image);

    const Data_block* data_block_ = nullptr;
    std::int64_t block_remaining_ = 0; ///< bytes of the block that are not confirmed
    std::int64_t block_size_ = 0;
    std::uint32_t chunk_address_ = 0;
    std::uint16_t chunk_length_ = 0;
};

} // namespace qv::can_bus::flr
