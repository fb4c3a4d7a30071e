#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/harness/process.h"
#include "framework/file/scratch_folder.h"

namespace harness {

/// A folder of its own with a configuration, a router or CAN interfaces, simulated ECUs and update files, for one
/// test or measurement.
class Bench {
public:
    Bench();
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    /// Starts the router, on the port of an earlier one when there was one.
    void start_router(const std::vector<std::string>& options = {});
    void stop_router() { router_.reset(); }
    Process& router() { return *router_; }
    /// Takes CAN interfaces of this machine, which are up, in place of the router.
    void use_can(const std::string& of_service, const std::string& of_ecus);
    std::uint16_t port() const noexcept { return port_; }
    /// For a test that plays the router itself.
    void use_port(std::uint16_t port) { port_ = port; }

    /// An ECU that the update files fit; `options` are added to, and win over, the usual ones.
    std::unique_ptr<Process> start_ecu(const std::vector<std::string>& options = {}) const;
    /// A wireless node whose ECU the packages fit, and which listens. Services that start after it find it by the
    /// name `host`, unless `FLINTROW_RESOLVE` is set anew.
    std::unique_ptr<Process> start_node(const std::vector<std::string>& options = {},
                                        const std::string& host = "node-1.local") const;
    /// The service with these options, started on the configuration of `write_configuration`; `program` may name
    /// another build of it.
    std::unique_ptr<Process> start_service(const std::vector<std::string>& options,
                                           const std::string& program = "") const;

    /// Gives the running service an order through `flintrowctl`; what that says.
    std::string order(Process& service, const std::vector<std::string>& words) const;

    /// Makes an update file of so many bytes of program for ECUs with the part number A1000.
    std::string make_update(std::size_t size, const std::string& version = "2.0.0");
    /// Makes a package of a little more than so many bytes, with version 3.0.0, for nodes with the part number
    /// B2000.
    std::string make_package(std::size_t size) const;
    /// The bytes of the program of `make_update`.
    const std::string& program() const noexcept { return program_; }
    /// What the ECU wrote as its flash memory.
    std::string flash() const;

    /// Writes the configuration file; `flintrow` and `can_bus` go as attributes and elements into these nodes.
    void write_configuration(const std::string& flintrow = "", const std::string& can_bus = "") const;
    std::string configuration_path() const;
    std::string path(const std::string& name) const { return folder_ / name; }
    /// The name of the service's token in the shared memory.
    const std::string& title() const noexcept { return title_; }

private:
    const qv::file::test::Scratch_folder folder_;
    const std::string title_ = folder_.name();
    std::string program_;
    std::uint16_t port_ = 0;
    std::string service_interface_; ///< empty: the router
    std::string ecu_interface_;
    std::unique_ptr<Process> router_;
};

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& text);

} // namespace harness
