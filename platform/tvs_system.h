#pragma once

#include "platform/tolvan_system.h"

namespace qv::platform {

/// Terminals with the maker's own operating system, which keep their identity in a registration file.
class tvs_system final : public TolvanSystem {
public:
    tvs_system();
    void read_gps() override;
    void read_uuid() override;
    void read_assembly() override;
    void read_software() override;
    void read_hardware() override {}
};

} // namespace qv::platform
