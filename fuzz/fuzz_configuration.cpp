// Loads the input as a configuration file, reads and sets keys, saves, and loads what was saved: the second
// document must be the first.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

#include "config/configuration.h"
#include "fuzz/input_file.h"

namespace {

const std::string& folder()
{
    static const std::string path = [] {
        const auto made = "/dev/shm/fuzz_configuration_" + std::to_string(::getpid());
        std::filesystem::create_directory(made);
        std::atexit([] { std::filesystem::remove_all(folder()); });
        return made;
    }();
    return path;
}

std::string read_back(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::silence_output();
    const auto path = folder() + "/document.xml";
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<long>(size));
    std::filesystem::remove(path + ".backup");
    qv::config::Configuration first(path, true);
    if (!first.load()) {
        return 0;
    }
    use(first);
    const qv::config::Configuration copy(first);
    if (!first.save(true)) {
        return 0; // a text too long for an attribute
    }
    const auto saved = read_back(path);
    qv::config::Configuration second(path, false);
    if (!second.load() || !second.save(true) || read_back(path) != saved) {
        std::abort();
    }
    return 0;
}
