#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace qv::platform {

/// What an application of the terminal may do; the numbers are those that other applications use.
enum class Feature_state : std::uint32_t { enabled = 0, disabled = 1, server_only = 2 };
enum class Feature : std::size_t {
    file_transfer,
    remote_support,
    system,
    ota,
    telematics,
    ssh,
    realtime_can_monitor
};
inline constexpr std::size_t feature_count = 7;

/// The terminal's satellite receiver.
struct Gps {
    std::string type;
    std::string model;
    std::string serial;
    std::string hardware_revision;
};

struct Server {
    std::string address;
    std::string port;
};

/// Which terminal this is.
///
/// One object lives for the whole run, see `terminal`. What no source tells stays empty.
/// Thread: written before `main`, read by any afterwards.
class TolvanSystem {
public:
    /// Reads the platform and the features.
    TolvanSystem();
    virtual ~TolvanSystem() = default;
    TolvanSystem(const TolvanSystem&) = delete;
    TolvanSystem& operator=(const TolvanSystem&) = delete;

    // Each refills its fields from the sources of the platform. The constructor of the derived class calls them.
    virtual void read_gps() {}
    virtual void read_uuid() = 0;
    virtual void read_assembly() = 0;
    virtual void read_software() = 0;
    virtual void read_hardware() = 0;

    /// The platform's name as read, and its number: that of the name, 6 for any other text.
    const std::string& platform() const noexcept { return platform_; }
    std::uint32_t platform_type() const noexcept { return platform_type_; }
    /// The product family code.
    std::uint32_t platform_code() const noexcept { return platform_code_; }
    /// Decimal digits.
    const std::string& assembly_serial() const noexcept { return assembly_serial_; }
    const std::string& assembly_part_number() const noexcept { return assembly_part_number_; }
    const std::string& uuid() const noexcept { return uuid_; }
    const std::string& software_version() const noexcept { return software_version_; }
    const std::string& software_part_number() const noexcept { return software_part_number_; }
    const std::string& hardware_version() const noexcept { return hardware_version_; }
    const Gps& gps() const noexcept { return gps_; }
    /// The servers A and B.
    const std::array<Server, 2>& default_servers() const noexcept { return default_servers_; }
    Feature_state feature(Feature feature) const noexcept { return features_[static_cast<std::size_t>(feature)]; }

protected:
    std::string platform_;
    std::uint32_t platform_type_ = 0;
    std::string assembly_serial_;
    std::string assembly_part_number_;
    std::string uuid_;
    std::string software_version_;
    std::string software_part_number_;
    std::string hardware_version_;
    Gps gps_;
    std::array<Server, 2> default_servers_;

private:
    friend std::unique_ptr<TolvanSystem> create_system();

    void read_features();

    std::uint32_t platform_code_ = 0;
    std::array<Feature_state, feature_count> features_;
};

/// Reads the platform and makes the class that belongs to it.
std::unique_ptr<TolvanSystem> create_system();

/// The object of this run: made before `main`, when there is neither a configuration nor a log, and never
/// destroyed.
const TolvanSystem& terminal() noexcept;

} // namespace qv::platform
