#include "can/network/tp/frame.h"

#include "can/network/pdu/little_endian.h"
#include "can/network/pdu/pdu.h"

namespace qv::can_bus::tp::frame {

namespace {

/// What all connection management frames share: unused bytes are 0xFF, the group stands in bytes 5 to 7.
Frame connection(std::uint8_t control_byte, std::uint32_t pgn) noexcept
{
    Frame frame;
    frame.fill(0xFF);
    frame[0] = control_byte;
    write_little_endian(frame, 5, 3, pgn);
    return frame;
}

/// RTS, EOMA and BAM of TP: size and packet count.
Frame standard_size(std::uint8_t control_byte, std::uint32_t size, std::uint32_t packet_count,
                    std::uint32_t pgn) noexcept
{
    Frame frame = connection(control_byte, pgn);
    write_little_endian(frame, 1, 2, size);
    write_little_endian(frame, 3, 1, packet_count);
    return frame;
}

/// RTS and EOMA of ETP: the size alone.
Frame extended_size(std::uint8_t control_byte, std::uint32_t size, std::uint32_t pgn) noexcept
{
    Frame frame = connection(control_byte, pgn);
    write_little_endian(frame, 1, 4, size);
    return frame;
}

/// CTS and DPO: a count of packets and a place among them.
Frame window(std::uint8_t control_byte, std::uint32_t count, std::uint32_t place, std::size_t place_width,
             std::uint32_t pgn) noexcept
{
    Frame frame = connection(control_byte, pgn);
    write_little_endian(frame, 1, 1, count);
    write_little_endian(frame, 2, place_width, place);
    return frame;
}

} // namespace

std::uint32_t connection_pgn(bool extended) noexcept
{
    return extended ? pdu::pgn::extended_transport_connection : pdu::pgn::transport_connection;
}

std::uint32_t data_pgn(bool extended) noexcept
{
    return extended ? pdu::pgn::extended_transport_data : pdu::pgn::transport_data;
}

Frame request_to_send(bool extended, std::uint32_t size, std::uint32_t packet_count, std::uint32_t pgn) noexcept
{
    return extended ? extended_size(control::extended_request_to_send, size, pgn)
                    : standard_size(control::request_to_send, size, packet_count, pgn);
}

Frame clear_to_send(bool extended, std::uint32_t count, std::uint32_t next_packet, std::uint32_t pgn) noexcept
{
    return extended ? window(control::extended_clear_to_send, count, next_packet, 3, pgn)
                    : window(control::clear_to_send, count, next_packet, 1, pgn);
}

Frame data_packet_offset(std::uint32_t count, std::uint32_t offset, std::uint32_t pgn) noexcept
{
    return window(control::extended_data_packet_offset, count, offset, 3, pgn);
}

Frame end_of_message(bool extended, std::uint32_t size, std::uint32_t packet_count, std::uint32_t pgn) noexcept
{
    return extended ? extended_size(control::extended_end_of_message, size, pgn)
                    : standard_size(control::end_of_message, size, packet_count, pgn);
}

Frame broadcast_announce(std::uint32_t size, std::uint32_t packet_count, std::uint32_t pgn) noexcept
{
    return standard_size(control::broadcast_announce, size, packet_count, pgn);
}

Frame abort(Abort_reason reason, std::uint32_t pgn) noexcept
{
    Frame frame = connection(control::abort, pgn);
    frame[1] = static_cast<std::uint8_t>(reason);
    return frame;
}

} // namespace qv::can_bus::tp::frame
