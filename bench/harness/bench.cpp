#include "bench/harness/bench.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

#include <sys/mman.h>
#include <unistd.h>

namespace harness {

namespace {

const std::string programs = FLINTROW_BIN_DIR "/";

} // namespace

std::string read_file(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

Bench::Bench()
{
    std::filesystem::create_directories(std::filesystem::path(configuration_path()).parent_path());
    std::filesystem::create_directories(folder_ / "home");
    std::filesystem::create_directories(folder_ / "usr/bin");
    std::filesystem::create_symlink("/usr/bin/unzip", folder_ / "usr/bin/unzip");
    ::setenv("TSAN_OPTIONS", "suppressions=" TSAN_SUPPRESSIONS, 0); // for a service with the thread sanitizer
}

Bench::~Bench()
{
    router_.reset();
    ::shm_unlink(title_.c_str());
}

void Bench::start_router(const std::vector<std::string>& options)
{
    std::vector<std::string> arguments{programs + "can_router", "--port", std::to_string(port_), "--log",
                                       path("traffic.log")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    router_ = std::make_unique<Process>(arguments);
    const std::string listening = "listening on 127.0.0.1:";
    if (!router_->says(listening) || !router_->says("\n")) {
        throw std::runtime_error("the router does not start: " + router_->output());
    }
    const auto& words = router_->output();
    port_ = static_cast<std::uint16_t>(std::stoul(words.substr(words.find(listening) + listening.size())));
    write_configuration();
}

void Bench::use_can(const std::string& of_service, const std::string& of_ecus)
{
    service_interface_ = of_service;
    ecu_interface_ = of_ecus;
    write_configuration();
}

std::unique_ptr<Process> Bench::start_ecu(const std::vector<std::string>& options) const
{
    std::vector<std::string> arguments{programs + "simulated_ecu",
                                       ecu_interface_.empty() ? "--port" : "--can",
                                       ecu_interface_.empty() ? std::to_string(port_) : ecu_interface_,
                                       "--part-number",
                                       "A1000",
                                       "--sector-size",
                                       "4096",
                                       "--flash-out",
                                       path("flash.bin")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return std::make_unique<Process>(arguments);
}

std::unique_ptr<Process> Bench::start_node(const std::vector<std::string>& options, const std::string& host) const
{
    std::vector<std::string> arguments{programs + "wifi_node", "--port", std::to_string(port_),
                                       "--part-number",        "B2000",  "--package-out",
                                       path("received.zip")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    auto node = std::make_unique<Process>(arguments);
    const auto port = node->listens();
    if (!port) {
        throw std::runtime_error("the node does not start: " + node->output());
    }
    ::setenv("FLINTROW_RESOLVE", (host + ":80:127.0.0.1:" + std::to_string(*port)).c_str(), 1);
    return node;
}

std::unique_ptr<Process> Bench::start_service(const std::vector<std::string>& options,
                                              const std::string& program) const
{
    std::vector<std::string> arguments{program.empty() ? programs + "flintrow" : program};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return std::make_unique<Process>(
        arguments, std::vector<std::string>{"FLINTROW_ROOT=" + folder_.path(), "HOME=" + path("home")});
}

std::string Bench::order(Process& service, const std::vector<std::string>& words) const
{
    const auto port = service.listens();
    if (!port) {
        throw std::runtime_error("the service takes no orders: " + service.output());
    }
    std::vector<std::string> arguments{programs + "flintrowctl", "--port", std::to_string(*port)};
    arguments.insert(arguments.end(), words.begin(), words.end());
    Process ctl(arguments);
    ctl.ends();
    return ctl.output();
}

std::string Bench::make_update(std::size_t size, const std::string& version)
{
    std::mt19937 random(static_cast<std::mt19937::result_type>(size));
    program_.resize(size);
    for (auto& byte : program_) {
        byte = static_cast<char>(random());
    }
    write_file(path("program.bin"), program_);
    auto update = path("update.hex");
    Process maker({programs + "make_update", "--output", update, "--version", version, "--ecu-info",
                   "ECU P/N,A1000*", "--sectors", "0x10000:4096:" + std::to_string(size / 4096 + 2),
                   path("program.bin")});
    if (maker.ends() != 0) {
        throw std::runtime_error("no update file: " + maker.output());
    }
    return update;
}

std::string Bench::make_package(std::size_t size) const
{
    const std::filesystem::path members = folder_ / "members";
    std::filesystem::create_directories(members);
    write_file(members / "version", "3.0.0\n");
    write_file(members / "ecuinfo", "ECU P/N,B2000*");
    write_file(members / "data",
               "\n:no record, so that the package is not taken for an image\n" + std::string(size, 'p'));
    Process zip({"/usr/bin/zip", "-q", "-0", "-j", path("update.zip"), members / "version", members / "ecuinfo",
                 members / "data"});
    if (zip.ends() != 0) {
        throw std::runtime_error("no package: " + zip.output());
    }
    std::filesystem::remove_all(members);
    return path("update.zip");
}

std::string Bench::flash() const { return read_file(path("flash.bin")); }

std::string Bench::configuration_path() const { return path("etc/tolvan/flintrow/flintrow_config.xml"); }

void Bench::write_configuration(const std::string& flintrow, const std::string& can_bus) const
{
    // Any free port, unless the caller wants to know it: many services run at a time.
    const std::string rpc = flintrow.find("<rpc") == std::string::npos ? "<rpc port_c=\"0\"/>" : "";
    const std::string hardware =
        service_interface_.empty()
            ? "<hardware type_a=\"router\">\r\n\t\t\t<ip port_c=\"" + std::to_string(port_) +
                  "\"/>\r\n\t\t</hardware>"
            : "<hardware type_a=\"socket can\" device_name_a=\"" + service_interface_ + "\"/>";
    write_file(configuration_path(),
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<configuration>\r\n\t<Flintrow enable_b=\"true\">" +
                   rpc + flintrow + "</Flintrow>\r\n\t<application title_a=\"" + title_ +
                   "\"/>\r\n\t<can_bus>\r\n\t\t" + hardware + can_bus + "</can_bus>\r\n</configuration>\r\n");
}

} // namespace harness
