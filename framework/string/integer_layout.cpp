#include "framework/string/integer_layout.h"

#include <algorithm>
#include <array>
#include <limits>

#include "framework/string/text_layout.h"

namespace qv::string::internal::format {

namespace {

using formatting::Size;
using formatting::Specification;

/// How a conversion letter writes a number.
struct Radix {
    unsigned base;
    std::size_t group; ///< digits in a group; `none` for a conversion without groups
    Code_point separator;
    const char* digits;
    const char* prefix; ///< with `alternate`
};

constexpr const char* lowercase = "0123456789abcdef";
constexpr const char* uppercase = "0123456789ABCDEF";
constexpr std::size_t none = std::numeric_limits<std::size_t>::max(); // a group that is never full

constexpr Radix radix_of(Code_point letter) noexcept
{
    switch (letter) {
        case 'o': return {8, 3, thin_space, lowercase, "0"};
        case 'x': return {16, 2, '_', lowercase, "0x"};
        case 'X': return {16, 2, '_', uppercase, "0X"};
        case 'p': return {16, none, '_', lowercase, "0x"};
        case 'P': return {16, none, '_', uppercase, "0X"};
        case 'b': return {2, 4, thin_space, lowercase, "0b"};
        case 'B': return {2, 4, thin_space, lowercase, "0B"};
        default: return {10, 3, thin_space, lowercase, ""};
    }
}

/// The digits of a number, the last at the end of the buffer.
class Digits {
public:
    template <unsigned base> void write(std::uint64_t value, const char* digits) noexcept
    {
        do {
            *--first_ = digits[value % base];
            value /= base;
        } while (value != 0);
    }
    void write(std::uint64_t value, const Radix& radix) noexcept
    {
        switch (radix.base) { // a constant divisor is far quicker
            case 2: return write<2>(value, radix.digits);
            case 8: return write<8>(value, radix.digits);
            case 16: return write<16>(value, radix.digits);
            default: return write<10>(value, radix.digits);
        }
    }

    const char* begin() const noexcept { return first_; }
    const char* end() const noexcept { return buffer_.data() + buffer_.size(); }
    std::size_t size() const noexcept { return static_cast<std::size_t>(end() - first_); }

private:
    std::array<char, 64> buffer_; // of 64 bits each
    char* first_ = buffer_.data() + buffer_.size();
};

/// One number and the parts that it is laid out in.
class Layout {
public:
    Layout(const Specification& specification, Code_point letter, std::uint64_t value) noexcept
        : specification_(specification)
        , radix_(radix_of(letter))
    {
        set_value(letter, value);
        set_zeros();
        blanks_ = padding(specification_, before_ + count_with_separators(digits_.size() + zeros_));
    }

    void write(Code_point_container& out) const
    {
        out.append(specification_.right_justified ? blanks_ : 0, specification_.fill);
        out.append(front_.begin(), front_.begin() + before_);
        specification_.grouped ? write_grouped(out) : write_plain(out);
        out.append(specification_.right_justified ? 0 : blanks_, specification_.fill);
    }

private:
    void set_value(Code_point letter, std::uint64_t value) noexcept
    {
        if (letter == 'd' || letter == 'i') {
            const auto bits = static_cast<std::uint32_t>(value);
            const bool negative = bits > 0x7FFFFFFF;
            digits_.write(negative ? 0 - bits : bits, radix_);
            put_front(sign_of(specification_, negative));
            return;
        }
        value = cut(value);
        digits_.write(value, radix_);
        const bool led_by_zero = radix_.base == 8 && zeros_of_precision() != 0;
        if (specification_.alternate && value != 0 && !led_by_zero) {
            std::for_each(radix_.prefix, radix_.prefix + std::char_traits<char>::length(radix_.prefix),
                          [this](char character) { put_front(character); });
        }
    }

    void put_front(char character) noexcept
    {
        front_[before_] = character;
        before_ += character != 0 ? 1 : 0;
    }

    std::uint64_t cut(std::uint64_t value) const noexcept
    {
        switch (specification_.size) {
            case Size::byte: return value & 0xFF;
            case Size::half: return value & 0xFFFF;
            case Size::word:
            case Size::longer: break;
        }
        return value;
    }

    bool has_precision() const noexcept { return specification_.precision != formatting::no_precision; }

    std::size_t zeros_of_precision() const noexcept
    {
        const std::size_t wanted =
            has_precision() ? std::min(specification_.precision, formatting::widest_field) : 0;
        return wanted > digits_.size() ? wanted - digits_.size() : 0;
    }

    void set_zeros() noexcept
    {
        zeros_ = zeros_of_precision();
        const bool padded = specification_.zero_padded && specification_.right_justified && !has_precision();
        const std::size_t room = padded ? padding(specification_, before_) : 0;
        zeros_ = std::max(zeros_, std::max(digits_.size(), digits_that_fit(room)) - digits_.size());
    }

    /// How many digits have room with their separators, of which none comes first.
    std::size_t digits_that_fit(std::size_t room) const noexcept
    {
        return specification_.grouped && radix_.group != none ? room - room / (radix_.group + 1) : room;
    }

    std::size_t count_with_separators(std::size_t digits) const noexcept
    {
        return digits + (specification_.grouped ? (digits - 1) / radix_.group : 0);
    }

    void write_plain(Code_point_container& out) const
    {
        out.append(zeros_, '0');
        out.append(digits_.begin(), digits_.end());
    }

    void write_grouped(Code_point_container& out) const
    {
        const Code_point separator =
            specification_.group_separator != 0 ? specification_.group_separator : radix_.separator;
        const std::size_t count = zeros_ + digits_.size();
        for (std::size_t index = 0; index < count; ++index) {
            if (index != 0 && (count - index) % radix_.group == 0) {
                out.append(separator);
            }
            out.append(index < zeros_ ? '0' : digits_.begin()[index - zeros_]);
        }
    }

    const Specification& specification_;
    const Radix radix_;
    Digits digits_;
    std::array<char, 4> front_; ///< sign or prefix
    std::size_t before_ = 0;    ///< how many of `front_`
    std::size_t zeros_ = 0;     ///< in front of the digits
    std::size_t blanks_ = 0;
};

} // namespace

void write_integer(Code_point_container& out, const Specification& specification, Code_point letter,
                   std::uint64_t value)
{
    Layout(specification, letter, value).write(out);
}

} // namespace qv::string::internal::format
