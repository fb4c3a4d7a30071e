#include "bench/make_update/checker.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <ostream>

#include "bench/make_update/ecu_info.h"

namespace bench::update {

namespace {

constexpr std::size_t block_limit = 1024;
constexpr std::size_t parameter_limit = 8;
constexpr std::size_t piece_limit = 65536;
constexpr std::uintmax_t file_limit = 256U << 20; ///< bytes that the service reads

bool is_plain(const std::string& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char character) { return std::isprint(character) != 0; });
}

} // namespace

bool Checker::check(std::ostream& out)
{
    std::ifstream file(path_, std::ios::binary);
    if (!file || (file.peek() == std::ifstream::traits_type::eof() && !file.eof())) {
        problem("cannot be read");
        return false;
    }
    std::error_code none;
    if (const auto size = std::filesystem::file_size(path_, none); !none && size > file_limit) {
        problem("is larger than 256 MiB, which the service does not read");
        return false;
    }
    return check(file, out);
}

bool Checker::check(std::istream& text, std::ostream& out)
{
    std::string line;
    while (std::getline(text, line)) {
        ++number_;
        take(line);
    }
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
    take_line(*line);
}

void Checker::take_line(const Line& line)
{
    switch (line.type) {
        case Type::data: return take_data(line);
        case Type::end_of_file: ended_ = true; return;
        case Type::segment_address: upper_ = big_endian(line.data) << 4; return;
        case Type::linear_address: upper_ = big_endian(line.data) << 16; return;
        case Type::start_segment: return problem("is a start segment address, which no ECU uses");
        case Type::start_linear: return;
        case Type::ecu_info: return take_ecu_info(line);
        case Type::encryption: return take_encryption(line);
        case Type::version: return take_version(line);
        case Type::sector: return take_sector(line);
        case Type::reserved_text: break;
    }
    problem("has an unknown type");
}

/// Only the sectors that stand before the line count for it.
void Checker::take_data(const Line& line)
{
    const Data_line data{number_, upper_ + line.address, line.data.size()};
    std::string words;
    if (!add_bytes(program_, data.address, line.data, words)) {
        return problem(words);
    }
    if (data.address != piece_end_ && ++piece_count_ == piece_limit + 1) {
        problem("begins a piece of data too many; " + std::to_string(piece_limit) + " are the limit");
    }
    piece_end_ = std::uint64_t{data.address} + data.size;
    layout_.mark(data.address, data.size);
    if (const auto outside = layout_.first_outside(data.address, data.size)) {
        data_problem(data, *outside, "outside of every sector before it");
    } else {
        data_lines_.push_back(data);
    }
}

void Checker::take_ecu_info(const Line& line)
{
    block_.insert(block_.end(), line.data.begin(), line.data.end());
    block_lines_.resize(block_.size(), number_);
    if (block_.size() > block_limit) {
        problem("brings the ECU info above 1024 bytes");
    }
}

void Checker::take_encryption(const Line& line)
{
    if (line.address == 0) {
        encryption_ = line.data.front();
        encryption_line_ = number_;
    } else if (line.address > 1) {
        problem("is encryption info at address " + std::to_string(line.address) +
                ", which is passed over; the version stands at 0, parameters at 1");
    } else if (line.data.size() > parameter_limit) {
        problem("has more than 8 bytes of encryption parameters");
    }
}

void Checker::take_version(const Line& line)
{
    if (line.address != 0) {
        return problem("is a version at address " + std::to_string(line.address) +
                       ", which is passed over; only 0 counts");
    }
    version_.assign(line.data.begin(), std::find(line.data.begin(), line.data.end(), std::uint8_t{0}));
}

void Checker::take_sector(const Line& line)
{
    const auto bytes = std::span(line.data);
    std::string words;
    if (!layout_.define(line.address, {big_endian(bytes.first(4)), big_endian(bytes.subspan(4))}, words)) {
        problem(words);
    }
}

void Checker::finish()
{
    finish_data();
    number_ = 0;
    if (program_.empty()) {
        problem("has no data");
    }
    if (version_.empty()) {
        problem("gives no software version");
    }
    if (!ended_) {
        problem("has no end of file record");
    }
    finish_ecu_info();
}

void Checker::finish_data()
{
    told_until_.reset();
    for (const auto& line : data_lines_) {
        if (const auto address = layout_.first_not_erased(line.address, line.size)) {
            number_ = line.number;
            data_problem(line, *address,
                         "in a sector that is not erased: no line in it ends two bytes or more before its end");
        }
    }
}

void Checker::finish_ecu_info()
{
    if (encryption_ != 1) {
        number_ = encryption_line_;
        return problem("gives no encryption version, or one other than 1; it fits no ECU");
    }
    ecu_info_ = unscramble(block_, sum_);
    if (ecu_info_.empty() || !is_plain(ecu_info_) || ecu_info_.back() != '*') {
        return problem("has no readable ECU info; was a line changed after it was made?");
    }
    for (const auto& [place, words] : find_problems(ecu_info_)) {
        number_ = block_lines_.at(ecu_info_.size() - 1 - place); // it stands there reversed
        tell("warning: " + words);
    }
}

void Checker::problem(const std::string& words)
{
    good_ = false;
    tell(words);
}

void Checker::tell(const std::string& words)
{
    problems_ << path_;
    if (number_ != 0) {
        problems_ << ':' << number_;
    }
    problems_ << ": " << words << '\n';
}

/// Told once for lines that follow each other without a gap.
void Checker::data_problem(const Data_line& line, std::uint32_t address, const char* words)
{
    if (address != told_until_) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "0x%08x", address);
        problem("has data at " + std::string(hex) + ", " + words);
    }
    told_until_ = std::uint64_t{line.address} + line.size;
}

void Checker::print(std::ostream& out) const
{
    out << "version   " << version_ << "\necu info  " << (is_plain(ecu_info_) ? ecu_info_ : "(not readable)")
        << '\n';
    out << std::hex << std::setfill('0');
    const auto range = [&out](const char* what, std::uint64_t start, std::uint64_t end) {
        out << what << "0x" << std::setw(8) << start << " - 0x" << std::setw(8) << end << '\n';
    };
    for (const auto& sector : layout_.sectors()) {
        range("sector    ", sector.start, sector.end);
    }
    std::size_t size = 0;
    for (const auto& [start, bytes] : program_) {
        range("data      ", start, start + bytes.size() - 1);
        size += bytes.size();
    }
    out << std::dec << "size      " << size << " bytes\n";
}

} // namespace bench::update
