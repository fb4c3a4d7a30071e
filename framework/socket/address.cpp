#include "framework/socket/address.h"

#include <array>
#include <cstdio>
#include <memory>

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

namespace qv::socket {

namespace {

struct Free_addresses {
    void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, Free_addresses>;

/// The IPv4 addresses of `host` for TCP; empty when there is none.
Addresses look_up(const std::string& host)
{
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_protocol = IPPROTO_TCP;
    addrinfo* list = nullptr;
    return Addresses(::getaddrinfo(host.c_str(), nullptr, &wanted, &list) == 0 ? list : nullptr);
}

} // namespace

std::string address_text(Address address)
{
    std::array<char, 16> text;
    const int length = std::snprintf(text.data(), text.size(), "%u.%u.%u.%u", address & 0xFF, address >> 8 & 0xFF,
                                     address >> 16 & 0xFF, address >> 24);
    return {text.data(), static_cast<std::size_t>(length)};
}

bool resolve(const std::string& host, Address& address)
{
    const Addresses found = look_up(host);
    if (found == nullptr) {
        return false;
    }
    address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr;
    return true;
}

std::string numeric_host(const std::string& host)
{
    const Addresses found = look_up(host);
    std::array<char, NI_MAXHOST> text;
    if (found == nullptr || ::getnameinfo(found->ai_addr, found->ai_addrlen, text.data(), text.size(), nullptr, 0,
                                          NI_NUMERICHOST) != 0) {
        return host;
    }
    return text.data();
}

Address loopback_address() noexcept { return ::inet_addr("127.0.0.1"); }

bool can_connect(Address address, std::uint16_t port)
{
    Socket probe(false, "probe");
    return probe.open(address, AF_INET, port, true, true, false);
}

bool is_port_free(std::uint16_t port)
{
    Socket probe(false, "probe");
    return probe.listen_on(INADDR_ANY, AF_INET, port, true, false);
}

} // namespace qv::socket
