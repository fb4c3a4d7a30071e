#include "platform/sources.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <pwd.h>
#include <unistd.h>

#include "framework/file/file_crt.h"
#include "framework/file/root.h"

namespace qv::platform {

namespace {

constexpr std::size_t text_size = 64;

/// The word for the shell.
std::string quoted(const std::string& word)
{
    std::string result = "'";
    for (const char c : word) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

struct Pipe_close {
    void operator()(std::FILE* pipe) const noexcept { ::pclose(pipe); }
};

/// The first line that the command puts out; the rest is read too, so that the command meets no closed pipe.
std::string first_line(std::FILE* pipe)
{
    std::string output;
    std::array<char, 256> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe)) {
        if (output.size() < block.size()) {
            output.append(block.data(), count);
        }
    }
    return output.substr(0, output.find('\n'));
}

} // namespace

void cut(std::string& text) { text.erase(text.find_last_not_of(" \t\r\n") + 1); }

std::optional<std::string> file_text(const std::string& path)
{
    const auto input = file::open(file::rooted(path), file::mode::read);
    if (input == nullptr) {
        return std::nullopt;
    }
    std::array<char, text_size + 1> buffer{};
    input->read(buffer.data(), 1, text_size);
    std::string text = buffer.data();
    cut(text);
    return text;
}

void read_field(const std::string& path, std::string& field)
{
    if (auto text = file_text(path)) {
        field = std::move(*text);
    }
}

std::optional<std::string> boot_variable(const char* name)
{
    const std::string command = quoted(file::rooted("/sbin/fw_printenv")) + ' ' + name;
    // NOLINTNEXTLINE(bugprone-command-processor): the path is quoted, and the names are those of this folder
    const std::unique_ptr<std::FILE, Pipe_close> pipe(::popen(command.c_str(), "r"));
    if (pipe == nullptr) {
        return std::nullopt;
    }
    const std::string line = first_line(pipe.get());
    const std::size_t equals = line.find('=');
    std::string value = equals == std::string::npos ? "" : line.substr(equals + 1);
    cut(value);
    return value;
}

Json load_json(const std::string& path) { return Json(json_load_file(file::rooted(path).c_str(), 0, nullptr)); }

std::optional<std::string> json_text(const Json& object, const char* key)
{
    const json_t* value = json_object_get(object.get(), key);
    if (json_is_string(value)) {
        return json_string_value(value);
    }
    if (json_is_integer(value)) {
        return std::to_string(json_integer_value(value));
    }
    return std::nullopt;
}

std::string desktop_file()
{
    const char* home = std::getenv("HOME");
    if (home == nullptr) {
        const struct passwd* user = ::getpwuid(::getuid());
        home = user != nullptr ? user->pw_dir : "";
    }
    return std::string(home) + "/brine-desktop.conf";
}

} // namespace qv::platform
