#include "comm/message.h"

#include "comm/time_message.h"

namespace qv::comm::message {

namespace {

/// Appends `size` bytes of `value`, least significant first.
void append(std::vector<std::uint8_t>& bytes, std::uint64_t value, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

} // namespace

std::unique_ptr<Message> Message::clone() const { return nullptr; }

void Message::deserialize(std::span<const std::uint8_t> /*bytes*/, std::size_t& /*offset*/) {}

void Message::serialize(std::vector<std::uint8_t>& bytes) const { append(bytes, get_assigned_id(), sizeof(Id)); }

namespace time_elapsed {

void Time_elapsed::deserialize(std::span<const std::uint8_t> bytes, std::size_t& offset)
{
    if (offset > bytes.size() || bytes.size() - offset < sizeof(elapsed)) {
        return;
    }
    elapsed = 0;
    for (std::size_t i = 0; i < sizeof(elapsed); ++i) {
        elapsed |= std::uint32_t{bytes[offset + i]} << (8 * i);
    }
    offset += sizeof(elapsed);
}

void Time_elapsed::serialize(std::vector<std::uint8_t>& bytes) const
{
    Message::serialize(bytes);
    append(bytes, elapsed, sizeof(elapsed));
}

} // namespace time_elapsed

} // namespace qv::comm::message
