#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "can/hardware/frame_logger.h"
#include "can/hardware/message.h"
#include "framework/thread/item.h"

namespace qv::can_bus::hardware {

/// A bus device: moves raw frames with 29-bit identifiers between the system and one bus.
///
/// Thread: the bus thread, apart from a device's own receive thread.
class Bus : public thread::Item {
public:
    struct Counters {
        std::uint32_t received = 0;
        std::uint32_t transmitted = 0;
        std::uint32_t transmit_failures = 0;
    };

    /// `device_name` and `logging` are for the records of the frame logger.
    Bus(std::string device_name, bool logging);

    void on_time_elapsed(const std::uint32_t& elapsed) final { device_time_elapsed(elapsed); }
    virtual std::string description() const = 0;
    virtual void close() = 0;
    virtual bool is_open() const = 0;
    virtual bool open() = 0;
    /// Takes the oldest received frame; false when there is none. Does not block.
    virtual bool read(Message& message) = 0;
    virtual void device_time_elapsed(std::uint32_t elapsed);
    /// `data` may be null for a length of 0. `reserved` is the destination, which no device uses.
    virtual bool write(std::uint32_t id, const std::uint8_t* data, std::uint32_t length,
                       std::uint8_t reserved) = 0;

    /// What the bus thread calls: as above, with log records and counters.
    bool open_logged();
    bool receive(Message& message);
    bool transmit(std::uint32_t id, const std::uint8_t* data, std::uint32_t length, std::uint8_t reserved);
    const Counters& counters() const noexcept { return counters_; }
    Frame_logger& logger() noexcept { return *logger_; }

private:
    std::unique_ptr<Frame_logger> logger_;
    Counters counters_;
};

} // namespace qv::can_bus::hardware
