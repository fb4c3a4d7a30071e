#include "service/image.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "framework/thread/process_exit.h"

namespace qv::can_bus::flr {

namespace {

std::uint32_t sum_of_words(std::span<const std::uint8_t> bytes) noexcept
{
    std::uint32_t sum = 0;
    std::size_t index = 0;
    for (; index + 4 <= bytes.size(); index += 4) {
        sum += std::uint32_t{bytes[index]} | std::uint32_t{bytes[index + 1]} << 8 |
               std::uint32_t{bytes[index + 2]} << 16 | std::uint32_t{bytes[index + 3]} << 24;
    }
    for (unsigned shift = 0; index < bytes.size(); ++index, shift += 8) {
        sum += std::uint32_t{bytes[index]} << shift;
    }
    return sum;
}

} // namespace

void Flash_table::define(std::size_t index, std::uint32_t start, std::uint32_t end)
{
    auto& sector = sectors[index];
    sector.exists = true;
    sector.start = start;
    sector.end = end;
    low = std::min(low, start);
    high = std::max(high, end);
}

void Data_block::append(std::span<const std::uint8_t> bytes)
{
    const auto used = size();
    end += static_cast<std::uint32_t>(bytes.size());
    if (buffer == nullptr || size() > capacity) {
        const auto wanted = buffer == nullptr ? first_capacity : capacity + growth;
        auto* grown = static_cast<std::uint8_t*>(std::realloc(buffer.get(), wanted));
        if (grown == nullptr) {
            std::puts(buffer == nullptr ? "Error allocating data buffer\r" : "Error Reallocating Data\r");
            thread::end_process(1);
        }
        static_cast<void>(buffer.release()); // realloc has freed it
        buffer.reset(grown);
        std::memset(grown + capacity, 0xFF, wanted - capacity);
        capacity = wanted;
    }
    if (!bytes.empty()) {
        std::memcpy(buffer.get() + used, bytes.data(), bytes.size());
    }
}

bool Image::define_sector(std::size_t index, std::uint32_t start, std::uint32_t end)
{
    if (index >= Flash_table::sector_count || (index == 0 && tables_.count() == table_limit)) {
        return false;
    }
    if (index == 0) {
        tables_.append();
    }
    if (tables_.last() == nullptr) {
        return false;
    }
    tables_.last()->define(index, start, end);
    last_single_ = {};
    return true;
}

bool Image::add_data(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    if (blocks_.last() == nullptr || blocks_.last()->end != address) {
        if (blocks_.count() == block_limit) {
            return false;
        }
        auto& block = blocks_.append();
        block.start = address;
        block.end = address;
    }
    blocks_.last()->append(bytes);
    const auto length = static_cast<std::uint32_t>(bytes.size());
    mark_sectors(address, length);
    data_size_ += length;
    data_checksum_ += sum_of_words(bytes);
    return true;
}

void Image::mark(Flash_sector& sector) noexcept
{
    dirty_sector_count_ += sector.dirty ? 0 : 1;
    sector.dirty = true;
}

/// A record may touch one sector or two neighbours. One that ends on the last byte of a sector counts as
/// touching the next one too.
void Image::mark_sectors(std::uint32_t address, std::uint32_t length)
{
    const auto limit = address + length;
    if (last_single_.covers(address, limit) || mark_single(address, limit) || mark_pair(address, limit)) {
        return;
    }
    std::puts("Warning: Record not found in Memory Tables\r");
    std::printf("Record 0x%08x for %d bytes\r\n", address, static_cast<int>(length));
}

bool Image::mark_single(std::uint32_t address, std::uint32_t limit)
{
    auto until = UINT32_MAX;
    for (auto* table = tables_.first(); table != nullptr; table = table->next) {
        for (auto& sector : table->sectors) {
            if (!sector.exists) {
                continue;
            }
            if (sector.start > address) {
                until = std::min(until, sector.start);
            } else if (sector.end > limit) {
                mark(sector);
                last_single_ = {address, limit, until, sector.end};
                return true;
            }
        }
    }
    return false;
}

bool Image::mark_pair(std::uint32_t address, std::uint32_t limit)
{
    for (auto* table = tables_.first(); table != nullptr; table = table->next) {
        for (std::size_t index = 0; index + 1 < Flash_table::sector_count; ++index) {
            auto& sector = table->sectors[index];
            auto& neighbour = table->sectors[index + 1];
            if (sector.exists && neighbour.exists && sector.start <= address && neighbour.end > limit) {
                mark(sector);
                mark(neighbour);
                return true;
            }
        }
    }
    return false;
}

const Flash_sector* Image::find_sector(std::uint32_t address, int& index) const
{
    for (const auto* table = tables_.first(); table != nullptr; table = table->next) {
        for (std::size_t place = 0; place < Flash_table::sector_count; ++place) {
            const auto& sector = table->sectors[place];
            if (sector.exists && sector.start <= address && address < sector.end) {
                index = static_cast<int>(place);
                return &sector;
            }
        }
    }
    return nullptr;
}

int Image::sector_index_of(std::uint32_t address) const
{
    int index = -1;
    find_sector(address, index);
    return index;
}

std::uint32_t Image::sector_end_of(std::uint32_t address) const
{
    int index = -1;
    const auto* sector = find_sector(address, index);
    return sector == nullptr ? 0 : sector->end;
}

} // namespace qv::can_bus::flr
