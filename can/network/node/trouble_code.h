#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qv::can_bus::diagnostic::trouble_code {

/// One diagnostic trouble code [SAE J1939-73 5.7.1].
struct Trouble_code {
    std::uint8_t failure_mode_indicator = 0;
    std::uint8_t occurrence_count = 0;
    bool conversion_method = false;
    std::uint32_t spn = 0;
};

using List = std::vector<Trouble_code>;

/// "SPN %u  occurrence count %u  failure mode indicator %u".
std::string text(const Trouble_code& code);
/// The codes of the list, with ", " between them.
std::string text(const List& list);

/// The codes of a DM1 or DM2 payload: two lamp bytes, then groups of 4. Empty for a payload shorter than 6
/// bytes. Codes of SPN 0, which stand for "none", and an incomplete last group are left out.
List decode(std::span<const std::uint8_t> payload);
/// The other way, with both lamp bytes 0xFF: 2 + 4 * count bytes. An empty list is sent as one code of zeroes.
/// Each value is cut to its width.
std::vector<std::uint8_t> encode(const List& list);

/// The trouble codes of one control function, and which of the diagnostic messages it knows.
///
/// Thread: the bus thread.
class Manager {
public:
    static constexpr unsigned not_supported = 0;
    static constexpr unsigned supported = 1;
    static constexpr unsigned unknown = 3; ///< nothing was heard of it yet

    unsigned active_supported() const noexcept { return field(active_shift); }
    unsigned previous_active_supported() const noexcept { return field(previous_active_shift); }
    unsigned reset_previous_active_supported() const noexcept { return field(reset_previous_active_shift); }
    void active_supported(unsigned value) noexcept { set_field(active_shift, value); }
    void previous_active_supported(unsigned value) noexcept { set_field(previous_active_shift, value); }
    void reset_previous_active_supported(unsigned value) noexcept
    {
        set_field(reset_previous_active_shift, value);
    }

    List active;
    List previous_active;

private:
    static constexpr unsigned active_shift = 0;
    static constexpr unsigned previous_active_shift = 2;
    static constexpr unsigned reset_previous_active_shift = 4;

    unsigned field(unsigned shift) const noexcept { return (support_ >> shift) & 3U; }
    void set_field(unsigned shift, unsigned value) noexcept
    {
        support_ = (support_ & ~(3U << shift)) | ((value & 3U) << shift);
    }

    std::uint32_t support_ = 63; ///< three fields of two bits, all `unknown` at first
};

} // namespace qv::can_bus::diagnostic::trouble_code
