#include "service/version_order.h"

#include <rpm/rpmver.h>

namespace qv::can_bus::flr {

namespace {

/// The text from its first decimal digit on; empty without one.
std::string tail_of(const std::string& text)
{
    const auto first_digit = text.find_first_of("0123456789");
    return first_digit == std::string::npos ? std::string() : text.substr(first_digit);
}

} // namespace

bool newer(const std::string& a, const std::string& b)
{
    const auto tail_a = tail_of(a);
    const auto tail_b = tail_of(b);
    if (tail_a.empty() != tail_b.empty()) {
        return tail_b.empty();
    }
    return tail_a == tail_b ? rpmvercmp(b.c_str(), a.c_str()) < 0 : rpmvercmp(tail_b.c_str(), tail_a.c_str()) < 0;
}

} // namespace qv::can_bus::flr
