#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bench/make_update/hex_line.h"
#include "bench/make_update/image_input.h"
#include "bench/make_update/layout.h"

namespace bench::update {

/// Reads an update file and tells what it holds and what is wrong with it: what the service refuses, passes over
/// without a word, or does otherwise than the file's author wanted.
///
/// For one file. Each problem goes to `problems` as "PATH:LINE: ...", and as "PATH:LINE: warning: ..." what the
/// author may have wanted.
class Checker {
public:
    Checker(std::string path, std::ostream& problems)
        : path_(std::move(path))
        , problems_(problems)
    {}

    /// Reads the file and prints its contents to `out`. True when there is no problem.
    bool check(std::ostream& out);
    /// The same with a text that is not, or not yet, in the file.
    bool check(std::istream& text, std::ostream& out);

private:
    struct Data_line {
        std::size_t number;
        std::uint32_t address;
        std::size_t size;
    };

    void take(const std::string& text);
    void take_line(const Line& line);
    void take_data(const Line& line);
    void take_ecu_info(const Line& line);
    void take_encryption(const Line& line);
    void take_version(const Line& line);
    void take_sector(const Line& line);
    void finish();
    void finish_data();
    void finish_ecu_info();
    void problem(const std::string& words);
    void tell(const std::string& words);
    void data_problem(const Data_line& line, std::uint32_t address, const char* words);
    void print(std::ostream& out) const;

    std::string path_;
    std::ostream& problems_;
    std::size_t number_ = 0; ///< of the line, from 1; 0 for the file as a whole
    bool good_ = true;
    Runs program_;
    std::size_t piece_count_ = 0;             ///< of data lines that go on from each other
    std::optional<std::uint64_t> piece_end_;  ///< behind the last data line
    std::vector<Data_line> data_lines_;       ///< those that lie in sectors
    std::optional<std::uint64_t> told_until_; ///< data lines that go on from here have the problem told last
    Layout layout_;
    std::vector<std::uint8_t> block_;
    std::vector<std::size_t> block_lines_; ///< the line of each byte of `block_`
    std::string version_;
    std::string ecu_info_;
    int encryption_ = 0;
    std::size_t encryption_line_ = 0;
    bool ended_ = false;
    std::uint8_t sum_ = 0;
    std::uint32_t upper_ = 0;
};

} // namespace bench::update
