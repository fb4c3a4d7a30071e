#include "bench/simulated_ecu/bootloader.h"

#include "bench/simulated_ecu/text.h"

#include <algorithm>

namespace bench::simulated {
namespace {

enum Command : std::uint8_t { erase_command = 0, read_command, write_command, close_command = 4, boot_load = 6 };

// The bootloader's own names for what lies in no memory.
constexpr std::uint32_t boot_pointer = 0x00000900;
constexpr std::uint32_t checksum_pointer = 0xC0000001;
constexpr std::uint32_t rate_pointer = 0xC0000002;

constexpr std::uint16_t no_seed = 0xFFFF;
constexpr std::uint8_t heartbeat_mark = 0x20; ///< above 15: the bootloader runs
constexpr Time close_wait{1000};              ///< then a restart comes without the tool's close
constexpr Time tool_wait{10000};              ///< then an exchange that the tool left open is dropped

} // namespace

Bootloader::Request Bootloader::parse(Bytes data) noexcept
{
    Request request;
    request.length = static_cast<std::uint16_t>(data[0] | ((data[1] & 0xE0U) << 3));
    request.spatial = (data[1] & 0x10) != 0;
    request.command = (data[1] >> 1) & 7;
    request.pointer = little_endian(data, 2, 4);
    request.key = static_cast<std::uint16_t>(little_endian(data, 6, 2));
    return request;
}

/// Which step this request asks for; nothing when the bootloader, or the application, knows no such request.
std::optional<Step> Bootloader::step_of(const Request& request) const noexcept
{
    struct Row {
        Command command;
        bool spatial;
        std::optional<std::uint32_t> pointer; ///< any when absent
        Step step;
    };
    // clang-format off
    static constexpr std::array<Row, 6> rows{{
        {boot_load,     false, boot_pointer,     Step::enter},
        {erase_command, false, std::nullopt,     Step::erase},
        {write_command, false, std::nullopt,     Step::write},
        {read_command,  true,  checksum_pointer, Step::checksum},
        {write_command, true,  checksum_pointer, Step::reset},
        {write_command, true,  rate_pointer,     Step::rate},
    }};
    // clang-format on
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& each) {
        return each.command == request.command && each.spatial == request.spatial &&
               (!each.pointer || *each.pointer == request.pointer);
    });
    if (row == rows.end() || (!in_bootloader_ && row->step != Step::enter)) {
        return std::nullopt;
    }
    return row->step;
}

void Bootloader::on_request(std::uint8_t source, Bytes data, Time now)
{
    if (data.size() != 8) {
        return;
    }
    const Request request = parse(data);
    const bool open_exchange = state_ != State::idle;
    if (open_exchange && (source != tool_ || state_ == State::proceeding || state_ == State::working)) {
        return respond(source, Status::busy, 0, no_seed, now);
    }
    if (request.command == close_command) {
        return close(now);
    }
    if (open_exchange) {
        host_.report("a new request before the last exchange was closed");
    }
    state_ = State::idle;
    tool_ = source;
    if (const auto step = step_of(request)) {
        return open(request, *step, now);
    }
    fail(format("no such request: command %u, pointer 0x%08x", request.command, request.pointer), now);
}

void Bootloader::open(const Request& request, Step step, Time now)
{
    step_ = step;
    request_ = request;
    if (!unlocked(request, step, now)) {
        return;
    }
    switch (faults_.on_step(step)) {
        case Faults::Verdict::none: break;
        case Faults::Verdict::busy:
            host_.report(format("busy at %s", name_of(step)));
            return respond(tool_, Status::busy, 0, no_seed, now);
        case Faults::Verdict::refuse: return fail(format("%s, by order", name_of(step)), now);
        case Faults::Verdict::silent:
            host_.report(format("silent from here: %s", name_of(step)));
            return host_.fall_silent();
    }
    seeded_.reset();
    after(settings_.answer_delay, State::proceeding, now);
}

/// Seed and key [SAE J1939-73, security of DM14 and DM15]: the first request of an exchange gets the seed, the
/// second has to bring the key, which is the seed itself.
bool Bootloader::unlocked(const Request& request, Step step, Time now)
{
    if (!settings_.seed) {
        return true;
    }
    if (seeded_ != step) {
        seeded_ = step;
        respond(tool_, Status::proceed, request.length, *settings_.seed, now);
        return false;
    }
    if (request.key != *settings_.seed) {
        seeded_.reset();
        fail(format("%s: the key is 0x%04x and not the seed", name_of(step), request.key), now);
        return false;
    }
    return true;
}

/// Enters a state that lasts for `delay`; none means that it ends at once.
void Bootloader::after(Time delay, State state, Time now)
{
    state_ = state;
    if (delay > Time::zero()) {
        return timer_.start(now, delay);
    }
    timer_.stop();
    if (state == State::proceeding) {
        proceed(now);
    } else {
        finish(now);
    }
}

void Bootloader::proceed(Time now)
{
    respond(tool_, Status::proceed, request_.length, no_seed, now);
    switch (step_) {
        case Step::enter:
        case Step::checksum: return work(Time::zero(), now);
        case Step::erase: return work(settings_.erase_delay, now);
        case Step::write:
        case Step::data:
        case Step::reset:
        case Step::rate: state_ = State::awaiting_data; return timer_.start(now, tool_wait);
    }
}

void Bootloader::work(Time delay, Time now) { after(settings_.answer_delay + delay, State::working, now); }

bool Bootloader::awaits_chunk(std::uint8_t source) const noexcept
{
    return state_ == State::awaiting_data && step_ == Step::write && source == tool_;
}

