#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "service/can_interface.h"
#include "service/settings.h"

namespace qv::can_bus::flr {

class Flintrow;

/// Whoever lets a user interface operate the service. Destroyed before it.
class Remote_control {
public:
    virtual ~Remote_control() = default;

protected:
    Remote_control() = default;
    Remote_control(const Remote_control&) = delete;
    Remote_control& operator=(const Remote_control&) = delete;
};

using Remote_control_maker = std::function<std::unique_ptr<Remote_control>(Flintrow&, std::uint16_t port)>;
/// What the process opens its service with: filled by `main`, before the bus thread starts. May stay empty.
Remote_control_maker& remote_control_maker();

/// What the service takes from the process around it; a test gives its own.
struct Environment {
    int argc = 0;
    char** argv = nullptr;
    Identity identity;
    /// Ends the process. In a test it returns.
    std::function<void(int status)> end_process;
    /// Takes control of a CAN interface, which gets this bit rate at once.
    std::function<std::unique_ptr<Can_interface>(const char* name, std::uint32_t bitrate)> open_can_interface;

    /// Opens the service to the user interface, on this TCP port. May be empty.
    Remote_control_maker make_remote_control;

    static Environment of_process();
};

} // namespace qv::can_bus::flr
