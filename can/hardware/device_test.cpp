#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "can/hardware/bus_socket_can.h"
#include "can/hardware/bus_stub.h"
#include "can/hardware/config.h"
#include "can/hardware/frame.h"
#include "can/hardware/socket_can_frame.h"
#include "config/object.h"

namespace qv::can_bus::hardware {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Keeps the log as lines "level: text".
class Log_lines final : public log::Sink {
public:
    Log_lines() { log::set_sink(this); }
    ~Log_lines() override { log::set_sink(nullptr); }
    bool accepts(log::Level) const override { return true; }
    void write(log::Level level, log::Client, std::string_view text) override
    {
        lines.push_back(std::to_string(level) + ": " + std::string(text));
    }
    log::Client register_client(std::string_view name) override
    {
        clients.emplace_back(name);
        return 1;
    }

    std::vector<std::string> lines;
    std::vector<std::string> clients;
};

/// A device that delivers the frames it is given, and takes as many as it is told.
class Scripted_bus final : public Bus {
public:
    explicit Scripted_bus(bool logging)
        : Bus("scripted", logging)
    {}
    std::string description() const override { return "scripted bus"; }
    void close() override {}
    bool is_open() const override { return true; }
    bool open() override { return succeeds; }
    bool read(Message& message) override
    {
        if (frames.empty()) {
            return false;
        }
        const Bytes bytes = frames.front();
        frames.erase(frames.begin());
        message = {Byte_array(bytes), static_cast<std::uint32_t>(bytes.size()), 0x18EEFF80};
        return true;
    }
    bool write(std::uint32_t, const std::uint8_t*, std::uint32_t, std::uint8_t) override { return succeeds; }

