#pragma once

#include <string>
#include <vector>

#include "ctl/ecu.h"
#include "ctl/state.h"
#include "ctl/watch.h"

namespace ctl {

// The output for scripts. All of it is ASCII without controls; bytes that are no UTF-8 become U+FFFD. What is read
// on the spot is indented, what comes bit by bit is one object a line.

std::string to_json(const std::vector<Ecu>& ecus);
std::string to_json(const Ecu& ecu, const Identification& identification, const std::vector<Software>& software);
std::string to_json(const std::vector<std::string>& texts);
/// One line; the same keys as those of a moment, and why the session failed.
std::string to_json(const Status& status);
/// One line.
std::string to_json(const Moment& moment);
/// One line: a session has been started.
std::string started_json(const Ecu& ecu, const std::string& version);
/// One line: an order has been carried out.
std::string done_json(const std::string& order);

} // namespace ctl
