#pragma once

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qv::posix_signal {

/// A short text built in place, with nothing that a signal handler may not do. What does not fit is cut.
class Safe_text {
public:
    void append(std::string_view text) noexcept;
    void append_hex(std::uintptr_t value) noexcept;
    /// Always ended by a zero.
    const char* c_str() const noexcept { return buffer_.data(); }
    std::string_view view() const noexcept { return {buffer_.data(), length_}; }

private:
    std::array<char, 128> buffer_{};
    std::size_t length_ = 0;
};

/// "signal raised: segment violation at address 0x10"
Safe_text report_text(std::uint32_t type, const siginfo_t& info) noexcept;

/// Writes the report to standard error, with a line feed before and behind it. Safe in a signal handler.
void write_report(std::string_view report) noexcept;

} // namespace qv::posix_signal
