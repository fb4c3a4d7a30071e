#include "service/environment.h"

#include "framework/thread/process_exit.h"
#include "platform/netlink_priv.h"
#include "platform/tolvan_system.h"
#include "service/options.h"

namespace qv::can_bus::flr {

namespace {

/// A SocketCAN interface of this machine.
class Socket_can_interface final : public Can_interface {
public:
    Socket_can_interface(const char* name, std::uint32_t bitrate)
        : control_(name, bitrate)
    {}
    std::uint32_t getBitrate() const override { return control_.getBitrate(); }
    void setBitrate(std::uint32_t value) override { control_.setBitrate(value); }

private:
    platform::Netlink_priv control_;
};

} // namespace

Remote_control_maker& remote_control_maker()
{
    static Remote_control_maker maker;
    return maker;
}

Environment Environment::of_process()
{
    const auto& terminal = platform::terminal();
    return {main_argc,
            main_argv,
            {terminal.assembly_serial(), terminal.assembly_part_number(), terminal.platform_code()},
            &thread::end_process,
            [](const char* name, std::uint32_t bitrate) {
                return std::make_unique<Socket_can_interface>(name, bitrate);
            },
            remote_control_maker()};
}

} // namespace qv::can_bus::flr
