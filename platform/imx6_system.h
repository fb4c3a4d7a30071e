#pragma once

#include "platform/tolvan_system.h"

namespace qv::platform {

/// Boards with an i.MX6 processor, which keep their identity in the boot environment.
class imx6_system final : public TolvanSystem {
public:
    imx6_system();
    /// On "TARNWOOD" waits until the boot environment holds the id.
    void read_uuid() override;
    void read_assembly() override;
    void read_software() override;
    void read_hardware() override {}
};

} // namespace qv::platform
