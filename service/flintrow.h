#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "can/bus/module.h"
#include "can/network/ecu/ecu.h"
#include "comm/observer.h"
#include "service/environment.h"
#include "service/inventory.h"
#include "service/options.h"
#include "service/own_ecu.h"
#include "service/session.h"
#include "service/settings.h"

namespace qv::can_bus::flr {

/// The update service on one CAN bus: keeps the list of ECUs and the update files, and programs one ECU at a
/// time.
///
/// Thread: the bus thread makes it, runs all that comes from the bus and the clock, and destroys it. The threads
/// of the remote control use `catalogue`, `inventory`, `clear_ecu_list`, `end_process`, and of `session` what it
/// says. Lifetime: the bus outlives it.
class Flintrow final : public application::bus_thread::module::Module {
public:
    using Dispatcher_id = comm::dispatcher::Dispatcher_id;

    /// The bus thread calls it with the bus's dispatcher. Empty when the configuration does not want the
    /// service, or gives no settings.
    static std::unique_ptr<application::bus_thread::module::Module> create(Dispatcher_id dispatcher_id);
    static std::unique_ptr<Flintrow> create_in(Environment environment, Dispatcher_id dispatcher_id);
    ~Flintrow() override;

    /// The name of the service's own ECU model.
    std::string title() const override;

    /// The bus has made the service's ECU: from now on the service hears the bus.
    void attach_ecu(std::shared_ptr<ecu::ECU> created);
    /// The ECU is gone: the service hears nothing more, not even the clock.
    void detach_ecu();

    void on_address_claimed(std::uint32_t address, name::Name name, const std::shared_ptr<node::Node>& node);
    /// Forgets all ECUs and has everybody asked to claim again. 0. For any thread, while no session runs.
    int clear_ecu_list();
    /// Ends the process at once, from any thread. In a test it returns.
    void end_process(int status) const { environment_.end_process(status); }

    Options options;
    const Settings settings;
    Own_ecu own_ecu;
    Catalogue catalogue{options.verbose};
    Inventory inventory{options.verbose, catalogue};
    Session session;
    const Dispatcher_id dispatcher_id; ///< of the bus
    std::uint32_t log_id = 0;          ///< log client, 0 without a log

private:
    Flintrow(Environment environment, Settings read, Dispatcher_id bus_dispatcher_id);
    void initialize();
    void open_write_file();
    void scan_at_start();

    Environment environment_;
    comm::observer::Observer_list observers_;
    std::unique_ptr<Remote_control> remote_control_; ///< the first to go
};

} // namespace qv::can_bus::flr
