#include "service/memory_access.h"

#include <algorithm>

namespace qv::can_bus::flr::memory_access {

namespace {

constexpr std::uint8_t padding = 0xFF;
constexpr std::uint8_t word_size = 4;

Answer answer_of(std::uint8_t status) noexcept
{
    switch (status) {
        case 0: return Answer::proceed;
        case 1: return Answer::busy;
        case 4: return Answer::operation_completed;
        case 6: return Answer::bootload_status;
        default: return Answer::failed;
    }
}

} // namespace

Request erase_sector(std::uint32_t start) noexcept
{
    return request(Command::erase, Pointer_type::direct, 1, start);
}

Request write_chunk(std::uint16_t length, std::uint32_t address) noexcept
{
    return request(Command::write, Pointer_type::direct, length, address);
}

void set_key(Request& request, std::uint16_t key) noexcept
{
    request[key_position] = static_cast<std::uint8_t>(key & 0xFF);
    request[key_position + 1] = static_cast<std::uint8_t>(key >> 8);
}

std::optional<Response> parse_response(std::span<const std::uint8_t> bytes) noexcept
{
    if (bytes.size() < 8) {
        return std::nullopt;
    }
    const auto status = static_cast<std::uint8_t>((bytes[1] >> 1) & 0x07);
    return Response{answer_of(status), static_cast<std::uint16_t>(bytes[6] | (bytes[7] << 8))};
}

std::unique_ptr<Byte_array> chunk_data(std::span<const std::uint8_t> chunk)
{
    const bool fits_a_frame = chunk.size() < 8;
    const auto size = fits_a_frame ? 8U : static_cast<std::uint32_t>(chunk.size() + 1);
    auto message = std::make_unique<Byte_array>();
    if (!message->resize(size)) {
        return nullptr;
    }
    const auto bytes = message->writable();
    std::fill(bytes.begin(), bytes.begin() + 8, padding);
    if (fits_a_frame) {
        bytes[0] = static_cast<std::uint8_t>(chunk.size());
    }
    std::copy(chunk.begin(), chunk.end(), bytes.begin() + 1);
    return message;
}

std::array<std::uint8_t, 8> word_data(std::uint32_t value) noexcept
{
    const auto byte = [value](unsigned shift) { return static_cast<std::uint8_t>((value >> shift) & 0xFF); };
    return {word_size, byte(0), byte(8), byte(16), byte(24), padding, padding, padding};
}

std::optional<std::uint32_t> parse_word(std::span<const std::uint8_t> bytes) noexcept
{
    if (bytes.size() <= word_size || bytes[0] != word_size) {
        return std::nullopt;
    }
    std::uint32_t value = 0;
    for (unsigned index = 0; index < word_size; ++index) {
        value |= static_cast<std::uint32_t>(bytes[1 + index]) << (8 * index);
    }
    return value;
}

} // namespace qv::can_bus::flr::memory_access
