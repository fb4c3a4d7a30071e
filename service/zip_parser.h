#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "service/parser.h"

namespace qv::can_bus::flr {

/// An update package for an ECU behind a wireless node: a zip archive whose member `version` holds the software
/// version, and whose member `ecuinfo` tells in plain text which ECUs it is for. The node unpacks the rest.
class ZipParser final : public Parser {
public:
    /// Bytes of a line in a member; a longer line falls into several.
    static constexpr std::size_t line_limit = 1023;

    ZipParser() = default;

    /// Reads the two members; there is only one depth. After a failure of `unzip` the result is its status.
    int parse(const std::string& file_path, bool header_only) override;
    void print_brief() const override;
    void print_full() const override;

    /// A copy for a session with one ECU. The package in the catalogue is shared and stays as it is.
    std::unique_ptr<ZipParser> for_ecu(std::uint64_t name, const std::string& host) const;

    std::uint64_t target_name = 0; ///< NAME of the session's ECU
    std::string target_host;       ///< host name of the node before it

private:
    ZipParser(const ZipParser&) = default;
};

} // namespace qv::can_bus::flr
