#include "can/hardware/frame_logger.h"

#include "can/hardware/version.h"
#include "framework/byte_text.h"

namespace qv::can_bus::hardware {

Frame_logger::Frame_logger(std::string_view device_name, bool enabled)
    : client_(log::register_client(std::string(title) + ": " + std::string(device_name)))
    , enabled_(enabled)
{
    log::write(level, client_, "%s %s", title, version_text(Version()).c_str());
}

void Frame_logger::opened(bool success, const std::string& description) const
{
    log::write(success ? level : failure_level, client_, "CAN bus open  %s %s", description.c_str(),
               success ? "ok" : "failed");
}

void Frame_logger::received(const Message& message) const
{
    if (enabled_) {
        write_frame('r', message.identifier, message.data.bytes());
    }
}

void Frame_logger::transmitted(bool success, std::uint32_t id, std::span<const std::uint8_t> data) const
{
    if (!enabled_) {
        return;
    }
    if (success) {
        write_frame('t', id, data);
    } else {
        log::write(failure_level, client_, "transmit message failed");
    }
}

void Frame_logger::write_frame(char direction, std::uint32_t id, std::span<const std::uint8_t> data) const
{
    if (!log::accepts(level)) {
        return; // before a text is made
    }
    const std::string bytes = to_hex_text(Byte_array_fix::view(data), all_bytes, {.spaced = true});
    log::write(level, client_, "can  %c  %08x  %u %s", direction, id, static_cast<unsigned>(data.size()),
               bytes.c_str());
}

} // namespace qv::can_bus::hardware
