#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "service/hex_record.h"
#include "service/image.h"
#include "service/parser.h"

namespace qv::can_bus::flr {

/// An update image for a CAN ECU: a text file in an extended Intel HEX dialect, which beside code carries the
/// ECU's flash layout, a software version and a scrambled block that tells which ECUs it is for.
class HexParser final : public Parser {
public:
    /// Bytes of scrambled ECU info that a file may hold; one with more is refused.
    static constexpr std::size_t ecu_block_limit = 1024;
    /// Bytes of a file; a larger one is refused unread, so that no stray disk image holds up a scan.
    static constexpr std::int64_t file_size_limit = std::int64_t{256} << 20;

    int parse(const std::string& file_path, bool header_only) override;
    void print_brief() const override;
    void print_full() const override;

    const Image& image() const noexcept { return image_; }
    std::uint32_t flash_table_count() const noexcept { return image_.tables().count(); }
    Flash_table* first_table() const noexcept { return image_.tables().first(); }
    std::uint32_t data_block_count() const noexcept { return image_.blocks().count(); }
    Data_block* first_block() const noexcept { return image_.blocks().first(); }
    std::uint32_t data_size() const noexcept { return image_.data_size(); }
    std::uint32_t dirty_sector_count() const noexcept { return image_.dirty_sector_count(); }
    std::uint32_t data_checksum() const noexcept { return image_.data_checksum(); }
    int sector_index_of(std::uint32_t address) const { return image_.sector_index_of(address); }
    std::uint32_t sector_end_of(std::uint32_t address) const { return image_.sector_end_of(address); }
    std::uint8_t encryption_version() const noexcept { return encryption_version_; }
    /// From the start linear address record; stored only.
    std::uint32_t start_linear_address() const noexcept { return start_linear_address_; }

private:
    // Each handler of a record answers false when the file is to be refused.
    bool take_line(std::string_view line, bool header_only);
    bool take_record(bool header_only);
    bool on_data(bool header_only);
    bool on_address(std::uint16_t& target, std::uint16_t& other);
    void on_start_segment_address() const;
    void on_start_linear_address();
    bool on_ecu_info_block();
    void on_encryption_info();
    void on_software_version();
    bool on_memory_definition();
    void unscramble_ecu_info();
    void print_head() const;
    void print_tables() const;
    void print_data() const;

    Image image_;
    Hex_record record_;
    std::uint8_t encryption_version_ = 0;
    std::array<std::uint8_t, ecu_block_limit> ecu_block_{}; ///< scrambled ECU info
    std::uint32_t ecu_block_length_ = 0;
    std::uint32_t text_sum_ = 0; ///< running sum of the text, the seed of the unscrambling
    std::uint16_t upper_linear_address_ = 0;
    std::uint16_t segment_address_ = 0;
    std::uint32_t start_linear_address_ = 0;
};

} // namespace qv::can_bus::flr
