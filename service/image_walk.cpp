#include "service/image_walk.h"

#include <algorithm>
#include <cstdio>

namespace qv::can_bus::flr {

void Erase_walk::start(const Image& image)
{
    sector_table_ = image.tables().first();
    sector_index_ = 0;
}

const Flash_sector* Erase_walk::next()
{
    while (sector_table_ != nullptr) {
        const auto& sector = sector_table_->sectors[sector_index_];
        if (++sector_index_ == Flash_table::sector_count) {
            sector_table_ = sector_table_->next;
            sector_index_ = 0;
        }
        if (sector.exists && sector.dirty) {
            return &sector;
        }
    }
    return nullptr;
}

void Chunk_walk::start(const Image& image)
{
    *this = {};
    enter(image.blocks().first());
}

void Chunk_walk::enter(const Data_block* block)
{
    data_block_ = block;
    chunk_address_ = 0;
    chunk_length_ = 0;
    block_size_ = block == nullptr ? 0 : std::min(block->size(), block->capacity);
    block_remaining_ = block_size_;
}

bool Chunk_walk::next_block()
{
    if (data_block_ != nullptr) {
        enter(data_block_->next);
    }
    return data_block_ != nullptr;
}

void Chunk_walk::next(const Image& image)
{
    chunk_length_ = static_cast<std::uint16_t>(std::min(block_remaining_, chunk_size_maximum));
    chunk_address_ = data_block_->start + static_cast<std::uint32_t>(block_size_ - block_remaining_);
    const int first_sector = image.sector_index_of(chunk_address_);
    const int last_sector = image.sector_index_of(chunk_address_ + chunk_length_);
    if (first_sector != last_sector && first_sector >= 1 && last_sector >= 1) {
        cut_at_sector_end(image);
    }
}

/// Sectors that overlap may end far behind the chunk; it never grows.
void Chunk_walk::cut_at_sector_end(const Image& image)
{
    const auto sector_end = image.sector_end_of(chunk_address_);
    if (sector_end == 0) {
        std::puts("Error Finding sector end!\r");
        return;
    }
    const std::int64_t length = std::int64_t{sector_end} - chunk_address_ + 1;
    chunk_length_ = static_cast<std::uint16_t>(std::min<std::int64_t>(length, chunk_length_));
}

std::span<const std::uint8_t> Chunk_walk::chunk() const noexcept
{
    if (data_block_ == nullptr || block_remaining_ < chunk_length_) {
        return {};
    }
    return {data_block_->buffer.get() + (block_size_ - block_remaining_), chunk_length_};
}

float Chunk_walk::percent() const noexcept
{
    const auto through = static_cast<float>(chunk_length_ - block_remaining_ + block_size_);
    return block_size_ == 0 ? 0.0F : through / static_cast<float>(block_size_) * 100.0F;
}

} // namespace qv::can_bus::flr
