#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace qv::file {

/// What of a file's properties can be set.
class Writeable_properties {
public:
    virtual ~Writeable_properties() = default;
    virtual bool is_valid() const = 0;

    bool read_only = false;   ///< the owner may not write
    std::time_t modified = 0; ///< seconds, adjusted time
};

/// A file's properties at the moment of construction.
class Properties final : public Writeable_properties {
public:
    explicit Properties(const std::string& path);
    /// Whether the file exists and could be asked.
    bool is_valid() const override { return valid; }

    bool directory = false;
    std::int32_t size = -1; ///< bytes; -1 when unknown, or too large for the field
    bool valid = false;
};

/// Sets the file's times and its owner's write permission. False for invalid `properties`; true when both were
/// set.
bool apply_properties(const std::string& path, const Writeable_properties& properties);

} // namespace qv::file
