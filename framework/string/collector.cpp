#include "framework/string/collector.h"

#include "framework/string/integer_layout.h"
#include "framework/string/text_layout.h"

namespace qv::string::internal::format {

Collector::Collector(const char* format)
    : format_(format)
    , position_(format_.units())
    , end_(position_ + format_.size())
{
    specification_.finished = false;
    run_to_conversion();
}

Collector& Collector::operator()(const char* text)
{
    if (specification_.finished) {
        return *this;
    }
    const Code_point letter = specification_.read(position_, end_);
    if (!fits(letter, Argument_kind::text)) {
        specification_.finished = true;
        return *this;
    }
    if (letter == 's') {
        write_argument(container_, specification_, text);
    } else {
        write_address(letter, reinterpret_cast<std::uintptr_t>(text));
    }
    run_to_conversion();
    return *this;
}

Collector& Collector::operator()(int* count)
{
    if (specification_.finished) {
        return *this;
    }
    specification_.finished = specification_.read(position_, end_) != 'n';
    if (!specification_.finished) {
        if (count != nullptr) {
            *count = static_cast<int>(container_.size());
        }
        run_to_conversion();
    }
    return *this;
}

Collector& Collector::integer(std::uint32_t value)
{
    if (specification_.finished) {
        return *this;
    }
    const Code_point letter = specification_.read(position_, end_);
    if (letter == '*') {
        specification_.take(value);
    } else if (fits(letter, Argument_kind::integer)) {
        write(letter, value);
        run_to_conversion();
    } else {
        specification_.finished = true;
    }
    return *this;
}

void Collector::write(Code_point letter, std::uint32_t value)
{
    switch (letter) {
        case 'c': return write_character(container_, specification_, static_cast<Code_point>(value));
        case 'r':
        case 'R': return write_roman(container_, specification_, static_cast<std::int32_t>(value), letter == 'R');
        case 'p':
        case 'P': return write_address(letter, value);
        default: return write_integer(container_, specification_, letter, value);
    }
}

/// Eight digits at least, unless the alternate form is asked for.
void Collector::write_address(Code_point letter, std::uint64_t address)
{
    constexpr std::uint32_t address_digits = 8;
    if (!specification_.alternate) {
        specification_.zero_padded = true;
        if (specification_.precision == formatting::no_precision) {
            specification_.precision = address_digits;
        }
    }
    write_integer(container_, specification_, letter, address);
}

void Collector::run_to_conversion()
{
    specification_.begin();
    specification_.finished =
        !next_conversion(position_, end_, [this](const Utf_32_unit* first, const Utf_32_unit* last) {
            container_.append(first, last);
        });
}

} // namespace qv::string::internal::format
