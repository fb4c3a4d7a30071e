#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "can/hardware/bus_socket_can.h"
#include "can/hardware/config.h"
#include "can/hardware/frame.h"
#include "can/hardware/socket_can_frame.h"
#include "config/object.h"

namespace qv::can_bus::hardware {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

/// Keeps the log as lines "level: text".
class Log_lines final : public log::Sink {
public:
    Log_lines() { log::set_sink(this); }
    ~Log_lines() override { log::set_sink(nullptr); }
    bool accepts(log::Level) const override { return true; }
    void write(log::Level level, log::Client, string::Utf_8_string text) override
    {
        lines.push_back(std::to_string(level) + ": " + text.to_utf_8_string());
    }
    log::Client register_client(std::string_view name) override
    {
        lines.push_back("client: " + std::string(name));
        return 1;
    }

    Texts lines;
};

/// A device whose calls all succeed or all fail; it delivers one and the same frame.
class Scripted_bus final : public Bus {
public:
    explicit Scripted_bus(bool logging)
        : Bus("scripted", logging)
    {}
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
        "client: CAN bus hardware library: scripted", "5: CAN bus hardware library 1.20.18.218",
        "5: CAN bus open  scripted bus ok",     "5: can  t  18ea2380  3  00 ee 00", "5: can  r  18eeff80  2  0a 1b",
        "2: CAN bus open  scripted bus failed", "2: transmit message failed",       "5: can  r  18eeff80  0 "};
    // clang-format on
    for (const bool logging : {true, false}) {
        Log_lines log;
        Scripted_bus bus(logging);
        for (const bool succeeds : {true, false}) {
            const Bytes data{0, 0xEE, 0};
            Message message;
            bus.succeeds = succeeds;
            EXPECT_EQ(bus.open_logged(), succeeds);
            EXPECT_EQ(bus.transmit(0x18EA2380, data.data(), 3, 0x23), succeeds);
            EXPECT_TRUE(bus.receive(message));
            bus.frame = {{}, 0, 0x18EEFF80};
        }
        EXPECT_EQ(log.lines, logging ? all : (Texts{all[0], all[1], all[2], all[5]}));
        EXPECT_EQ(bus.counters().received, 1U); // the frame without data does not count
        EXPECT_EQ(bus.counters().transmitted, 2U);
        EXPECT_EQ(bus.counters().transmit_failures, 1U);
    }
}

TEST(Bus_socket_can, stays_closed_and_refuses_to_write_where_there_is_no_can)
{
    const auto bus = Bus_socket_can::create("no_such_interface_at_all", false);
    const Bytes data(9);
    EXPECT_FALSE(bus->write(0x18EA2380, data.data(), 8, 255));
    if (bus->open()) { // this kernel has CAN: the socket is bound to all interfaces
        EXPECT_EQ(bus->description(), "socket can @no_such_interface_at_all");
        EXPECT_FALSE(bus->write(0x18EA2380, data.data(), 9, 255));
        bus->close();
    }
    Message message;
    EXPECT_FALSE(bus->is_open() || bus->has_frame() || bus->read(message));
    EXPECT_EQ(bus->description(), "CAN initialization failed");
}

TEST(Socket_can_frame, has_flags_for_the_kernel_only_and_at_most_eight_bytes)
{
    can_frame frame{};
    frame.can_dlc = 255;
    Message message;
    for (const auto& [can_id, identifier] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {0x98EEFF80, 0x18EEFF80}, {0xF8EEFF80, 0x18EEFF80}, {0x000007FF, 0x7FF}, {~0U, 0x1FFFFFFF}}) {
        frame.can_id = can_id;
        from_kernel(frame, message);
        EXPECT_EQ(message.identifier, identifier);
        EXPECT_EQ(message.length, 8U);
        EXPECT_EQ(message.data, Byte_array(frame.data));
    }
    const Bytes data{1, 2, 3, 4, 5, 6, 7, 8, 9};
    const auto sent = to_kernel(0x18EA2380, data.data(), 8);
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->can_id, 0x98EA2380U);
    EXPECT_EQ(Bytes(sent->data, sent->data + sent->can_dlc), Bytes(data.begin(), data.begin() + 8));
    EXPECT_EQ(to_kernel(0x18EA2380, nullptr, 0)->can_dlc, 0);
    EXPECT_FALSE(to_kernel(0x18EA2380, data.data(), 9) || to_kernel(0x18EA2380, nullptr, 1));
}

TEST(Router_record, is_the_identifier_word_the_length_and_eight_bytes)
{
    using frame::Frame;
    const Frame::Record record{0xFE, 0xFF, 0xEA, 0x98, 3, 0, 0xEE, 0x01, 0, 0, 0, 0, 0};
    const auto frame = Frame::decode(record);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->identifier, 0x18EAFFFEU);
    EXPECT_EQ(frame->data, (Byte_array{0, 0xEE, 1}));
    EXPECT_TRUE(frame->extended && !frame->remote && !frame->error);
    for (const std::uint8_t flags : Bytes{0x00, 0x20, 0x40, 0x80, 0xE0}) {
        Frame::Record other = record;
        other[3] = 0x18 | flags;
        EXPECT_EQ(Frame::decode(other)->encode(), other);
    }
    for (const std::uint8_t length : Bytes{9, 15, 128, 255}) {
        EXPECT_FALSE(Frame::decode(Frame::Record{0x80, 0xFF, 0xEE, 0x98, length}));
    }
}

TEST(Device_choice, follows_the_configured_type_and_never_fails)
{
    struct Row {
        const char* type;
        const char* address;
        std::string description, complaint;
    };
    // clang-format off
    for (const Row& row : {
        Row{"none",       "127.0.0.1",    "can stub",                                     ""},
        Row{"stub",       "127.0.0.1",    "can stub",                                     ""},
        Row{"usb",        "127.0.0.1",    "can stub",                                     "2: unable to create hardware CAN bus usb"},
        Row{"socket can", "127.0.0.1",    "CAN initialization failed",                    ""},
        Row{"router",     "127.0.0.1",    "CAN bus router client 127.0.0.1:39767",        ""},
        Row{"router",     "192.168.7.20", "CAN bus router client 192.168.7.20:39767",     ""},
        Row{"router",     "nowhere",      "CAN bus router client 255.255.255.255:39767",  "2: invalid can ip server address nowhere"}}) {
        // clang-format on
        qv::config::Configuration document("unused.xml", false);
        document.root = std::make_unique<qv::config::Object>(qv::config::Object::name_root_default);
        document.set_text(document.find_object("can_bus/hardware", true), "type", row.type);
        document.set_text(document.find_object("can_bus/hardware/ip", true), "address", row.address);
        Log_lines log;
        config::Hardware settings(&document);
        EXPECT_EQ(create_hardware(settings)->description(), row.description);
        std::erase_if(log.lines, [](const std::string& line) { return !line.starts_with("2:"); });
        EXPECT_EQ(log.lines, row.complaint.empty() ? Texts{} : Texts{row.complaint});
    }
    config::Hardware without_document(nullptr);
    EXPECT_EQ(create_hardware(without_document)->description(), "can stub");
}

} // namespace
} // namespace qv::can_bus::hardware
