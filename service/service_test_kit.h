#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "can/bus/frame_observer.h"
#include "can/network/bus.h"
#include "can/network/ecu/test_kit.h"
#include "config/object.h"
#include "config/primary.h"
#include "framework/thread/pause.h"
#include "service/flintrow.h"
#include "service/image_file.h"

namespace qv::can_bus::flr {

using test::Texts;

/// A CAN interface that only remembers its bit rate.
struct Fake_can_interface final : Can_interface {
    explicit Fake_can_interface(std::uint32_t bitrate) : rate(bitrate) {}
    std::uint32_t getBitrate() const override { return rate; }
    void setBitrate(std::uint32_t value) override { rate = value; }
    std::uint32_t rate;
};

/// The service on a bus of its own, with an ECU at 0x80 that the test plays. Time moves only by hand: `pass`
/// in milliseconds, `tick` in seconds, both without any waiting.
class Service_test : public test::Frame_test {
protected:
    static constexpr name::Name own_name = 0x8100810012FAE240; ///< serial number 123456, family 26
    static constexpr name::Name ecu_name = 0xA000860012E00001;
    static inline const std::string own_claim = "18EEFFF9 40 E2 FA 12 00 81 00 81";
    static inline const std::string ecu_claim = "18EEFF80 01 00 E0 12 00 86 00 A0";

    Service_test()
    {
        pauses().clear();
        thread::set_pause([](std::chrono::milliseconds duration) { pauses().push_back(duration.count()); });
        testing::internal::CaptureStdout();
        config::create_primary(config_path_);
        configure("enable", true);
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
        for (const auto* suffix : {"", ".backup", ".temp"}) {
            std::remove((config_path_ + suffix).c_str());
        }
        thread::set_pause(nullptr);
        std::fputs(testing::internal::GetCapturedStdout().c_str(), stdout);
    }

    static void configure(const char* key, bool value)
    {
        auto* list = config::primary_configuration_pointer();
        list->set_boolean(list->find_object("Flintrow", true), key, value);
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
        words.insert(words.begin(), "flintrow");
        std::vector<char*> arguments;
        for (auto& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        flintrow_ = Flintrow::create_in(
            {static_cast<int>(words.size()), arguments.data(), {"123456", "P-1", 26},
             [this](int status) { exits_.push_back(status); },
             [this](const char* name, std::uint32_t bitrate) {
                 said_interface_ = name;
                 auto fake = std::make_unique<Fake_can_interface>(bitrate);
                 can_interface_ = fake.get();
                 return fake;
             }},
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
    /// A DM15 from the ECU.
    void proceed(const char* seed = "FF FF") { receive(std::string("18D8F980 00 01 00 00 00 00 ") + seed); }
    void busy() { receive("18D8F980 00 03 00 00 00 00 FF FF"); }
    void complete() { receive("18D8F980 00 09 00 00 00 00 FF FF"); }
    void refuse() { receive("18D8F980 00 0B 00 00 00 00 FF FF"); }
    void heartbeat() { receive("18EFF980 10"); }
    /// Short enough for a frame: one field with the label BLD.
    void tell_software(const char* sender = "80")
    {
        receive(std::string("18FEDA") + sender + " 01 42 4C 44 2A");
    }
    /// Receives one transport message as the ECU; its payload.
    std::string take_transport()
    {
        sent();
        pass(4);
        const auto announcement = test::hex(sent().at(0).substr(9));
        const std::size_t size = announcement[1] + announcement[2] * 256U;
        char digits[64];
        std::snprintf(digits, sizeof digits, "18ECF980 11 %02X 01 FF FF 00 D7 00", unsigned{announcement[3]});
        receive(digits);
        std::string payload;
        for (int time = 0; payload.size() < size && time < 1000; ++time) {
            pass(4);
            for (const auto& frame : sent()) {
                const auto data = test::hex(frame.substr(9));
                payload.append(data.bytes().begin() + 1, data.bytes().end());
            }
        }
        payload.resize(size);
        std::snprintf(digits, sizeof digits, "18ECF980 13 %02X %02X %02X FF 00 D7 00", unsigned{announcement[1]},
                      unsigned{announcement[2]}, unsigned{announcement[3]});
        receive(digits);
        return payload;
    }

    Session& session() { return flintrow_->session; }
    /// What was printed since the last call.
    std::string said()
    {
        auto text = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        return text;
    }
    static std::vector<long>& pauses()
    {
        static std::vector<long> milliseconds;
        return milliseconds;
    }

    std::vector<int> exits_; ///< status of each end of the process
    std::string said_interface_;
    Fake_can_interface* can_interface_ = nullptr;
    std::unique_ptr<bus::Bus> bus_;
    std::unique_ptr<Flintrow> flintrow_;

private:
    std::string config_path_ = testing::TempDir() + "flintrow_service_" + std::to_string(::getpid()) + ".xml";
};

} // namespace qv::can_bus::flr
