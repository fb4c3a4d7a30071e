#include "can/hardware/bus.h"

namespace qv::can_bus::hardware {

Bus::Bus(const std::string& device_name, bool logging)
    : logger_(device_name, logging)
{}

bool Bus::open_logged()
{
    const bool success = open();
    logger_.opened(success, description());
    return success;
}

bool Bus::receive(Message& message)
{
    if (!read(message)) {
        return false;
    }
    logger_.received(message);
    if (message.length != 0) {
        ++counters_.received; // a frame without data does not count
    }
    return true;
}

bool Bus::transmit(std::uint32_t id, const std::uint8_t* data, std::uint32_t length, std::uint8_t reserved)
{
    const bool success = write(id, data, length, reserved);
    logger_.transmitted(success, id, {data, data == nullptr ? 0 : length});
    ++counters_.transmitted;
    if (!success) {
        ++counters_.transmit_failures;
    }
    return success;
}

} // namespace qv::can_bus::hardware
