#pragma once

#include <cstdint>
#include <string>

#include "can/hardware/frame_logger.h"
#include "can/hardware/message.h"
#include "framework/thread/item.h"

namespace qv::can_bus::hardware {

/// A bus device: moves raw frames with 29-bit identifiers between the system and one bus.
///
/// Thread: the bus thread, apart from a device's own threads.
class Bus : public thread::Item {
public:
    struct Counters {
        std::uint32_t received = 0;
        std::uint32_t transmitted = 0; ///< attempts, the failed ones included
        std::uint32_t transmit_failures = 0;
    };

    /// `device_name` and `logging` are for the records of the frame logger.
    Bus(const std::string& device_name, bool logging);
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    void on_time_elapsed(const std::uint32_t& elapsed) final { device_time_elapsed(elapsed); }
    virtual std::string description() const = 0;
    virtual void close() = 0;
    virtual bool is_open() const = 0;
    virtual bool open() = 0;
    /// Takes the oldest received frame; false when there is none. Does not block.
    virtual bool read(Message& message) = 0;
    /// Called with the milliseconds since the last call, about every 3 ms.
    virtual void device_time_elapsed(std::uint32_t /*elapsed*/) {}
    /// True when the frame was taken. `data` may be null for a length of 0; more than 8 bytes are refused.
    /// `reserved` is the destination, which no device uses.
    virtual bool write(std::uint32_t id, const std::uint8_t* data, std::uint32_t length,
                       std::uint8_t reserved) = 0;
    /// Whether `read` has a frame to give; what the bus thread tests before it goes to sleep.
    virtual bool has_frame() const { return false; }

    /// What the bus thread calls: as above, with log records and counters.
    bool open_logged();
    bool receive(Message& message);
    bool transmit(std::uint32_t id, const std::uint8_t* data, std::uint32_t length, std::uint8_t reserved);
    const Counters& counters() const noexcept { return counters_; }
    Frame_logger& logger() noexcept { return logger_; }

private:
    Frame_logger logger_;
    Counters counters_;
};

} // namespace qv::can_bus::hardware
