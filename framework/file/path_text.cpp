#include "framework/file/path_text.h"

namespace qv::file {

namespace {

std::string_view last_name(std::string_view path)
{
    const auto separator = path.find_last_of("/\\");
    return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

std::size_t extension_length(std::string_view name)
{
    const auto dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? 0 : name.size() - dot;
}

} // namespace

std::string extension(std::string_view path)
{
    const std::string_view name = last_name(path);
    return std::string(name.substr(name.size() - extension_length(name)));
}

std::string stem(std::string_view path)
{
    const std::string_view name = last_name(path);
    return std::string(name.substr(0, name.size() - extension_length(name)));
}

void append_character(std::string& text, char character)
{
    if (!text.empty() && text.back() != character) {
        text += character;
    }
}

void strip_character(std::string& text, char character)
{
    while (text.ends_with(character)) {
        text.pop_back();
    }
}

} // namespace qv::file
