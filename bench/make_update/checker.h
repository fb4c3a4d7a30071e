#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "bench/make_update/hex_line.h"
#include "bench/make_update/image_input.h"
#include "bench/make_update/update_writer.h"

namespace bench::update {

/// Reads an update file and tells what it holds and what is wrong with it.
class Checker {
public:
    /// Prints the contents to `out` and each problem as "FILE:LINE: ..." to `problems`. True when there is none.
    bool check(const std::string& path, std::ostream& out, std::ostream& problems);

private:
    void take(const std::string& text);
    void take_line(const Line& line);
    void take_sector(const Line& line);
    void finish();
    void problem(const std::string& words);
    void print(std::ostream& out) const;

    std::string path_;
    std::size_t number_ = 0; ///< of the line, from 1; 0 for the file as a whole
    std::ostream* problems_ = nullptr;
    bool good_ = true;
    Runs program_;
    std::vector<std::vector<Sector>> tables_;
    std::vector<std::uint8_t> block_;
    std::string version_;
    std::string ecu_info_;
    int encryption_ = 0;
    bool ended_ = false;
    std::uint8_t sum_ = 0;
    std::uint32_t upper_ = 0;
};

} // namespace bench::update
