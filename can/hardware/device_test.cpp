#include "can/hardware/config.h"
#include "can/hardware/frame.h"
#include "can/hardware/socket_can_frame.h"
#include "can/hardware/test_kit.h"
#include "config/object.h"

namespace qv::can_bus::hardware {
namespace {

using namespace test;

/// A device whose calls all succeed or all fail; it delivers one and the same frame.
class Scripted_bus final : public Bus {
public:
    using Bus::Bus;
    std::string description() const override { return "scripted bus"; }
    void close() override {}
    bool is_open() const override { return true; }
    bool open() override { return succeeds; }
    bool read(Message& message) override { return (message = frame, true); }
    bool write(std::uint32_t, const std::uint8_t*, std::uint32_t, std::uint8_t) override { return succeeds; }

    Message frame{{0x0A, 0x1B}, 2, 0x18EEFF80};
    bool succeeds = true;
};

TEST(Bus_device, counts_frames_and_logs_them_when_asked)
{
    // clang-format off
    const Texts all{
        "1 5 CAN bus hardware library 1.20.18.218", "1 5 CAN bus open  scripted bus ok",
        "1 5 can  t  18ea2380  3  00 ee 00", "1 5 can  r  18eeff80  2  0a 1b",
        "1 2 CAN bus open  scripted bus failed", "1 2 transmit message failed", "1 5 can  r  18eeff80  0 "};
    // clang-format on
    for (const bool logging : {true, false}) {
        const Log_lines log(5);
        Scripted_bus bus("scripted", logging);
        for (const bool succeeds : {true, false}) {
            const Bytes data{0, 0xEE, 0};
            Message message;
            bus.succeeds = succeeds;
            EXPECT_EQ(bus.open_logged(), succeeds);
            EXPECT_EQ(bus.transmit(0x18EA2380, data.data(), 3, 0x23), succeeds);
            EXPECT_TRUE(bus.receive(message));
            bus.frame = {{}, 0, 0x18EEFF80};
        }
        EXPECT_EQ(log.clients, Texts{"CAN bus hardware library: scripted"});
        EXPECT_EQ(log.lines, logging ? all : (Texts{all[0], all[1], all[4]}));
        const auto& [received, transmitted, failures] = bus.counters();
        EXPECT_TRUE(received == 1 && transmitted == 2 && failures == 1); // a frame without data does not count
    }
}

TEST(Socket_can_frame, has_flags_for_the_kernel_only_and_at_most_eight_bytes)
{
    const Bytes data{1, 2, 3, 4, 5, 6, 7, 8, 9};
    can_frame frame{};
    frame.can_id = 0xF8EEFF80;
    frame.can_dlc = 255;
    std::copy_n(data.begin(), 8, frame.data);
    Message message;
    from_kernel(frame, message);
    EXPECT_EQ(text_of(message), "18EEFF80 01 02 03 04 05 06 07 08");
    const auto sent = to_kernel(0x18EA2380, data.data(), 8);
    EXPECT_TRUE(sent && sent->can_id == 0x98EA2380 && sent->can_dlc == 8 && sent->data[7] == 8);
    EXPECT_FALSE(to_kernel(0x18EA2380, data.data(), 9) || to_kernel(0x18EA2380, nullptr, 1));
}

TEST(Router_record, keeps_every_flag_and_holds_at_most_eight_bytes)
{
    using frame::Frame;
    for (const std::uint8_t flags : Bytes{0x00, 0x20, 0x40, 0x80, 0xE0}) {
        const Frame::Record record{0xFE, 0xFF, 0xEA, static_cast<std::uint8_t>(0x18 | flags), 3, 0, 0xEE, 0x01};
        EXPECT_EQ(Frame::decode(record)->encode(), record);
    }
    EXPECT_FALSE(Frame::decode(Frame::Record{0x80, 0xFF, 0xEE, 0x98, 9}));
}

TEST(Device_choice, follows_the_configured_type_and_never_fails)
{
    // clang-format off
    const struct { const char *type, *address, *description, *complaint; } rows[] = {
        {"none", "127.0.0.1", "can stub", nullptr},
        {"stub", "127.0.0.1", "can stub", nullptr},
        {"usb", "127.0.0.1", "can stub", "unable to create hardware CAN bus usb"},
        {"socket can", "127.0.0.1", "CAN initialization failed", nullptr},
        {"router", "127.0.0.1", "CAN bus router client 127.0.0.1:39767", nullptr},
        {"router", "192.168.7.20", "CAN bus router client 192.168.7.20:39767", nullptr},
        {"router", "x", "CAN bus router client 255.255.255.255:39767", "invalid can ip server address x"}};
    // clang-format on
    for (const auto& row : rows) {
        qv::config::Configuration document("unused.xml", false);
        document.root = std::make_unique<qv::config::Object>(qv::config::Object::name_root_default);
        document.set_text(document.find_object("can_bus/hardware", true), "type", row.type);
        document.set_text(document.find_object("can_bus/hardware/ip", true), "address", row.address);
        config::Hardware settings(&document);
        const Log_lines log(2);
        EXPECT_EQ(create_hardware(settings)->description(), row.description);
        EXPECT_EQ(log.lines, row.complaint ? Texts{std::string("0 2 ") + row.complaint} : Texts{});
    }
    config::Hardware without_document(nullptr);
    EXPECT_EQ(create_hardware(without_document)->description(), "can stub");
}

} // namespace
} // namespace qv::can_bus::hardware
