#pragma once

#include <memory>
#include <optional>
#include <string>

#include <jansson.h>

namespace qv::platform {

/// Takes blanks, tabs, CR and LF off the end.
void cut(std::string& text);

/// The first 64 bytes of a file, cut. Empty when it does not open.
std::optional<std::string> file_text(const std::string& path);
/// Replaces `field` by the text of a file; one that does not open leaves it as it was.
void read_field(const std::string& path, std::string& field);

/// A variable of the boot environment, cut; an empty text when it is not set. Empty when the command could not be
/// started.
std::optional<std::string> boot_variable(const char* name);

struct Json_release {
    void operator()(json_t* value) const noexcept { json_decref(value); }
};
using Json = std::unique_ptr<json_t, Json_release>;
/// A JSON file; null when it does not load.
Json load_json(const std::string& path);
/// The text or the whole number under `key` of an object, as text; empty when there is none.
std::optional<std::string> json_text(const Json& object, const char* key);

/// The developer's file, which stands in for the identity of a terminal: "brine-desktop.conf" in the home
/// directory.
std::string desktop_file();

} // namespace qv::platform
