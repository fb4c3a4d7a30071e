#include "framework/signal/report.h"

#include <algorithm>

#include <unistd.h>

#include "framework/signal/handler.h"

namespace qv::posix_signal {

namespace {

std::string_view name_of(std::uint32_t signal_type) noexcept
{
    switch (signal_type) {
        case type::hangup: return "hangup";
        case type::keyboard_interrupt: return "keyboard interrupt";
        case type::abort: return "abort";
        case type::terminated_with_error: return "terminated with error";
        case type::normal_termination: return "normal termination";
        case type::illegal_instruction: return "illegal instruction";
        case type::floating_point_exception: return "floating point exception";
        case type::bus_error: return "bus error";
        case type::segment_violation: return "segment violation";
        case type::bad_system_call_argument: return "bad system call argument";
        case type::pipe_fault: return "pipe fault";
        case type::user_signal_1: return "user signal 1";
        default: return "unknown";
    }
}

constexpr std::uint32_t with_address =
    type::illegal_instruction | type::floating_point_exception | type::bus_error | type::segment_violation;

} // namespace

void Safe_text::append(std::string_view text) noexcept
{
    const std::size_t count = std::min(text.size(), buffer_.size() - 1 - length_);
    std::copy_n(text.begin(), count, buffer_.begin() + static_cast<std::ptrdiff_t>(length_));
    length_ += count;
}

void Safe_text::append_hex(std::uintptr_t value) noexcept
{
    std::array<char, sizeof value * 2> digits;
    std::size_t first = digits.size();
    do {
        digits[--first] = "0123456789abcdef"[value & 0xF];
        value >>= 4;
    } while (value != 0);
    append({digits.data() + first, digits.size() - first});
}

Safe_text report_text(std::uint32_t type, const siginfo_t& info) noexcept
{
    Safe_text text;
    text.append("signal raised: ");
    text.append(name_of(type));
    if ((type & with_address) != 0) {
        text.append(" at address 0x");
        text.append_hex(reinterpret_cast<std::uintptr_t>(info.si_addr));
    }
    return text;
}

void write_report(std::string_view report) noexcept
{
    Safe_text line;
    line.append("\n");
    line.append(report);
    line.append("\n");
    std::string_view rest = line.view();
    while (!rest.empty()) {
        const ssize_t count = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (count <= 0) {
            return;
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
}

} // namespace qv::posix_signal
