#pragma once

#include "ctl/exit_code.h"
#include "ctl/options.h"

namespace ctl {

/// Carries out the command: connects, asks, prints on standard output. `done`, or an `Error` that is thrown.
void run(const Options& options);

} // namespace ctl
