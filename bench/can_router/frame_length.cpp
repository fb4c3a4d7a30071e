#include "bench/can_router/frame_length.h"

namespace bench {

namespace {

/// Takes the bits of a frame from its start to its checksum, and counts what stuffing adds.
class Bit_counter {
public:
    void put(std::uint32_t value, unsigned width) noexcept
    {
        while (width-- > 0) {
            const bool bit = (value >> width & 1U) != 0;
            checksum(bit);
            count(bit);
        }
    }

    /// Appends the checksum of what was put so far; stuffing goes on over it.
    void put_checksum() noexcept
    {
        const auto value = checksum_;
        for (unsigned place = 15; place-- > 0;) {
            count((value >> place & 1U) != 0);
        }
    }

    [[nodiscard]] unsigned bits() const noexcept { return bits_; }

private:
    static constexpr std::uint32_t polynomial = 0x4599;

    void checksum(bool bit) noexcept
    {
        const bool next = bit != ((checksum_ >> 14 & 1U) != 0);
        checksum_ = checksum_ << 1 & 0x7FFF;
        if (next) {
            checksum_ ^= polynomial;
        }
    }

    /// After five equal bits a bit of the other value follows, which counts for the next five.
    void count(bool bit) noexcept
    {
        ++bits_;
        equal_ = bit == last_ ? equal_ + 1 : 1;
        last_ = bit;
        if (equal_ == 5) {
            ++bits_;
            last_ = !bit;
            equal_ = 1;
        }
    }

    std::uint32_t checksum_ = 0;
    unsigned bits_ = 0;
    unsigned equal_ = 0;
    bool last_ = true;
};

constexpr unsigned tail_bits = 1 + 2 + 7 + 3;    ///< checksum delimiter, acknowledgment, end, intermission
constexpr unsigned error_frame_bits = 6 + 8 + 3; ///< flag, delimiter, intermission
constexpr std::uint32_t extended_mark = 0b11;    ///< substitute remote request, identifier extension

} // namespace

unsigned frame_length(const Record& record) noexcept
{
    if (record.error) {
        return error_frame_bits;
    }
    const std::uint32_t remote = record.remote ? 1 : 0;
    Bit_counter frame;
    frame.put(0, 1);
    if (record.extended) {
        frame.put(record.identifier >> 18 & 0x7FF, 11);
        frame.put(extended_mark, 2);
        frame.put(record.identifier & 0x3FFFF, 18);
        frame.put(remote << 2, 3); // two reserved bits behind it
    } else {
        frame.put(record.identifier & 0x7FF, 11);
        frame.put(remote << 2, 3); // base format and one reserved bit behind it
    }
    frame.put(record.length, 4);
    for (unsigned index = 0; index < record.length && !record.remote; ++index) {
        frame.put(record.data[index], 8);
    }
    frame.put_checksum();
    return frame.bits() + tail_bits;
}

} // namespace bench
