// Loads the input as a configuration file, reads and sets keys, saves, and loads what was saved, which must hold
// the keys that were set.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "config/configuration.h"
#include "fuzz/input_file.h"

namespace {

/// A folder in memory for as long as the fuzzer runs.
struct Folder {
    Folder() { std::filesystem::create_directory(path); }
    ~Folder() { std::filesystem::remove_all(path); }
    const std::string path = "/dev/shm/fuzz_configuration_" + std::to_string(::getpid());
};

const std::string& folder()
{
    static const Folder made;
    return made.path;
}

void use(qv::config::Configuration& configuration)
{
    auto* node = configuration.find_object("can_bus/hardware", true);
    configuration.get_text(node, "type", "none");
    configuration.get_decimal(node, "port", 39767);
    configuration.get_boolean(node, "logging", false);
    configuration.get_real_number(node, "ratio", 1.5F);
    configuration.get_binary_u64(node, "id", 0x1122334455667788);
    configuration.set_text(node, "text", "<\"&'>");
}

bool holds_what_was_set(qv::config::Configuration& configuration)
{
    auto* node = configuration.find_object("can_bus/hardware", false);
    return node != nullptr && configuration.get_text(node, "text", "", false) == std::string("<\"&'>");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::silence_output();
    const auto path = folder() + "/document.xml";
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<long>(size));
    std::filesystem::remove(path + ".backup");
    qv::config::Configuration first(path, true);
    if (!first.load() || first.root == nullptr) {
        return 0; // no file, or one without an element
    }
    use(first);
    const qv::config::Configuration copy(first);
    if (!first.save(true)) {
        return 0; // a text too long for an attribute
    }
    qv::config::Configuration second(path, false);
    if (!second.load() || !second.save(true) || !holds_what_was_set(second)) {
        std::abort();
    }
    return 0;
}
