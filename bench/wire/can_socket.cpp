#include "bench/wire/can_socket.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <linux/can.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace bench {
namespace {

constexpr Link::Time flush_pause{1};
constexpr std::size_t out_maximum = 100'000;

can_frame to_kernel(const Record& record)
{
    can_frame frame{};
    frame.can_id = record.identifier | (record.extended ? CAN_EFF_FLAG : 0) | (record.remote ? CAN_RTR_FLAG : 0);
    frame.can_dlc = record.length;
    std::copy(record.data.begin(), record.data.end(), frame.data);
    return frame;
}

Record from_kernel(const can_frame& frame)
{
    Record record;
    record.extended = (frame.can_id & CAN_EFF_FLAG) != 0;
    record.remote = (frame.can_id & CAN_RTR_FLAG) != 0;
    record.error = (frame.can_id & CAN_ERR_FLAG) != 0;
    record.identifier = frame.can_id & (record.extended ? CAN_EFF_MASK : CAN_SFF_MASK);
    record.length = std::min<std::uint8_t>(frame.can_dlc, CAN_MAX_DLEN);
    std::copy_n(frame.data, record.length, record.data.begin());
    return record;
}

/// Whether the socket is bound to the interface, which is up.
bool bind_to(int socket, const std::string& interface)
{
    ifreq request{};
    if (interface.size() >= sizeof request.ifr_name) {
        return false;
    }
    interface.copy(request.ifr_name, interface.size());
    if (ioctl(socket, SIOCGIFFLAGS, &request) != 0 || (request.ifr_flags & IFF_UP) == 0 ||
        ioctl(socket, SIOCGIFINDEX, &request) != 0) {
        return false;
    }
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = request.ifr_ifindex;
    return bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// Runs a command, of words between blanks, to its end. True when that is a good one.
bool run(const std::string& command)
{
    std::istringstream in(command);
    std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t process = -1;
    int status = -1;
    return posix_spawnp(&process, arguments.front(), nullptr, nullptr, arguments.data(), environ) == 0 &&
           waitpid(process, &status, 0) == process && status == 0;
}

} // namespace

Link::Time Can_socket::next_attempt() const noexcept { return socket_ < 0 || !out_.empty() ? next_ : Time::max(); }

Link::Change Can_socket::on_poll(short revents, Time now, const Receive& receive)
{
    if (!connected()) {
        return now >= next_ && open(now) ? Change::established : Change::none;
    }
    next_ = now + flush_pause;
    if ((revents == 0 || read(receive)) && flush()) {
        return Change::none;
    }
    retry_later(now);
    return Change::terminated;
}

bool Can_socket::open(Time now)
{
    socket_ = ::socket(AF_CAN, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, CAN_RAW);
    if (socket_ < 0 || !bind_to(socket_, interface_)) {
        retry_later(now);
    }
    return connected();
}

/// False when the interface is gone.
bool Can_socket::read(const Receive& receive)
{
    can_frame frame{};
    for (;;) {
        const ssize_t count = recv(socket_, &frame, sizeof frame, 0);
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        if (count == sizeof frame) {
            receive(from_kernel(frame));
        }
    }
}

bool Can_socket::send(const Record& record)
{
    if (!connected() || out_.size() > out_maximum) {
        return false;
    }
    out_.push_back(record);
    return flush();
}

/// False when the interface is gone; `on_poll` closes then, since poll keeps on telling.
bool Can_socket::flush()
{
    while (!out_.empty()) {
        const can_frame frame = to_kernel(out_.front());
        if (::send(socket_, &frame, sizeof frame, 0) < 0) {
            return errno == ENOBUFS || errno == EAGAIN || errno == EINTR;
        }
        out_.pop_front();
    }
    return true;
}

bool Can_socket::set_rate(std::uint32_t rate)
{
    const std::string set = "ip link set " + interface_;
    const bool done = run(set + " down") && run(set + " up type can bitrate " + std::to_string(rate));
    if (!done) {
        run(set + " up");
    }
    int told = 0; // that it was down
    socklen_t size = sizeof told;
    (void)getsockopt(socket_, SOL_SOCKET, SO_ERROR, &told, &size);
    return done;
}

void Can_socket::retry_later(Time now) noexcept
{
    close();
    next_ = now + retry_pause;
}

void Can_socket::close() noexcept
{
    if (socket_ >= 0) {
        ::close(socket_);
    }
    socket_ = -1;
    out_.clear();
}

} // namespace bench
