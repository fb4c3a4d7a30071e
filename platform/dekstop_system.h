#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>

#include "platform/tolvan_system.h"

namespace qv::platform {

/// A developer's machine, whose identity stands in a JSON file in the home directory.
class dekstop_system final : public TolvanSystem {
public:
    dekstop_system();
    void read_gps() override;
    void read_uuid() override;
    void read_assembly() override;
    void read_software() override;
    void read_hardware() override;

private:
    /// When the file was modified, in nanoseconds since the epoch; empty before the first reading.
    using Stamp = std::optional<std::int64_t>;
    struct Entry {
        const char* key;
        std::string* field;
    };

    /// Reads the keys when the file is another than at `stamp`. A missing key leaves its field.
    static void reload(Stamp& stamp, std::initializer_list<Entry> entries);

    Stamp gps_stamp_;
    Stamp uuid_stamp_;
    Stamp assembly_stamp_;
    Stamp software_stamp_;
    Stamp hardware_stamp_;
};

} // namespace qv::platform