    std::vector<Bytes> frames;
    bool succeeds = true;
};

TEST(Bus_device, counts_frames_with_data_and_every_attempt_to_send)
{
    Scripted_bus bus(false);
    bus.frames = {{1}, {}, {1, 2, 3, 4, 5, 6, 7, 8}};
    Message message;
    while (bus.receive(message)) {
    }
    const Bytes data{1, 2};
    EXPECT_TRUE(bus.transmit(0x18EA0080, data.data(), 2, 0));
    bus.succeeds = false;
    EXPECT_FALSE(bus.transmit(0x18EA0080, data.data(), 2, 0));
    EXPECT_EQ(bus.counters().received, 2U); // the frame without data does not count
    EXPECT_EQ(bus.counters().transmitted, 2U);
    EXPECT_EQ(bus.counters().transmit_failures, 1U);
}

TEST(Bus_device, logs_its_opening_always_and_its_frames_when_asked)
{
    const Bytes data{0, 0xEE, 0};
    const std::vector<std::string> all{
        "5: CAN bus hardware library 1.20.18.218", "5: CAN bus open  scripted bus ok",
        "5: can  r  18eeff80  2  0a 1b",           "5: can  t  18ea2380  3  00 ee 00",
        "2: CAN bus open  scripted bus failed",    "2: transmit message failed",
    };
    const std::vector<std::string> without_frames{all[0], all[1], all[4]};
    for (const bool logging : {true, false}) {
        Log_lines log;
        Scripted_bus bus(logging);
        EXPECT_EQ(log.clients, std::vector<std::string>{"CAN bus hardware library: scripted"});
        bus.frames = {{0x0A, 0x1B}};
        Message message;
        for (const bool success : {true, false}) {
            bus.succeeds = success;
            EXPECT_EQ(bus.open_logged(), success);
            bus.receive(message);
            bus.transmit(0x18EA2380, data.data(), 3, 0x23);
        }
        EXPECT_EQ(log.lines, logging ? all : without_frames);
    }
}

TEST(Bus_stub, takes_everything_and_delivers_nothing)
{
    Bus_stub bus(true);
    Message message;
    EXPECT_TRUE(bus.open_logged());
    EXPECT_TRUE(bus.transmit(0x18EA2380, nullptr, 0, 255));
    EXPECT_TRUE(bus.transmit(0x18EA2380, nullptr, 5, 255));
    EXPECT_FALSE(bus.receive(message));
    bus.close();
    EXPECT_FALSE(bus.is_open());
}

TEST(Bus_socket_can, stays_closed_and_refuses_to_write_where_there_is_no_can)
{
    const auto bus = Bus_socket_can::create("no_such_interface_at_all", false);
    ASSERT_NE(bus, nullptr);
    const Bytes data(9);
    EXPECT_FALSE(bus->write(0x18EA2380, data.data(), 8, 255));
    if (bus->open()) { // this kernel has CAN: the socket is bound to all interfaces
        EXPECT_EQ(bus->description(), "socket can @no_such_interface_at_all");
        EXPECT_FALSE(bus->write(0x18EA2380, data.data(), 9, 255));
        bus->close();
    }
    Message message;
    EXPECT_FALSE(bus->is_open());
    EXPECT_FALSE(bus->read(message));
    EXPECT_FALSE(bus->has_frame());
    EXPECT_EQ(bus->description(), "CAN initialization failed");
}

TEST(Socket_can_frame, loses_its_flags_on_the_way_in_and_is_cut_to_eight_bytes)
{
    struct Row {
        std::uint32_t can_id;
        std::uint8_t dlc;
        std::uint32_t identifier;
        std::uint32_t length;
    };
    for (const Row& row : {Row{0x98EEFF80, 8, 0x18EEFF80, 8}, Row{0xF8EEFF80, 0, 0x18EEFF80, 0},
                           Row{0x000007FF, 3, 0x000007FF, 3}, Row{0xFFFFFFFF, 255, 0x1FFFFFFF, 8}}) {
        can_frame frame{};
        frame.can_id = row.can_id;
        frame.can_dlc = row.dlc;
        for (std::uint8_t index = 0; index < 8; ++index) {
            frame.data[index] = static_cast<std::uint8_t>(0xA0 + index);
        }
        Message message;
        from_kernel(frame, message);
        EXPECT_EQ(message.identifier, row.identifier);
        EXPECT_EQ(message.length, row.length);
        EXPECT_EQ(message.data.size(), row.length);
        EXPECT_TRUE(row.length == 0 || message.data[row.length - 1] == 0xA0 + row.length - 1);
    }
}

TEST(Socket_can_frame, is_extended_on_the_way_out_and_has_at_most_eight_bytes)
{
    const Bytes data{1, 2, 3, 4, 5, 6, 7, 8, 9};
    const auto frame = to_kernel(0x18EA2380, data.data(), 8);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->can_id, 0x98EA2380U);
    EXPECT_EQ(frame->can_dlc, 8);
    EXPECT_EQ(Bytes(frame->data, frame->data + 8), Bytes(data.begin(), data.begin() + 8));
    EXPECT_EQ(to_kernel(0x18EA2380, nullptr, 0)->can_dlc, 0);
    EXPECT_FALSE(to_kernel(0x18EA2380, data.data(), 9));
    EXPECT_FALSE(to_kernel(0x18EA2380, nullptr, 1));
}

struct Record_row {
    frame::Frame::Record record;
    std::uint32_t identifier;
    Bytes data;
    std::string flags; ///< "x" extended, "r" remote, "e" error
};

TEST(Router_record, is_the_identifier_word_the_length_and_eight_bytes)
{
    // clang-format off
    const std::vector<Record_row> rows{
        {{0x80, 0xFF, 0xEE, 0x98, 8, 1, 2, 3, 4, 5, 6, 7, 8}, 0x18EEFF80, {1, 2, 3, 4, 5, 6, 7, 8}, "x"},
        {{0xFE, 0xFF, 0xEA, 0x98, 3, 0, 0xEE, 0, 0, 0, 0, 0, 0}, 0x18EAFFFE, {0, 0xEE, 0}, "x"},
        {{0xFF, 0x07, 0x00, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0x7FF, {}, ""},
        {{0xFF, 0xFF, 0xFF, 0x5F, 1, 9, 0, 0, 0, 0, 0, 0, 0}, 0x1FFFFFFF, {9}, "r"},
        {{0x00, 0x00, 0x00, 0xA0, 2, 9, 8, 0, 0, 0, 0, 0, 0}, 0, {9, 8}, "xe"},
    };
    // clang-format on
    for (const auto& row : rows) {
        const auto frame = frame::Frame::decode(row.record);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->identifier, row.identifier);
        EXPECT_EQ(frame->length, row.data.size());
        EXPECT_EQ(Bytes(frame->data.bytes().begin(), frame->data.bytes().end()), row.data);
        const std::string flags =
            std::string(frame->extended ? "x" : "") + (frame->remote ? "r" : "") + (frame->error ? "e" : "");
        EXPECT_EQ(flags, row.flags);
        EXPECT_EQ(frame->encode(), row.record);
    }
}

