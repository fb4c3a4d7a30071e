#include "bench/make_update/checker.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iomanip>
#include <ostream>

namespace bench::update {

namespace {

constexpr std::size_t block_limit = 1024;
constexpr std::size_t sector_limit = 256;

/// Bytes that a record of the type must have; 0 where any number will do.
std::size_t size_of(Type type) noexcept
{
    switch (type) {
        case Type::segment_address:
        case Type::linear_address: return 2;
        case Type::start_segment:
        case Type::start_linear: return 4;
        case Type::sector: return 8;
        default: return 0;
    }
}

bool is_plain(const std::string& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char character) { return std::isprint(character) != 0; });
}

} // namespace

bool Checker::check(const std::string& path, std::ostream& out, std::ostream& problems)
{
    path_ = path;
    problems_ = &problems;
    std::ifstream file(path, std::ios::binary);
    if (!file || (file.peek() == std::ifstream::traits_type::eof() && !file.eof())) {
        problem("cannot be read");
        return false;
    }
    std::string text;
    while (std::getline(file, text)) {
        ++number_;
        take(text);
    }
    number_ = 0;
    finish();
    print(out);
    return good_;
}

void Checker::take(const std::string& text)
{
    auto plain = text;
    if (!plain.empty() && plain.back() == '\r') {
        plain.pop_back();
    }
    if (plain.empty()) {
        return;
    }
    std::string words;
    const auto line = plain[0] == ':' ? decode(plain, words) : std::nullopt;
    if (!line) {
        problem(words.empty() ? "does not begin with ':'" : words);
        return;
    }
    sum_ = static_cast<std::uint8_t>(sum_ + plain_sum(plain, line->type));
    const auto size = size_of(line->type);
    if (size != 0 && line->data.size() != size) {
        problem("has " + std::to_string(line->data.size()) + " data bytes where " + std::to_string(size) +
                " are due");
        return;
    }
    take_line(*line);
}

void Checker::take_line(const Line& line)
{
    switch (line.type) {
        case Type::data:
            if (!add_bytes(program_, upper_ + line.address, line.data)) {
                problem("writes over bytes of an earlier line");
            }
            return;
        case Type::end_of_file: ended_ = true; return;
        case Type::segment_address: upper_ = big_endian(line.data) << 4; return;
        case Type::linear_address: upper_ = big_endian(line.data) << 16; return;
        case Type::start_segment: problem("is a start segment address, which no ECU uses"); return;
        case Type::start_linear: return;
        case Type::ecu_info:
            block_.insert(block_.end(), line.data.begin(), line.data.end());
            if (block_.size() > block_limit) {
                problem("brings the ECU info above 1024 bytes");
            }
            return;
        case Type::encryption:
            encryption_ = line.address == 0 && !line.data.empty() ? line.data[0] : encryption_;
            return;
        case Type::version: version_.assign(line.data.begin(), line.data.end()); return;
        case Type::sector: take_sector(line); return;
    }
    problem("has an unknown type");
}

void Checker::take_sector(const Line& line)
{
    const auto bytes = std::span(line.data);
    const Sector sector{big_endian(bytes.first(4)), big_endian(bytes.subspan(4))};
    if (line.address == 0) {
        tables_.emplace_back();
    }
    if (tables_.empty()) {
        problem("defines a sector before sector 0, which begins a table");
    } else if (line.address >= sector_limit) {
        problem("defines sector " + std::to_string(line.address) + "; 255 is the last");
    } else if (sector.end < sector.start) {
        problem("defines a sector that ends before it begins");
    } else {
        tables_.back().push_back(sector);
    }
}

void Checker::finish()
{
    std::vector<Sector> sectors;
    for (const auto& table : tables_) {
        sectors.insert(sectors.end(), table.begin(), table.end());
    }
    std::uint32_t address = 0;
    if (!sectors_hold(sectors, program_, address)) {
        char words[64];
        std::snprintf(words, sizeof words, "has data at 0x%08x, outside of every sector", address);
        problem(words);
    }
    if (version_.empty()) {
        problem("gives no software version");
    }
    if (!ended_) {
        problem("has no end of file record");
    }
    ecu_info_ = encryption_ == 1 ? unscramble(block_, sum_) : "";
    if (encryption_ != 1) {
        problem("gives no encryption version, or one other than 1; it fits no ECU");
    } else if (ecu_info_.empty() || !is_plain(ecu_info_) || ecu_info_.back() != '*') {
        problem("has no readable ECU info; was a line changed after it was made?");
    }
}

void Checker::problem(const std::string& words)
{
    good_ = false;
    *problems_ << path_;
    if (number_ != 0) {
        *problems_ << ':' << number_;
    }
    *problems_ << ": " << words << '\n';
}

void Checker::print(std::ostream& out) const
{
    out << "version   " << version_ << "\necu info  " << (is_plain(ecu_info_) ? ecu_info_ : "(not readable)")
        << '\n';
    out << std::hex << std::setfill('0');
    const auto range = [&out](const char* what, std::uint64_t start, std::uint64_t end) {
        out << what << "0x" << std::setw(8) << start << " - 0x" << std::setw(8) << end << '\n';
    };
    for (const auto& table : tables_) {
        for (const auto& sector : table) {
            range("sector    ", sector.start, sector.end);
        }
    }
    std::size_t size = 0;
    for (const auto& [start, bytes] : program_) {
        range("data      ", start, start + bytes.size() - 1);
        size += bytes.size();
    }
    out << std::dec << "size      " << size << " bytes\n";
}

} // namespace bench::update
