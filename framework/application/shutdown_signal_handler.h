#pragma once

#include "framework/signal/handler.h"

namespace qv::posix_signal::handler::shutdown {

/// Turns SIGINT and SIGTERM into the orderly stop of the application; a second one within the grace period changes
/// nothing. All other signals keep the behaviour of the base class, SIGHUP among them.
///
/// Thread: the operations run on the signal thread, out of the signal's context.
class Shutdown final : public Handler {
public:
    explicit Shutdown(std::uint32_t mask) { install(mask); }
    ~Shutdown() override { retire(); }

    void on_keyboard_interrupt(std::uint32_t type, const siginfo_t& info) override;
    void on_normal_termination(std::uint32_t type, const siginfo_t& info) override;
};

} // namespace qv::posix_signal::handler::shutdown
