#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace bench::update {

/// Bytes to write, by the address of the first of each run. Runs neither touch nor overlap.
using Runs = std::map<std::uint32_t, std::vector<std::uint8_t>>;

/// Reads a program: Intel HEX when the file begins with ":", else its bytes as they are, put at `base`.
/// Nothing, and `problem` set, when it cannot be read.
[[nodiscard]] std::optional<Runs> read_program(const std::string& path, std::uint32_t base, std::string& problem);

/// Adds bytes at an address, joining runs that touch. False, and `problem` set, when they run over others or up to
/// the end of 32 bits of address.
[[nodiscard]] bool add_bytes(Runs& runs, std::uint32_t address, const std::vector<std::uint8_t>& bytes,
                             std::string& problem);

} // namespace bench::update
