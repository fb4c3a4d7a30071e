#include "bench/simulated_ecu/text.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace bench::simulated {

std::string format(const char* pattern, ...)
{
    std::array<char, 512> buffer{};
    va_list arguments;
    va_start(arguments, pattern);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start has just been there
    (void)std::vsnprintf(buffer.data(), buffer.size(), pattern, arguments);
    va_end(arguments);
    return buffer.data();
}

} // namespace bench::simulated
