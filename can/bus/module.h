#pragma once

#include <memory>
#include <string>

#include "comm/observer.h"
#include "framework/type_registry.h"

namespace qv::can_bus::application::module {

/// Something that an application adds to a thread of the system.
class Module {
public:
    virtual ~Module() = default;
    virtual std::string title() const = 0;
};

} // namespace qv::can_bus::application::module

namespace qv::can_bus::application::bus_thread::module {

/// A module of the bus thread: made there once the stack stands, and destroyed there before it goes.
class Module : public application::module::Module {};

/// Makes a module that works on the bus with this dispatcher; empty when there is none to make.
using Factory = std::unique_ptr<Module> (*)(comm::dispatcher::Dispatcher_id bus_dispatcher);

/// The application's modules; entered by static initialisers before `main` runs.
using Registry = type_registry::Registry<Module, Factory>;

} // namespace qv::can_bus::application::bus_thread::module
