#include "can/hardware/socket_can_frame.h"

#include <algorithm>

#include "can/hardware/bus.h"

namespace qv::can_bus::hardware {

void from_kernel(const can_frame& frame, Message& message)
{
    message.identifier = frame.can_id & CAN_EFF_MASK;
    message.length = std::min<std::uint32_t>(frame.can_dlc, data_length_maximum);
    message.data.assign(frame.data, message.length);
}

std::optional<can_frame> to_kernel(std::uint32_t id, const std::uint8_t* data, std::uint32_t length)
{
    if (length > data_length_maximum || (data == nullptr && length != 0)) {
        return std::nullopt;
    }
    can_frame frame{};
    frame.can_id = id | CAN_EFF_FLAG;
    frame.can_dlc = static_cast<std::uint8_t>(length);
    std::copy_n(data, length, frame.data);
    return frame;
}

} // namespace qv::can_bus::hardware
