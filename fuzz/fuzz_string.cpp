// Takes the input as text in all encodings and code pages, as a format for arguments of all kinds, and as the
// parts of a conversion that `snprintf` has to lay out in the same way.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "framework/string/code_page.h"
#include "framework/string/collector.h"
#include "framework/string/text.h"

namespace {

using namespace qv::string;
using formatting::Collector;

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// Hands out the input from its front.
class Input {
public:
    explicit Input(std::string_view bytes)
        : bytes_(bytes)
    {}
    std::uint8_t byte()
    {
        const std::uint8_t first = bytes_.empty() ? 0 : static_cast<std::uint8_t>(bytes_.front());
        bytes_.remove_prefix(std::min<std::size_t>(bytes_.size(), 1));
        return first;
    }
    std::uint32_t word()
    {
        std::uint32_t result = 0;
        for (int count = 0; count < 4; ++count) {
            result = result << 8U | byte();
        }
        return result;
    }
    std::string rest() const { return std::string(bytes_); }

private:
    std::string_view bytes_;
};

/// All ways through a string give the same code points, and a slice gives its part of them.
template <class Text> void walk(const Text& text, std::uint8_t start, std::uint8_t count)
{
    const Text part = text.slice(start, count);
    const std::size_t rest = text.length() > start ? text.length() - start : 0;
    require(part.length() == std::min<std::size_t>(rest, count));
    const std::size_t checked = std::min<std::size_t>(part.length(), 64); // each `at` may walk from the start
    for (std::size_t index = 0; index < checked; ++index) {
        require(part.at(index) == text.at(start + index));
    }
    std::size_t length = 0;
    for ([[maybe_unused]] const auto code_point : text) {
        ++length;
    }
    require(length == text.length() && text.at(length) == 0);
    require(text.to_printable_string().size() == length);
}

void convert(const std::string& bytes, std::uint8_t start, std::uint8_t count)
{
    const Utf_8_string utf_8(bytes);
    const Utf_32_string utf_32(utf_8);
    const std::string round = Utf_8_string(utf_32).to_utf_8_string();
    require(round == utf_8.to_utf_8_string() && round.size() == utf_8.size());
    require(Utf_8_string(round).to_utf_8_string() == round);
    const auto leads = std::count_if(bytes.begin(), bytes.end(), [](char c) { return (c & 0xC0) != 0x80; });
    require(!is_valid_utf_8(bytes.data(), bytes.size(), false) ||
            utf_32.length() == static_cast<std::size_t>(leads));
    walk(utf_8, start, count);
    walk(utf_32, start, count);
    walk(Utf_16_string(utf_8), start, count);
    walk(Ascii_string(utf_8), start, count);
}

void cross_code_pages(const std::string& bytes)
{
    const std::string western = latin_1_to_utf_8(bytes);
    require(is_well_formed_utf_8(western));
    require(bytes.starts_with(utf_8_to_latin_1(western)));
    const std::string cyrillic = latin_5_to_utf_8(bytes);
    require(is_well_formed_utf_8(cyrillic));
    std::string expected = bytes;
    std::replace_if(
        expected.begin(), expected.end(), [](char c) { return (c & 0xE0) == 0x80; }, '?');
    require(utf_8_to_latin_5(cyrillic) == expected);
    utf_8_to_latin_1(bytes);
    utf_8_to_latin_5(bytes);
    remove_whitespace(bytes);
}

/// Any format with arguments that need not fit it.
void format(Input input)
{
    const std::uint32_t kinds = input.word();
    const std::uint32_t number = input.word();
    const std::string text = input.rest();
    Collector collector(text.c_str());
    int gathered = 0;
    for (std::uint32_t bit = 0; bit < 12; ++bit) {
        switch (kinds >> (2 * bit) & 3U) {
            case 0: collector(number >> bit); break;
            case 1: collector(static_cast<int>(number << bit)); break;
            case 2: collector(text.c_str() + std::strlen(text.c_str()) / 2); break;
            default: collector(&gathered);
        }
    }
    const Utf_8_string result = collector;
    require(gathered >= 0 && static_cast<std::size_t>(gathered) <= collector.container().size());
}

/// What a conversion has in common with those of `printf`.
std::string make_conversion(Input& input, char letter)
{
    std::string conversion = "%";
    const auto flags = input.byte();
    const bool is_text = letter == 'c' || letter == 's';
    conversion += (flags & 1U) != 0 ? "-" : "";
    conversion += (flags & 2U) != 0 && !is_text ? "0" : "";
    conversion += (flags & 4U) != 0 && letter == 'd' ? "+" : "";
    conversion += (flags & 8U) != 0 && letter == 'd' ? " " : "";
    conversion += (flags & 16U) != 0 && (letter == 'x' || letter == 'X' || letter == 'o') ? "#" : "";
    conversion += (flags & 32U) != 0 ? std::to_string(input.byte()) : "";
    conversion += (flags & 64U) != 0 && letter != 'c' ? "." + std::to_string(1 + input.byte()) : "";
    conversion += (flags & 128U) != 0 && letter != 'd' && !is_text ? "h" : "";
    return conversion + letter;
}

void compare_with_printf(Input input)
{
    const char letter = "duxXocs"[input.byte() % 7];
    const std::string conversion = "<" + make_conversion(input, letter) + ">";
    const std::uint32_t value = letter == 'c' ? 'a' + input.byte() % 26U : input.word();
    std::string text = input.rest();
    std::erase_if(text, [](char c) { return c <= 0; });
    Collector collector(conversion.c_str());
    std::string expected(text.size() + 1024, '\0');
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int length = letter == 's'
                           ? std::snprintf(expected.data(), expected.size(), conversion.c_str(), text.c_str())
                           : std::snprintf(expected.data(), expected.size(), conversion.c_str(), value);
#pragma GCC diagnostic pop
    letter == 's' ? collector(text.c_str()) : collector(value);
    expected.resize(static_cast<std::size_t>(length));
    const Ascii_string result = collector;
    require(result.to_printable_string() == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input({reinterpret_cast<const char*>(data), size});
    const auto start = input.byte();
    const auto count = input.byte();
    convert(input.rest(), start, count);
    cross_code_pages(input.rest());
    format(input);
    compare_with_printf(input);
    return 0;
}
