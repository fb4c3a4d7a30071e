#include "config/writer.h"

#include <cstring>
#include <string_view>

#include "config/place.h"
#include "config/xml.h"
#include "framework/file/file_crt.h"
#include "framework/file/root.h"

namespace qv::config::serialization {

namespace {

/// One output, with its end, has to fit into this; so an attribute is at most one character shorter.
constexpr std::size_t buffer_size = 1024;

std::string escaped(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '"': result += "&quot;"; break;
            case '&': result += "&amp;"; break;
            case '\'': result += "&apos;"; break;
            case '<': result += "&lt;"; break;
            case '>': result += "&gt;"; break;
            default: result += c;
        }
    }
    return result;
}

} // namespace

void Writer::put(const char* text)
{
    const std::size_t length = std::strlen(text);
    ok = ok && output->write(text, 1, length) == length;
}

void Writer::put_limited(const std::string& text)
{
    ok = ok && text.size() < buffer_size;
    put(text.c_str());
}

void Writer::put_tabs(std::size_t count)
{
    while (ok && count-- > 0) {
        put("\t");
    }
}

void Writer::put_key(const Key& key, std::size_t level)
{
    put(xml::end_of_line);
    put_tabs(level + 2);
    const char letter = static_cast<char>('a' + static_cast<int>(key.type));
    put_limited(key.name + '_' + letter + "=\"" + escaped(value_to_text(key)) + '"');
}

void Writer::put_node(const Object& node, std::size_t level)
{
    ok = ok && level < xml::Parser::depth_max; // what could not be read again is not written
    if (!ok) {
        return;
    }
    put_tabs(level);
    put_limited('<' + node.name);
    for (const auto& key : node.keys) {
        put_key(*key, level);
    }
    if (node.children.empty()) {
        put("/>");
        return put(xml::end_of_line);
    }
    put(">");
    put(xml::end_of_line);
    for (const auto& child : node.children) {
        put_node(*child, level + 1);
    }
    put_tabs(level);
    put_limited("</" + node.name + '>');
    put(xml::end_of_line);
}

void Writer::put_document()
{
    put(xml::header);
    put(xml::end_of_line);
    if (root != nullptr) {
        put_node(*root, 0);
    }
    ok = ok && output->flush() == 0 && output->tell() <= xml::Parser::file_size_max;
}

bool Writer::write()
{
    const std::string place = file::rooted(file_path);
    const std::string scratch = place + ".temp";
    output = file::open(scratch, file::mode::write);
    if (output == nullptr) {
        return false;
    }
    put_document();
    output.reset();
    return ok && put_in_place(scratch, place);
}

} // namespace qv::config::serialization
