#include "service/hex_parser.h"

#include <algorithm>
#include <cstdio>

#include "service/line_reader.h"
#include "service/text.h"

namespace qv::can_bus::flr {

namespace {

std::uint16_t big_endian_16(std::span<const std::uint8_t> bytes) noexcept
{
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

std::uint32_t big_endian_32(std::span<const std::uint8_t> bytes) noexcept
{
    return std::uint32_t{big_endian_16(bytes)} << 16 | big_endian_16(bytes.subspan(2));
}

} // namespace

int HexParser::parse(const std::string& file_path, bool header_only)
{
    if (!examine(file_path) || file_stat.st_size > file_size_limit) {
        return -1;
    }
    software_version = "Missing";
    Line_reader lines(path);
    std::string_view line;
    while (lines.next(line)) {
        if (!take_line(line, header_only)) {
            return -1;
        }
    }
    if (lines.failed()) {
        return -1;
    }
    unscramble_ecu_info();
    return 0;
}

bool HexParser::take_line(std::string_view line, bool header_only)
{
    const auto kind = parse_record(line, record_);
    if (kind != Hex_line::record) {
        return kind == Hex_line::no_record;
    }
    if (record_.type <= Hex_record::start_linear_address) {
        text_sum_ += text_sum_of(line, record_);
    }
    return take_record(header_only);
}

bool HexParser::take_record(bool header_only)
{
    switch (record_.type) {
        case Hex_record::data_bytes: return on_data(header_only);
        case Hex_record::extended_segment_address: return on_address(segment_address_, upper_linear_address_);
        case Hex_record::start_segment_address: on_start_segment_address(); return true;
        case Hex_record::extended_linear_address: return on_address(upper_linear_address_, segment_address_);
        case Hex_record::start_linear_address: on_start_linear_address(); return true;
        case Hex_record::ecu_info_block: return on_ecu_info_block();
        case Hex_record::encryption_info: on_encryption_info(); return true;
        case Hex_record::software_version: on_software_version(); return true;
        case Hex_record::memory_definition: return on_memory_definition();
        default: return true; // the end of file record too: reading goes on to the end of the file itself
    }
}

/// Data that would run beyond 32 bits of address, and too many pieces, are refused.
bool HexParser::on_data(bool header_only)
{
    if (header_only) {
        return true;
    }
    const auto address = upper_linear_address_ != 0
                             ? (std::uint32_t{upper_linear_address_} << 16) + record_.address
                             : record_.address + 16U * segment_address_;
    if (address > UINT32_MAX - record_.length) {
        return false;
    }
    return image_.add_data(address, record_.bytes());
}

/// One kind of upper address ends the other. A record too short for its address is refused.
bool HexParser::on_address(std::uint16_t& target, std::uint16_t& other)
{
    if (record_.length < 2) {
        return false;
    }
    target = big_endian_16(record_.bytes());
    other = 0;
    return true;
}

void HexParser::on_start_segment_address() const
{
    std::printf("Record Not supported:\r\n\tType 0x%02x\r\n", record_.type);
    std::printf("\tLength 0x%02x\r\n", record_.length);
    std::printf("\tAddress 0x%04x\r\n", record_.address);
    std::printf("\tChecksum 0x%02x\r\n\r\n", record_.checksum);
}

void HexParser::on_start_linear_address()
{
    if (record_.length != 4) {
        std::printf("Start Linear Address length invalid %d\r\n", record_.length);
        return;
    }
    start_linear_address_ = big_endian_32(record_.bytes());
}

bool HexParser::on_ecu_info_block()
{
    if (ecu_block_length_ + record_.length > ecu_block_limit) {
        std::puts("Error: Ecu Info out of bounds\r");
        return false;
    }
    std::copy_n(record_.data.begin(), record_.length, ecu_block_.begin() + ecu_block_length_);
    ecu_block_length_ += record_.length;
    return true;
}

/// Address 1 holds parameters that nothing reads.
void HexParser::on_encryption_info()
{
    if (record_.address == 0) {
        encryption_version_ = record_.data[0];
    } else if (record_.address != 1) {
        std::puts("Unknown Encryption Info Address\r");
    }
}

void HexParser::on_software_version()
{
    if (record_.address != 0) {
        std::puts("Unknown Software Version Record\r");
        return;
    }
    software_version = text_of(record_.bytes());
}

/// A definition that finds no place is passed over; one too short for its two addresses, and one table too
/// many, refuse the file.
bool HexParser::on_memory_definition()
{
    if (record_.length < 8) {
        return false;
    }
    const auto start = big_endian_32(record_.bytes());
    const auto end = big_endian_32(record_.bytes().subspan(4));
    if (image_.define_sector(record_.address, start, end)) {
        return true;
    }
    std::puts("Error: Memory Definition out of bounds\r");
    return flash_table_count() < Image::table_limit || record_.address != 0;
}

void HexParser::unscramble_ecu_info()
{
    if (encryption_version_ != 1) {
        std::puts("Unsupported ECU Encryption Version\r");
        return;
    }
    auto key = static_cast<std::uint8_t>(text_sum_);
    for (std::uint32_t index = 0; index < ecu_block_length_; ++index) {
        ecu_block_[index] = static_cast<std::uint8_t>(ecu_block_[index] - key++);
    }
    ecu_info_text = text_of(ecu_block_);
    std::reverse(ecu_info_text.begin(), ecu_info_text.end());
    parse_ecu_info(ecu_info_text);
}

void HexParser::print_brief() const
{
    print_head();
    std::puts("\r\n\r");
}

void HexParser::print_full() const
{
    print_head();
    print_tables();
    print_data();
    std::puts("\r\n\r");
}

void HexParser::print_head() const
{
    std::puts("\r\n----------Hex Information----------\r");
    std::printf("SoftwareVersion: %s\r\n", software_version.c_str());
    std::printf("EncryptionVersion: %d\r\n", encryption_version_);
    std::puts("EcuInfo:  \r");
    for (const auto& entry : ecu_info) {
        std::printf("\t%s : ", entry.key.c_str());
        for (const auto& value : entry.values) {
            if (!value.empty()) {
                std::printf("[%s] ", value.c_str());
            }
        }
        std::puts("\r");
    }
    std::puts("\r");
}

void HexParser::print_tables() const
{
    std::printf("\r\nFlash Table Count: %d\r\n", static_cast<int>(flash_table_count()));
    for (const auto* table = first_table(); table != nullptr; table = table->next) {
        std::printf("Table Range:0x%08x-0x%08x\r\n", table->low, table->high);
        for (std::size_t index = 0; index < Flash_table::sector_count; ++index) {
            const auto& sector = table->sectors[index];
            if (sector.exists) {
                std::printf("\tSector: %02d\t Start:0x%08x\t End:0x%08x%s\r\n", static_cast<int>(index),
                            sector.start, sector.end, sector.dirty ? "\t Dirty" : "");
            }
        }
    }
}

void HexParser::print_data() const
{
    std::printf("\r\nData Checksum: 0x%x\r\n", data_checksum());
    std::printf("\r\nData Block Count: %d\r\n", static_cast<int>(data_block_count()));
    for (const auto* block = first_block(); block != nullptr; block = block->next) {
        std::puts("--Block --\r");
        std::printf("\tSize: 0x%08x\r\n", block->size());
        std::printf("\tMaxSize: 0x%08x\r\n", block->capacity);
        std::printf("\tRange:0x%08x-0x%08x\r\n", block->start, block->end - 1);
    }
}

} // namespace qv::can_bus::flr
