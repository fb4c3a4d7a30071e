#include "bench/command_line/option_table.h"

#include <charconv>

namespace bench {

std::optional<std::uint64_t> number_of(std::string_view text, std::uint64_t least, std::uint64_t most, int base)
{
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    const auto unit = text.substr(static_cast<std::size_t>(end - text.data()));
    const std::uint64_t factor = unit == "K" ? 1024 : unit == "M" ? 1024 * 1024 : unit.empty() ? 1 : 0;
    if (error != std::errc{} || factor == 0 || value > most / factor || value * factor < least) {
        return std::nullopt;
    }
    return value * factor;
}

bool read_time(std::string_view text, std::chrono::milliseconds& time)
{
    std::uint32_t milliseconds = 0;
    const bool good = read(text, milliseconds, 0, 3'600'000);
    time = std::chrono::milliseconds(milliseconds);
    return good;
}

bool read_field(std::string_view text, std::string& field)
{
    field = text;
    return text.size() <= 200 && text.find('*') == std::string_view::npos;
}

std::string option_line(std::string_view name, std::string_view value, std::string_view help)
{
    constexpr std::size_t help_column = 30;
    std::string line("  --");
    line.append(name).append(" ").append(value);
    line.resize(std::max(line.size() + 1, help_column), ' ');
    return line.append(help).append("\n");
}

} // namespace bench
