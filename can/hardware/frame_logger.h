#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "can/hardware/message.h"
#include "framework/log/hook.h"

namespace qv::can_bus::hardware {

/// Puts what a device does into the log: its opening always, its frames when that is enabled.
///
/// Thread: the bus thread.
class Frame_logger {
public:
    static constexpr log::Level level = 5;
    static constexpr log::Level failure_level = 2;

    /// Registers the device in the log and reports the version of this library.
    Frame_logger(std::string_view device_name, bool enabled);

    bool enabled() const noexcept { return enabled_; }
    void set_enabled(bool enabled) noexcept { enabled_ = enabled; }

    void opened(bool success, const std::string& description) const;
    void received(const Message& message) const;
    void transmitted(bool success, std::uint32_t id, std::span<const std::uint8_t> data) const;

private:
    void write_frame(char direction, std::uint32_t id, std::span<const std::uint8_t> data) const;

    log::Client client_;
    bool enabled_;
};

} // namespace qv::can_bus::hardware
