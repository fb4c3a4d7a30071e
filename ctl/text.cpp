#include "ctl/text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace ctl {

namespace {

constexpr std::size_t cell_limit = 48;
constexpr std::string_view cut_mark = "...";

/// One character, or one byte of what is none.
struct Glyph {
    std::size_t bytes = 1;
    std::size_t columns = 0; ///< 0: must not reach a terminal
};

/// Combining marks count as invisible too: they could write over other lines.
Glyph first_glyph(std::string_view text)
{
    std::mbstate_t state{};
    wchar_t character = 0;
    const auto count = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (count == 0 || count > text.size()) {
        return {};
    }
    const int width = wcwidth(character);
    return {count, width > 0 ? static_cast<std::size_t>(width) : 0};
}

std::string escaped(std::string_view bytes)
{
    std::string result;
    for (const char byte : bytes) {
        char text[5];
        std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(static_cast<std::uint8_t>(byte)));
        result += text;
    }
    return result;
}

} // namespace

std::string printable(std::string_view text, std::size_t limit)
{
    std::string result;
    std::size_t used = 0;
    std::size_t cut = 0; ///< where `result` ends when it has to make room for the mark
    while (!text.empty()) {
        const auto glyph = first_glyph(text);
        const auto bytes = text.substr(0, glyph.bytes);
        const auto piece = glyph.columns > 0 ? std::string(bytes) : escaped(bytes);
        used += glyph.columns > 0 ? glyph.columns : piece.size();
        if (used > limit) {
            return result.erase(cut).append(cut_mark.substr(0, limit));
        }
        result += piece;
        if (used + cut_mark.size() <= limit) {
            cut = result.size();
        }
        text.remove_prefix(glyph.bytes);
    }
    return result;
}

std::size_t columns(std::string_view text)
{
    std::size_t sum = 0;
    while (!text.empty()) {
        const auto glyph = first_glyph(text);
        sum += glyph.columns;
        text.remove_prefix(glyph.bytes);
    }
    return sum;
}

void Table::add(std::vector<std::string> row)
{
    widths_.resize(std::max(widths_.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
        row[column] = printable(row[column], cell_limit);
        widths_[column] = std::max(widths_[column], columns(row[column]));
    }
    rows_.push_back(std::move(row));
}

std::string Table::text() const
{
    std::string result;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            line.append(widths_[column] - columns(row[column]) + 2, ' ');
        }
        result += line.erase(line.find_last_not_of(' ') + 1) + "\n";
    }
    return result;
}

} // namespace ctl