TEST(Router_record, of_more_than_eight_bytes_is_no_frame)
{
    for (const std::uint8_t length : Bytes{9, 15, 128, 255}) {
        EXPECT_FALSE(frame::Frame::decode(frame::Frame::Record{0x80, 0xFF, 0xEE, 0x98, length}));
    }
}

struct Device_row {
    const char* type; ///< null leaves the key away
    const char* address;
    std::string description;
    std::vector<std::string> complaints;
};

class Device_choice : public testing::TestWithParam<Device_row> {};

TEST_P(Device_choice, follows_the_configured_type_and_never_fails)
{
    const Device_row& row = GetParam();
    qv::config::Configuration document("unused.xml", false);
    document.root = std::make_unique<qv::config::Object>(qv::config::Object::name_root_default);
    auto* node = document.find_object("can_bus/hardware", true);
    if (row.type != nullptr) {
        document.set_text(node, "type", row.type);
    }
    if (row.address != nullptr) {
        document.set_text(document.find_object("ip", true, node), "address", row.address);
    }
    Log_lines log;
    config::Hardware settings(&document);
    const auto bus = create_hardware(settings);
    EXPECT_EQ(bus->description(), row.description);
    std::erase_if(log.lines, [](const std::string& line) { return !line.starts_with("2:"); });
    EXPECT_EQ(log.lines, row.complaints);
}

INSTANTIATE_TEST_SUITE_P(
    Types, Device_choice,
    testing::Values(Device_row{nullptr, nullptr, "can stub", {}}, Device_row{"none", nullptr, "can stub", {}},
                    Device_row{"stub", nullptr, "can stub", {}},
                    Device_row{"usb", nullptr, "can stub", {"2: unable to create hardware CAN bus usb"}},
                    Device_row{"socket can", nullptr, "CAN initialization failed", {}},
                    Device_row{"router", nullptr, "CAN bus router client 127.0.0.1:39767", {}},
                    Device_row{"router", "192.168.7.20", "CAN bus router client 192.168.7.20:39767", {}},
                    Device_row{"router",
                               "nowhere",
                               "CAN bus router client 255.255.255.255:39767",
                               {"2: invalid can ip server address nowhere"}}));

TEST(Device_choice_without_a_document, is_the_stub)
{
    config::Hardware settings(nullptr);
    EXPECT_EQ(create_hardware(settings)->description(), "can stub");
}

TEST(Device_settings, are_written_to_the_document_with_their_defaults)
{
    qv::config::Configuration document("unused.xml", false);
    document.root = std::make_unique<qv::config::Object>(qv::config::Object::name_root_default);
    document.set_text(document.find_object("can_bus/hardware", true), "type", "router");
    document.set_decimal(document.find_object("can_bus/hardware/ip", true), "port", 70000);
    config::Hardware settings(&document);
    create_hardware(settings);
    auto* ip = document.find_object("can_bus/hardware/ip", false);
    EXPECT_STREQ(document.get_text(ip, "address", "missing", false), "127.0.0.1");
    EXPECT_FALSE(document.get_boolean(ip, "logging", true, false));
    EXPECT_EQ(qv::config::CAN_bus_router_parameters(settings).port(), 39767); // 70000 is no port
}

} // namespace
} // namespace qv::can_bus::hardware
