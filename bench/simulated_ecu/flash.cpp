#include "bench/simulated_ecu/flash.h"

#include "bench/simulated_ecu/text.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace bench::simulated {

Flash::Flash(const Layout& layout)
    : layout_(layout)
    , bytes_(std::size_t{layout.sector_size} * layout.sectors, 0xFF)
    , cells_(bytes_.size(), Cell::old)
{}

std::string Flash::erase(std::uint32_t address)
{
    const std::size_t offset = std::size_t{address} - layout_.base;
    if (address < layout_.base || offset >= bytes_.size()) {
        return format("0x%08x is outside the flash", address);
    }
    if (offset % layout_.sector_size != 0) {
        return format("0x%08x is not the start of a sector", address);
    }
    std::fill_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), layout_.sector_size, std::uint8_t{0xFF});
    std::fill_n(cells_.begin() + static_cast<std::ptrdiff_t>(offset), layout_.sector_size, Cell::erased);
    return {};
}

std::string Flash::write(std::uint32_t address, Bytes data)
{
    const std::size_t offset = std::size_t{address} - layout_.base;
    if (address < layout_.base || offset >= bytes_.size() || data.size() > bytes_.size() - offset) {
        return format("0x%08x and %zu bytes reach outside the flash", address, data.size());
    }
    const auto first = cells_.begin() + static_cast<std::ptrdiff_t>(offset);
    const auto last = first + static_cast<std::ptrdiff_t>(data.size());
    const auto bad = std::find_if(first, last, [](Cell each) { return each != Cell::erased; });
    if (bad != last) {
        return format("0x%08zx was %s", std::size_t{address} + static_cast<std::size_t>(bad - first),
                      *bad == Cell::written ? "written before" : "not erased");
    }
    std::fill(first, last, Cell::written);
    std::copy(data.begin(), data.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
    bytes_written_ += data.size();
    return {};
}

std::uint32_t Flash::checksum() const
{
    const auto found = content();
    if (!found) {
        return 0;
    }
    std::uint32_t sum = 0;
    const std::size_t begin = (std::size_t{found->address} - layout_.base) / 4 * 4;
    const std::size_t end = found->address - layout_.base + found->bytes.size();
    for (std::size_t word = begin; word < end; word += 4) {
        const std::size_t count = std::min<std::size_t>(4, bytes_.size() - word);
        const auto cells = cells_.begin() + static_cast<std::ptrdiff_t>(word);
        if (std::find(cells, cells + static_cast<std::ptrdiff_t>(count), Cell::written) ==
            cells + static_cast<std::ptrdiff_t>(count)) {
            continue;
        }
        const std::uint32_t behind_the_end = count == 4 ? 0 : 0xFFFFFFFFU << (8 * count);
        sum += behind_the_end | little_endian(bytes_, word, count);
    }
    return sum;
}

std::optional<Flash::Content> Flash::content() const
{
    const auto first = std::find(cells_.begin(), cells_.end(), Cell::written);
    if (first == cells_.end()) {
        return std::nullopt;
    }
    const auto last = std::find(cells_.rbegin(), cells_.rend(), Cell::written).base();
    const auto offset = static_cast<std::size_t>(first - cells_.begin());
    return Content{static_cast<std::uint32_t>(layout_.base + offset),
                   Bytes(bytes_).subspan(offset, static_cast<std::size_t>(last - first))};
}

bool Flash::save(const std::string& path) const
{
    const std::string part = path + ".part";
    const auto found = content();
    std::ofstream file(part, std::ios::binary | std::ios::trunc);
    if (found) {
        file.write(reinterpret_cast<const char*>(found->bytes.data()),
                   static_cast<std::streamsize>(found->bytes.size()));
    }
    file.close();
    return !file.fail() && std::rename(part.c_str(), path.c_str()) == 0;
}

} // namespace bench::simulated
