#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// The pieces, texts of any kind, one behind the other.
template <class... Pieces> std::string concat(const Pieces&... pieces)
{
    std::string text;
    (text.append(pieces), ...);
    return text;
}

inline constexpr std::size_t no_limit = static_cast<std::size_t>(-1);

/// A text that can do no harm to a terminal: controls, invisible characters and bytes that are no character of
/// the locale (LC_CTYPE, which `main` sets) stand as "\x1b". Cut to so many columns, with "..." at the end.
std::string printable(std::string_view text, std::size_t limit = no_limit);

/// The columns that a `printable` text takes on a terminal.
std::size_t columns(std::string_view text);

/// Columns of text, each as wide as its widest cell; cells are made `printable`, and cut when very long.
class Table {
public:
    explicit Table(std::vector<std::string> head) { add(std::move(head)); }
    void add(std::vector<std::string> row);
    /// One line a row, each with its line feed.
    std::string text() const;

private:
    std::vector<std::vector<std::string>> rows_;
    std::vector<std::size_t> widths_;
};

} // namespace ctl
