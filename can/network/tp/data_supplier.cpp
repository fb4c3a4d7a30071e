#include "can/network/tp/data_supplier.h"

#include <algorithm>

namespace qv::can_bus::data_supplier {

bool Data_supplier::get(std::span<std::uint8_t> view, const Byte_array& payload, std::uint32_t offset)
{
    if (std::uint64_t{offset} + view.size() > payload.size()) {
        return false;
    }
    std::ranges::copy(payload.bytes().subspan(offset, view.size()), view.begin());
    return true;
}

bool Data_supplier::read(std::span<std::uint8_t> view, const Byte_array& payload, std::uint32_t offset)
{
    const std::size_t copied = copy_cached(view, offset);
    const auto rest = view.subspan(copied);
    if (rest.empty()) {
        return true;
    }
    const std::uint32_t rest_offset = offset + static_cast<std::uint32_t>(copied);
    if (!get(rest, payload, rest_offset)) {
        return false;
    }
    append(rest, rest_offset);
    return true;
}

/// Copies what the ring holds from `offset` on; answers how many bytes that were.
std::size_t Data_supplier::copy_cached(std::span<std::uint8_t> view, std::uint32_t offset) const
{
    if (offset < oldest_offset_ || offset - oldest_offset_ >= cached_) {
        return 0;
    }
    const std::size_t first = offset - oldest_offset_;
    const std::size_t count = std::min(view.size(), cached_ - first);
    for (std::size_t index = 0; index < count; ++index) {
        view[index] = cache_[(oldest_ + first + index) % cache_.size()];
    }
    return count;
}

void Data_supplier::append(std::span<const std::uint8_t> bytes, std::uint32_t offset)
{
    if (cache_.empty()) {
        return;
    }
    if (offset != oldest_offset_ + cached_) { // the stream was taken up elsewhere: the ring has no gaps
        oldest_offset_ = offset;
        cached_ = 0;
    }
    for (const std::uint8_t byte : bytes) {
        cache_[(oldest_ + cached_) % cache_.size()] = byte;
        if (cached_ < cache_.size()) {
            ++cached_;
        } else {
            oldest_ = (oldest_ + 1) % cache_.size();
            ++oldest_offset_;
        }
    }
}

} // namespace qv::can_bus::data_supplier
