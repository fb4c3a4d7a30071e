#include "can/network/node/name_message.h"

#include "can/network/pdu/little_endian.h"

namespace qv::can_bus::name::message {

namespace {

constexpr std::size_t length_size = 4;
constexpr std::size_t name_size = 8;

} // namespace

void Message::deserialize(std::span<const std::uint8_t> bytes, std::size_t& offset)
{
    if (offset > bytes.size() || bytes.size() - offset < length_size + name_size ||
        read_little_endian(bytes, offset, length_size) != name_size) {
        return;
    }
    name = from_bytes(bytes.subspan(offset + length_size, name_size));
    offset += length_size + name_size;
}

void Message::serialize(std::vector<std::uint8_t>& bytes) const
{
    Assigned_id::serialize(bytes);
    const std::size_t start = bytes.size();
    bytes.resize(start + length_size + name_size);
    write_little_endian(bytes, start, length_size, name_size);
    write_little_endian(bytes, start + length_size, 4, static_cast<std::uint32_t>(name));
    write_little_endian(bytes, start + length_size + 4, 4, static_cast<std::uint32_t>(name >> 32));
}

} // namespace qv::can_bus::name::message
