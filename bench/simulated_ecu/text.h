#pragma once

#include <string>

namespace bench::simulated {

/// printf into a string.
[[nodiscard, gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

} // namespace bench::simulated
