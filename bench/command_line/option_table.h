#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace bench {

/// A number within the bounds: decimal, or hexadecimal with 0x (or always, with `base` 16); K and M stand for 1024
/// and 1024 x 1024.
[[nodiscard]] std::optional<std::uint64_t> number_of(std::string_view text, std::uint64_t least,
                                                     std::uint64_t most, int base = 10);

// Each of these gives false when the text is none that may stand there.

template <class Number>
bool read(std::string_view text, Number& number, std::uint64_t least, std::uint64_t most, int base = 10)
{
    const auto value = number_of(text, least, most, base);
    number = static_cast<Number>(value.value_or(0));
    return value.has_value();
}
/// Milliseconds, an hour at most.
bool read_time(std::string_view text, std::chrono::milliseconds& time);
/// A field of an identification; "*" ends fields on the bus.
bool read_field(std::string_view text, std::string& field);

/// One option of a program, or a headline of its help, which has no `set`.
template <class Options> struct Option_row {
    const char* name;  ///< without "--"
    const char* value; ///< what to give; empty for a switch that stands alone
    const char* help;
    bool (*set)(Options&, std::string_view);
};

/// Reads `--option value` and `--option=value`, the program's own name left out. An empty text, or what is wrong.
template <class Options>
std::string parse_table(std::span<const Option_row<Options>> rows, std::span<const char* const> arguments,
                        Options& options)
{
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        const std::size_t equal = argument.find('=');
        const auto row = std::find_if(rows.begin(), rows.end(), [&](const auto& each) {
            return each.set != nullptr && argument.substr(0, equal) == std::string("--").append(each.name);
        });
        if (row == rows.end()) {
            return std::string("unknown option ").append(argument);
        }
        const std::string name = std::string("--").append(row->name);
        const bool alone = *row->value == '\0';
        std::string_view value;
        if (equal != std::string_view::npos) {
            value = argument.substr(equal + 1);
        } else if (!alone && i + 1 < arguments.size()) {
            value = arguments[++i];
        } else if (!alone) {
            return name + " needs a value";
        }
        if (alone && equal != std::string_view::npos) {
            return name + " takes no value";
        }
        if (!row->set(options, value)) {
            return (name + ": '").append(value).append("' is no ").append(row->value);
        }
    }
    return {};
}

/// A line for the help.
std::string option_line(std::string_view name, std::string_view value, std::string_view help);

/// All options, one a line, with their defaults.
template <class Options> std::string table_text(std::span<const Option_row<Options>> rows)
{
    std::string text;
    for (const auto& row : rows) {
        if (row.set != nullptr) {
            text += option_line(row.name, row.value, row.help);
        } else {
            text.append("\n").append(row.help).append(*row.help == '\0' ? "" : ":\n");
        }
    }
    return text;
}

} // namespace bench
