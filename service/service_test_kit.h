#pragma once

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "can/bus/frame_observer.h"
#include "can/network/bus.h"
#include "can/network/ecu/test_kit.h"
#include "config/primary.h"
#include "framework/file/scratch_folder.h"
#include "framework/thread/pause.h"
#include "service/flintrow.h"
#include "service/test_kit.h"

namespace qv::can_bus::flr {

using test::Texts;

/// A CAN interface that only remembers its bit rate.
struct Fake_can_interface final : Can_interface {
    explicit Fake_can_interface(std::uint32_t& memory)
        : rate(memory)
    {}
    std::uint32_t getBitrate() const override { return rate; }
    void setBitrate(std::uint32_t value) override { rate = value; }
    std::uint32_t& rate;
};

/// The service on a bus of its own, with an ECU at 0x80 that the test plays. Time moves only by hand: `pass`
/// in milliseconds, `tick` in seconds, both without any waiting.
class Service_test : public test::Frame_test, protected Caught_output {
protected:
    static constexpr name::Name own_name = 0x8100810012FAE240; ///< serial number 123456, family 26
    static inline const std::string ecu_claim = "18EEFF80 01 00 E0 12 00 86 00 A0";

    Service_test()
    {
        pauses.clear();
        thread::set_pause([](std::chrono::milliseconds duration) { pauses.push_back(duration.count()); });
        config::create_primary(folder_ / "config.xml");
        enable(true);
        bus::properties::Properties properties;
        properties.detail_manager_enabled = false;
        bus_ = bus::Bus::create(properties, nullptr,
                                [](bus::Bus& bus) { return std::make_shared<bus::Frame_observer>(bus); });
        bus_dispatcher_ = bus_->dispatcher();
        watch_frames();
    }
    ~Service_test() override
    {
        flintrow_.reset();
        ears_.clear();
        bus_.reset();
        config::destroy_primary();
        thread::set_pause(nullptr);
    }

    static void enable(bool value)
    {
        auto* list = config::primary_configuration_pointer();
        list->set_boolean(list->find_object("Flintrow", true), "enable", value);
    }
    /// Writes an image of version 1.2 with a sector from 0x1000 on, and `length` bytes from 0x1004 on that are
    /// the low bytes of their addresses.
    std::string image_file(std::uint32_t length)
    {
        const auto update = folder_ / "update.hex";
        std::ofstream file(update);
        file << record("03 0000 0C 312E32") + record("08 0000 10 00001000 00001FFF");
        for (std::uint32_t address = 0x1004; address < 0x1004 + length; ++address) {
            char fields[32];
            std::snprintf(fields, sizeof fields, "01 %04X 00 %02X", address, address & 0xFF);
            file << record(fields);
        }
        return update;
    }

    /// Starts the service with these arguments and lets it claim its address.
    void start(std::vector<std::string> words = {})
    {
        create(std::move(words));
        for (const auto time : {1U, 270U, 270U}) {
            pass(time);
        }
        sent();
        said();
    }
    void create(std::vector<std::string> words)
    {
        auto arguments = arguments_of(words);
        const auto open = [this](const char* name, std::uint32_t bitrate) {
            EXPECT_STREQ(name, "can1");
            rate_ = bitrate;
            return std::make_unique<Fake_can_interface>(rate_);
        };
        flintrow_ = Flintrow::create_in({static_cast<int>(words.size()),
                                         arguments.data(),
                                         {"123456", "P-1", 26},
                                         [this](int status) { exits_.push_back(status); },
                                         open,
                                         nullptr},
                                        bus_->dispatcher_id());
        drain();
    }
    void tick(int seconds = 1)
    {
        for (; seconds > 0; --seconds) {
            comm::primary_dispatcher()->post(std::make_unique<comm::message::time_elapsed::Seconds_1>());
            comm::primary_dispatcher()->process_queue();
            drain();
        }
    }
    void drain() override
    {
        bus_dispatcher_->process_queue();
        for (const auto& ecu : bus_->ecus()) {
            ecu->dispatcher()->process_queue();
            bus_dispatcher_->process_queue();
        }
    }
    // A DM15 from the ECU.
    void proceed(const std::string& seed = "FF FF") { receive("18D8F980 00 01 00 00 00 00 " + seed); }
    void busy() { receive("18D8F980 00 03 00 00 00 00 FF FF"); }
    void complete() { receive("18D8F980 00 09 00 00 00 00 FF FF"); }
    void heartbeat() { receive("18EFF980 10"); }
    /// One field with the label BLD.
    void tell_software(const std::string& sender = "80") { receive("18FEDA" + sender + " 01 42 4C 44 2A"); }
    /// Receives one transport message of up to 784 bytes as the ECU; its payload. The last frame may be lost.
    std::string take_transport(bool confirm = true)
    {
        sent();
        pass(4);
        const auto rts = test::hex(sent().at(0).substr(9));
        receive("18ECF980 11 70 01 FF FF 00 D7 00");
        std::string payload;
        for (int time = 0; time < 100; ++time, pass(4)) {
            for (const auto& frame : sent()) {
                const auto data = test::hex(frame.substr(9));
                payload.append(data.data() + 1, data.data() + data.size());
            }
        }
        if (confirm) {
            receive("18ECF980 13" + std::string(test::frame_text({rts.bytes().subspan(1, 3), 0}), 8) +
                    " FF 00 D7 00");
        }
        payload.resize(rts[1] + rts[2] * 256U);
        return payload;
    }

    Session& session() { return flintrow_->session; }

    static inline std::vector<long> pauses; ///< milliseconds
    std::vector<int> exits_;                ///< status of each end of the process
    std::uint32_t rate_ = 0;                ///< of the CAN interface
    std::unique_ptr<bus::Bus> bus_;
    std::unique_ptr<Flintrow> flintrow_;

private:
    const file::test::Scratch_folder folder_;
};

} // namespace qv::can_bus::flr
