#include "bench/simulated_ecu/transport.h"

#include <algorithm>
#include <array>

namespace bench::simulated {
namespace {

// ISO 11783-3, the time-outs of a connection.
constexpr Time t1{750};
constexpr Time t2{1250};
constexpr Time t3{1250};
constexpr Time t4{1050};
constexpr Time th{500};
constexpr Time broadcast_gap{50}; ///< 10 to 200 ms are allowed

constexpr unsigned repeats_maximum = 2;  ///< SAE J1939-21 5.10.2.4: requests for the same packets
constexpr unsigned attempts_maximum = 3; ///< a first one and two more
constexpr std::size_t size_maximum = 1785;
constexpr std::size_t queue_maximum = 64;

enum Control : std::uint8_t { rts = 16, cts = 17, end_of_message = 19, bam = 32, connection_abort = 255 };

unsigned packets_of(std::size_t size) { return static_cast<unsigned>((size + 6) / 7); }

using Frame_data = std::array<std::uint8_t, 8>;

/// The PGN stands in bytes 5 to 7 of every connection management frame.
Frame_data connection_frame(std::uint8_t control, std::array<std::uint8_t, 4> content, std::uint32_t pgn)
{
    return {control,    content[0],      content[1],      content[2],
            content[3], byte_of(pgn, 0), byte_of(pgn, 1), byte_of(pgn, 2)};
}

Frame_data announcement(Control control, std::size_t size, std::uint32_t pgn)
{
    return connection_frame(
        control, {byte_of(size, 0), byte_of(size, 1), static_cast<std::uint8_t>(packets_of(size)), 255}, pgn);
}

} // namespace

void Transport::on_connection_frame(std::uint8_t source, bool global, Bytes data, Time now)
{
    if (global || data.size() != 8) {
        return; // broadcasts of others are nothing to this ECU
    }
    const std::uint32_t pgn = little_endian(data, 5, 3);
    if (data[0] == rts) {
        return on_rts(source, pgn, data, now);
    }
    if (data[0] == connection_abort) {
        if (const auto found = incoming_.find(source); found != incoming_.end() && found->second.pgn == pgn) {
            incoming_.erase(found);
        }
    }
    Outgoing* message = outgoing(source, pgn);
    if (message == nullptr || message->state != Outgoing::State::waiting_cts) {
        return;
    }
    if (data[0] == cts) {
        on_cts(*message, data, now);
    } else if (data[0] == end_of_message) {
        message->state = Outgoing::State::finished;
    } else if (data[0] == connection_abort) {
        retry(*message, th, now);
    }
    start_next(now);
}

// Incoming

void Transport::on_rts(std::uint8_t source, std::uint32_t pgn, Bytes data, Time now)
{
    const std::size_t size = little_endian(data, 1, 2);
    if (size < 9 || size > size_maximum) {
        return send_abort(source, pgn, Abort::size);
    }
    if (data[3] != packets_of(size)) {
        return send_abort(source, pgn, Abort::other);
    }
    const auto running = incoming_.find(source);
    if (running != incoming_.end() && running->second.pgn != pgn) {
        return send_abort(source, pgn, Abort::busy);
    }
    Incoming& session = incoming_[source]; // the same PGN again starts anew [SAE J1939-21 5.10.3.1]
    session = Incoming{};
    session.pgn = pgn;
    session.size = size;
    session.limit = std::max<unsigned>(data[4], 1);
    session.arrived.assign(packets_of(size), false);
    session.data.assign(size, 0);
    request_window(source, session, 1, now);
}

void Transport::request_window(std::uint8_t source, Incoming& session, unsigned first, Time now)
{
    const auto remaining = static_cast<unsigned>(session.arrived.size()) - first + 1;
    const unsigned count = std::min({remaining, session.limit, window_});
    session.window_first = first;
    session.window_last = first + count - 1;
    session.timer.start(now, t2);
    const Frame_data data = connection_frame(
        cts, {static_cast<std::uint8_t>(count), static_cast<std::uint8_t>(first), 255, 255}, session.pgn);
    host_.send_frame(pgn::transport_connection, source, data);
}

void Transport::on_data_frame(std::uint8_t source, bool global, Bytes data, Time now)
{
    const auto found = incoming_.find(source);
    if (global || data.size() != 8 || found == incoming_.end()) {
        return;
    }
    Incoming& session = found->second;
    const unsigned packet = data[0];
    if (packet < session.window_first || packet > session.window_last) {
        return; // a late repetition; what is missing shows at the end of the window
    }
    const std::size_t offset = (packet - 1) * std::size_t{7};
    const std::size_t count = std::min<std::size_t>(7, session.size - offset);
    std::copy_n(data.begin() + 1, count, session.data.begin() + static_cast<std::ptrdiff_t>(offset));
    session.arrived[packet - 1] = true;
    session.timer.start(now, t1);
    if (!session.halfway && packet * 2 >= session.arrived.size()) {
        session.halfway = true;
        if (!host_.on_halfway(source, session.pgn)) {
            return abort_incoming(source, session.pgn, Abort::resources);
        }
    }
    if (packet == session.window_last) {
        end_window(source, session, now);
    }
}

/// The last packet of a window came, or none came any more: the next window, or the missing part of this one.
void Transport::end_window(std::uint8_t source, Incoming& session, Time now)
{
    const auto missing = std::find(session.arrived.begin(), session.arrived.end(), false);
    if (missing == session.arrived.end()) {
        return deliver(source, now);
    }
    const auto packet = static_cast<unsigned>(missing - session.arrived.begin()) + 1;
    session.repeats = packet <= session.window_last ? session.repeats + 1 : 0;
    if (session.repeats > repeats_maximum) {
        return abort_incoming(source, session.pgn, Abort::retransmissions);
    }
    request_window(source, session, packet, now);
}

void Transport::deliver(std::uint8_t source, Time now)
{
    const auto node = incoming_.extract(source); // the message may lead to a new session with this peer
    const Incoming& session = node.mapped();
    host_.send_frame(pgn::transport_connection, source, announcement(end_of_message, session.size, session.pgn));
    host_.on_message(source, session.pgn, session.data, now);
}

/// T1 or T2 ended: asks again while it may, then gives up.
void Transport::on_incoming_timeout(std::uint8_t source, Incoming& session, Time now)
{
    if (session.repeats >= repeats_maximum) {
        return abort_incoming(source, session.pgn, Abort::timeout);
    }
    end_window(source, session, now);
}

void Transport::abort_incoming(std::uint8_t source, std::uint32_t pgn, Abort reason)
{
    incoming_.erase(source);
    send_abort(source, pgn, reason);
}

// Outgoing

void Transport::send(std::uint32_t pgn, std::uint8_t destination, Bytes data, Time now)
{
    if (data.size() < 9 || data.size() > size_maximum || outgoing_.size() >= queue_maximum ||
        outgoing(destination, pgn) != nullptr) {
        return;
    }
    Outgoing message;
    message.pgn = pgn;
    message.destination = destination;
    message.data.assign(data.begin(), data.end());
    outgoing_.push_back(std::move(message));
    start_next(now);
}

/// Drops what is finished, and starts each message that has no other one to its destination before it.
void Transport::start_next(Time now)
{
    std::erase_if(outgoing_, [](const Outgoing& each) { return each.state == Outgoing::State::finished; });
    std::array<bool, 256> occupied{};
    for (Outgoing& each : outgoing_) {
        if (!occupied[each.destination] && each.state == Outgoing::State::queued) {
            start(each, now);
        }
        occupied[each.destination] = true;
    }
}

void Transport::start(Outgoing& message, Time now)
{
    ++message.attempts;
    message.next_packet = 1;
    const bool broadcast = message.destination == global_address;
    message.state = broadcast ? Outgoing::State::broadcasting : Outgoing::State::waiting_cts;
    message.timer.start(now, broadcast ? broadcast_gap : t3);
    host_.send_frame(pgn::transport_connection, message.destination,
                     announcement(broadcast ? bam : rts, message.data.size(), message.pgn));
}

void Transport::on_cts(Outgoing& message, Bytes data, Time now)
{
    const unsigned count = data[1];
    const unsigned first = data[2];
    if (count == 0) {
        return message.timer.start(now, t4); // the peer holds the connection
    }
    const unsigned packets = packets_of(message.data.size());
    if (first == 0 || first > packets) {
        message.state = Outgoing::State::finished;
        return send_abort(message.destination, message.pgn, Abort::bad_sequence);
    }
    message.timer.start(now, t3);
    const unsigned last = std::min(first + count - 1, packets);
    for (unsigned packet = first; packet <= last; ++packet) {
        send_packet(message, packet);
    }
}

void Transport::send_packet(const Outgoing& message, unsigned packet)
{
    Frame_data frame_data;
    frame_data.fill(255);
    frame_data[0] = static_cast<std::uint8_t>(packet);
    const std::size_t offset = (packet - 1) * std::size_t{7};
    const std::size_t count = std::min<std::size_t>(7, message.data.size() - offset);
    std::copy_n(message.data.begin() + static_cast<std::ptrdiff_t>(offset), count, frame_data.begin() + 1);
    host_.send_frame(pgn::transport_data, message.destination, frame_data);
}

void Transport::on_outgoing_timeout(Outgoing& message, Time now)
{
    switch (message.state) {
        case Outgoing::State::queued:
        case Outgoing::State::finished: return;
        case Outgoing::State::broadcasting:
            send_packet(message, message.next_packet);
            message.timer.start(now, broadcast_gap);
            if (message.next_packet++ == packets_of(message.data.size())) {
                message.state = Outgoing::State::finished;
            }
            return;
        case Outgoing::State::waiting_cts:
            send_abort(message.destination, message.pgn, Abort::timeout);
            return retry(message, Time::zero(), now);
        case Outgoing::State::pausing: return start(message, now);
    }
}

/// A new RTS after a pause, or the end when it was the last attempt.
void Transport::retry(Outgoing& message, Time pause, Time now)
{
    const bool again = message.attempts < attempts_maximum;
    message.state = again ? Outgoing::State::pausing : Outgoing::State::finished;
    message.timer.start(now, pause);
}

void Transport::send_abort(std::uint8_t destination, std::uint32_t pgn, Abort reason)
{
    const Frame_data data =
        connection_frame(connection_abort, {static_cast<std::uint8_t>(reason), 255, 255, 255}, pgn);
    host_.send_frame(pgn::transport_connection, destination, data);
}

Transport::Outgoing* Transport::outgoing(std::uint8_t destination, std::uint32_t pgn) noexcept
{
    const auto found = std::find_if(outgoing_.begin(), outgoing_.end(), [&](const Outgoing& each) {
        return each.destination == destination && each.pgn == pgn;
    });
    return found == outgoing_.end() ? nullptr : &*found;
}

// Both

void Transport::on_time(Time now)
{
    for (auto each = incoming_.begin(); each != incoming_.end();) {
        const auto current = each++; // which its time-out may erase
        if (current->second.timer.ended(now)) {
            on_incoming_timeout(current->first, current->second, now);
        }
    }
    for (Outgoing& each : outgoing_) {
        if (each.timer.ended(now)) {
            on_outgoing_timeout(each, now);
        }
    }
    start_next(now);
}

Time Transport::next() const noexcept
{
    Time first = never;
    for (const auto& [source, session] : incoming_) {
        first = std::min(first, session.timer.due());
    }
    for (const Outgoing& each : outgoing_) {
        first = std::min(first, each.timer.due());
    }
    return first;
}

void Transport::clear() noexcept
{
    incoming_.clear();
    outgoing_.clear();
}

} // namespace bench::simulated
