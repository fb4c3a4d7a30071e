#pragma once

#include "bench/simulated_ecu/pdu.h"
#include "bench/simulated_ecu/timer.h"

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

namespace bench::simulated {

/// Messages of 9 to 1785 bytes in both directions, one to one with RTS and CTS, and outgoing broadcasts with BAM
/// [ISO 11783-3, SAE J1939-21 5.10]. It answers within the event: a CTS is followed by its whole window at
/// once, so that the peer sets the pace; only a BAM keeps its 50 ms between packets.
class Transport {
public:
    class Host {
    public:
        virtual ~Host() = default;
        /// A connection management or data frame: PGN 60416 or 60160, 8 bytes.
        virtual void send_frame(std::uint32_t pgn, std::uint8_t destination, Bytes data) = 0;
        virtual void on_message(std::uint8_t source, std::uint32_t pgn, Bytes data, Time now) = 0;
        /// Half of an incoming message is there. False: break it off.
        virtual bool on_halfway(std::uint8_t source, std::uint32_t pgn) = 0;
    };

    /// Reasons of a connection abort [SAE J1939-21 table 7].
    enum class Abort : std::uint8_t {
        busy = 1,
        resources = 2,
        timeout = 3,
        retransmissions = 5,
        bad_sequence = 7,
        size = 9,
        other = 250,
    };

    /// `window`: packets that one CTS asks for, 1 to 255. `host` outlives this.
    Transport(Host& host, std::uint8_t window) noexcept
        : host_(host)
        , window_(window)
    {}

    /// Queues behind an earlier message to the same destination; drops what waits there already with this PGN.
    void send(std::uint32_t pgn, std::uint8_t destination, Bytes data, Time now);
    void on_connection_frame(std::uint8_t source, bool global, Bytes data, Time now);
    void on_data_frame(std::uint8_t source, bool global, Bytes data, Time now);
    void on_time(Time now);
    [[nodiscard]] Time next() const noexcept;
    void clear() noexcept; ///< forgets every session, without a frame

private:
    struct Incoming {
        std::uint32_t pgn = 0;
        std::size_t size = 0;
        unsigned limit = 255;      ///< packets for one CTS that the sender allows
        unsigned window_first = 1; ///< packets count from 1
        unsigned window_last = 0;
        unsigned repeats = 0;      ///< CTS in a row that asked for something again
        bool halfway = false;      ///< already told
        std::vector<bool> arrived; ///< by packet
        std::vector<std::uint8_t> data;
        Timer timer; ///< T1 after a packet, T2 after a CTS
    };
    struct Outgoing {
        enum class State {
            queued,      ///< another one to the same destination goes first
            waiting_cts, ///< T3 after a window or the RTS, T4 after a CTS that holds
            broadcasting,
            pausing, ///< the receiver aborted; a new RTS goes out after Th
            finished
        };
        std::uint32_t pgn = 0;
        std::uint8_t destination = global_address;
        State state = State::queued;
        unsigned attempts = 0;
        unsigned next_packet = 1;
        std::vector<std::uint8_t> data;
        Timer timer;
    };

    void on_rts(std::uint8_t source, std::uint32_t pgn, Bytes data, Time now);
    void on_cts(Outgoing& message, Bytes data, Time now);
    void request_window(std::uint8_t source, Incoming& session, unsigned first, Time now);
    void end_window(std::uint8_t source, Incoming& session, Time now);
    void on_incoming_timeout(std::uint8_t source, Incoming& session, Time now);
    void deliver(std::uint8_t source, Time now);
    void abort_incoming(std::uint8_t source, std::uint32_t pgn, Abort reason);

    void start(Outgoing& message, Time now);
    void retry(Outgoing& message, Time pause, Time now);
    void on_outgoing_timeout(Outgoing& message, Time now);
    void start_next(Time now);
    void send_packet(const Outgoing& message, unsigned packet);
    void send_abort(std::uint8_t destination, std::uint32_t pgn, Abort reason);
    [[nodiscard]] Outgoing* outgoing(std::uint8_t destination, std::uint32_t pgn) noexcept;

    Host& host_;
    unsigned window_;
    std::map<std::uint8_t, Incoming> incoming_; ///< by source: one message from each peer at a time
    std::deque<Outgoing> outgoing_;
};

} // namespace bench::simulated
