#include "framework/application/shutdown_signal_handler.h"

#include "comm/master.h"

namespace qv::posix_signal::handler::shutdown {

void Shutdown::on_keyboard_interrupt(std::uint32_t /*type*/, const siginfo_t& /*info*/)
{
    comm::send_shutdown_trigger();
}

void Shutdown::on_normal_termination(std::uint32_t /*type*/, const siginfo_t& /*info*/)
{
    comm::send_shutdown_trigger();
}

} // namespace qv::posix_signal::handler::shutdown
