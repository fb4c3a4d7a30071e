#pragma once

#include "bench/simulated_ecu/pdu.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bench::simulated {

/// The flash memory of the ECU: sectors of one size, erased as a whole, each byte written once after that.
/// Every sector holds the old application at the start, so it has to be erased before it is written.
class Flash {
public:
    struct Layout {
        std::uint32_t base = 0;           ///< address of the first sector
        std::uint32_t sector_size = 4096; ///< bytes
        std::uint32_t sectors = 256;
    };

    explicit Flash(const Layout& layout);

    // Both return an empty text, or what is wrong; then nothing has changed.
    [[nodiscard]] std::string erase(std::uint32_t address); ///< `address` is the start of a sector
    [[nodiscard]] std::string write(std::uint32_t address, Bytes data);

    /// Sum of the little-endian 32-bit words at multiples of 4 that hold a written byte; other bytes count as
    /// 0xFF.
    [[nodiscard]] std::uint32_t checksum() const;

    [[nodiscard]] std::size_t bytes_written() const noexcept { return bytes_written_; }
    void start_update() noexcept { bytes_written_ = 0; } ///< counts anew

    struct Content {
        std::uint32_t address = 0;
        Bytes bytes;
    };
    /// From the lowest written byte to the highest, gaps 0xFF; nothing when nothing was written.
    [[nodiscard]] std::optional<Content> content() const;

    /// Puts `content` into a file, which is complete at any moment that it can be seen. False: errno tells.
    [[nodiscard]] bool save(const std::string& path) const;

private:
    enum class Cell : std::uint8_t { old, erased, written };

    Layout layout_;
    std::vector<std::uint8_t> bytes_;
    std::vector<Cell> cells_; ///< one for each byte
    std::size_t bytes_written_ = 0;
};

} // namespace bench::simulated
