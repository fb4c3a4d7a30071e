#include "can/hardware/bus_socket_can.h"

#include <array>
#include <cerrno>
#include <utility>

#include <linux/can.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "can/hardware/socket_can_frame.h"
#include "framework/queue_spsc.h"
#include "framework/thread/handle.h"

namespace qv::can_bus::hardware {

namespace {

constexpr int closed = -1;

using Ring = Queue_spsc<Message>;

/// An open socket and what its receive thread needs; shared with that thread, so that the descriptors live for
/// as long as it runs.
struct Connection {
    explicit Connection(std::shared_ptr<Ring> frames)
        : ring(std::move(frames))
    {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection()
    {
        for (const int descriptor : {socket, stop}) {
            if (descriptor != closed) {
                ::close(descriptor);
            }
        }
    }

    int socket = closed;
    int stop = closed; ///< an eventfd; readable once the thread shall end
    std::shared_ptr<Ring> ring;
};

bool bind_to_interface(int socket, const std::string& device_name)
{
    ifreq request{};
    device_name.copy(request.ifr_name, sizeof request.ifr_name - 1); // 15 characters at most
    static_cast<void>(::ioctl(socket, SIOCGIFINDEX, &request));      // an unknown name leaves the index 0: all
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = request.ifr_ifindex;
    return ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

std::shared_ptr<Connection> connect(std::shared_ptr<Ring> ring, const std::string& device_name)
{
    auto connection = std::make_shared<Connection>(std::move(ring));
    connection->socket = ::socket(AF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW);
    connection->stop = ::eventfd(0, EFD_CLOEXEC);
    const bool made = connection->socket >= 0 && connection->stop >= 0;
    return made && bind_to_interface(connection->socket, device_name) ? connection : nullptr;
}

/// Waits for a frame, or for the error that tells once that the interface went down. False when the thread shall
/// end.
bool wait(const Connection& connection)
{
    std::array<pollfd, 2> descriptors{{{connection.stop, POLLIN, 0}, {connection.socket, POLLIN, 0}}};
    ::poll(descriptors.data(), descriptors.size(), -1);
    return descriptors[0].revents == 0;
}

void receive_thread(std::shared_ptr<Connection> connection) // NOLINT(performance-unnecessary-value-param)
{
    can_frame frame;
    Message message;
    while (wait(*connection)) {
        if (::recv(connection->socket, &frame, sizeof frame, MSG_DONTWAIT) == sizeof frame) {
            from_kernel(frame, message);
            connection->ring->push(message, false);
        }
    }
}

/// A full transmit queue loses the frame instead of holding up the bus thread.
bool send_frame(int socket, const can_frame& frame)
{
    return ::send(socket, &frame, sizeof frame, MSG_DONTWAIT) == sizeof frame;
}

} // namespace

/// Thread: the bus thread.
class Bus_socket_can::Private_implementation {
public:
    Private_implementation(std::string name, std::shared_ptr<Ring> frames)
        : device_name(std::move(name))
        , ring(std::move(frames))
    {}

    bool open();
    void close();

    std::string device_name;
    std::shared_ptr<Ring> ring;
    std::shared_ptr<Connection> connection; ///< empty when closed

private:
    std::shared_ptr<thread::Handle> thread_;
};

bool Bus_socket_can::Private_implementation::open()
{
    close();
    connection = connect(ring, device_name);
    thread_ = std::make_shared<thread::Handle>("socket can interface read");
    if (connection && !thread::argument::start(thread_, &receive_thread, connection, thread::Ending::join)) {
        connection.reset();
    }
    return connection != nullptr;
}

void Bus_socket_can::Private_implementation::close()
{
    if (!connection) {
        return;
    }
    ::eventfd_write(connection->stop, 1);
    thread_->stop();
    connection.reset();
}

std::unique_ptr<Bus_socket_can> Bus_socket_can::create(const std::string& device_name, bool logging)
{
    std::shared_ptr<Ring> ring = Ring::create(queue_capacity);
    if (!ring) {
        return nullptr;
    }
    auto implementation = std::make_unique<Private_implementation>(device_name, std::move(ring));
    return std::unique_ptr<Bus_socket_can>(
        new Bus_socket_can("socket can @" + device_name, logging, std::move(implementation)));
}

Bus_socket_can::Bus_socket_can(const std::string& device_name, bool logging,
                               std::unique_ptr<Private_implementation> implementation)
    : Bus(device_name, logging)
    , implementation_(std::move(implementation))
{}

Bus_socket_can::~Bus_socket_can() { implementation_->close(); }

std::string Bus_socket_can::description() const
{
    return is_open() ? "socket can @" + implementation_->device_name : "CAN initialization failed";
}

void Bus_socket_can::close() { implementation_->close(); }

bool Bus_socket_can::is_open() const { return implementation_->connection != nullptr; }

bool Bus_socket_can::open() { return implementation_->open(); }

bool Bus_socket_can::read(Message& message) { return implementation_->ring->pop(message); }

bool Bus_socket_can::write(std::uint32_t id, const std::uint8_t* data, std::uint32_t length,
                           std::uint8_t /*reserved*/)
{
    const auto frame = to_kernel(id, data, length);
    if (!is_open() || !frame) {
        return false;
    }
    const int socket = implementation_->connection->socket;
    // The first call after the interface went down gets that error, even when it is up again since then.
    return send_frame(socket, *frame) || (errno == ENETDOWN && send_frame(socket, *frame));
}

bool Bus_socket_can::has_frame() const { return !implementation_->ring->empty(); }

} // namespace qv::can_bus::hardware