/// One frame tells the number of data bytes in byte 0; a longer message has 255 there and is all data.
void Bootloader::on_data(std::uint8_t source, Bytes data, Time now)
{
    if (state_ != State::awaiting_data || source != tool_ || data.empty()) {
        return;
    }
    const std::size_t length = data[0] == 0xFF ? data.size() - 1 : data[0];
    if (length > data.size() - 1) {
        return fail(format("data of %zu bytes say that they are %zu", data.size() - 1, length), now);
    }
    data_.assign(data.begin() + 1, data.begin() + 1 + static_cast<std::ptrdiff_t>(length));
    work(step_ == Step::write ? settings_.write_delay : Time::zero(), now);
}

void Bootloader::finish(Time now)
{
    switch (step_) {
        case Step::enter: return enter(now);
        case Step::erase: return erase(now);
        case Step::write:
        case Step::data: return write(now);
        case Step::checksum: return answer_checksum(now);
        case Step::reset: return check_checksum(now);
        case Step::rate: return change_rate(now);
    }
}

void Bootloader::enter(Time now)
{
    if (!in_bootloader_) {
        in_bootloader_ = true;
        chunks_ = 0;
        flash_.start_update();
        host_.report("bootloader entered");
    }
    complete(now);
    if (settings_.heartbeat) {
        send_heartbeat(now);
    }
}

void Bootloader::erase(Time now)
{
    if (const std::string wrong = flash_.erase(request_.pointer); !wrong.empty()) {
        return fail("erase: " + wrong, now);
    }
    host_.report(format("erased 0x%08x", request_.pointer));
    complete(now);
}

void Bootloader::write(Time now)
{
    if (data_.size() != request_.length) {
        return fail(format("write: %zu bytes came instead of %u", data_.size(), request_.length), now);
    }
    if (const std::string wrong = flash_.write(request_.pointer, data_); !wrong.empty()) {
        return fail("write: " + wrong, now);
    }
    ++chunks_;
    if (settings_.verbose) {
        host_.report(format("wrote %u bytes at 0x%08x", request_.length, request_.pointer));
    }
    complete(now);
}

void Bootloader::answer_checksum(Time now)
{
    const std::uint32_t sum = flash_.checksum();
    host_.report(format("written %zu bytes in %u chunks, checksum 0x%08x", flash_.bytes_written(), chunks_, sum));
    const std::array<std::uint8_t, 8> data{settings_.checksum_length,
                                           byte_of(sum, 0),
                                           byte_of(sum, 1),
                                           byte_of(sum, 2),
                                           byte_of(sum, 3),
                                           0xFF,
                                           0xFF,
                                           0xFF};
    host_.send(pgn::binary_data, tool_, data, now);
    complete(now);
}

void Bootloader::check_checksum(Time now)
{
    const auto value = received_value();
    if (value != flash_.checksum()) {
        return fail(format("reset: the checksum that came back is 0x%08x", value.value_or(0)), now);
    }
    restart_pending_ = true;
    complete(now);
    timer_.start(now, close_wait);
}

/// The tool waits for no answer: both sides change their rate now.
void Bootloader::change_rate(Time now)
{
    const auto value = received_value();
    if (!value) {
        return fail("rate: not four bytes", now);
    }
    state_ = State::idle;
    host_.set_rate(*value);
}

std::optional<std::uint32_t> Bootloader::received_value() const noexcept
{
    return data_.size() == 4 ? std::optional(little_endian(data_, 0, 4)) : std::nullopt;
}

void Bootloader::complete(Time now)
{
    state_ = State::awaiting_close;
    timer_.start(now, tool_wait);
    respond(tool_, Status::completed, 0, no_seed, now);
}

void Bootloader::close(Time now)
{
    state_ = State::idle;
    seeded_.reset();
    timer_.stop();
    if (restart_pending_) {
        restart_pending_ = false;
        host_.restart(flash_.bytes_written() > 0, now);
    }
}

void Bootloader::fail(const std::string& why, Time now)
{
    state_ = State::idle;
    timer_.stop();
    host_.report("refused " + why);
    respond(tool_, Status::failed, 0, no_seed, now);
}

/// DM15 [SAE J1939-73]; reserved bits are 1, no error code is given.
void Bootloader::respond(std::uint8_t destination, Status status, std::uint16_t length, std::uint16_t seed,
                         Time now)
{
    const auto flags =
        static_cast<std::uint8_t>(((length >> 3) & 0xE0) | 0x11 | (static_cast<unsigned>(status) << 1));
    const std::array<std::uint8_t, 8> data{byte_of(length, 0), flags,           0xFF, 0xFF, 0xFF, 0xFF,
                                           byte_of(seed, 0),   byte_of(seed, 1)};
    host_.send(pgn::memory_response, destination, data, now);
}

void Bootloader::send_heartbeat(Time now)
{
    const std::array<std::uint8_t, 8> data{heartbeat_mark, heartbeat_count_++, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    host_.send(pgn::proprietary_a, tool_, data, now);
    heartbeat_.start(now, settings_.heartbeat_gap);
}

void Bootloader::on_time(Time now)
{
    if (heartbeat_.ended(now)) {
        send_heartbeat(now);
    }
    if (!timer_.ended(now)) {
        return;
    }
    timer_.stop();
    switch (state_) {
        case State::idle: return;
        case State::awaiting_data: host_.report("the tool sends no data"); return close(now);
        case State::proceeding: return proceed(now);
        case State::working: return finish(now);
        case State::awaiting_close: return close(now);
    }
}

Time Bootloader::next() const noexcept { return std::min(timer_.due(), heartbeat_.due()); }

void Bootloader::start_application() noexcept
{
    in_bootloader_ = false;
    restart_pending_ = false;
    state_ = State::idle;
    timer_.stop();
    heartbeat_.stop();
}

} // namespace bench::simulated
