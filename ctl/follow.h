#pragma once

#include "ctl/client.h"
#include "ctl/display.h"

namespace ctl {

/// Shows the session until its end; returns when it has succeeded, and throws an `Error` when not. `begun`: the
/// caller has just started it. SIGINT ends the program, not the session.
void follow(Client& client, Style style, bool begun);

/// "the update failed, code 11: ...", and below it what to do.
std::string failure_text(const Status& status);

} // namespace ctl
