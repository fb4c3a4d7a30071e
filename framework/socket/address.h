#pragma once

#include <cstdint>
#include <string>

#include "framework/socket/socket.h"

namespace qv::socket {

/// "127.0.0.1"
std::string address_text(Address address);
/// The first IPv4 address of `host`, a name or a numeric text. False when there is none. May wait for a name
/// server.
[[nodiscard]] bool resolve(const std::string& host, Address& address);
/// The same as numeric text; `host` itself when it cannot be resolved.
std::string numeric_host(const std::string& host);
Address loopback_address() noexcept;
/// Whether something answers at `port` of `address`; waits for the system's own time-out if nothing does.
[[nodiscard]] bool can_connect(Address address, std::uint16_t port);
/// Whether this host can listen on `port`.
[[nodiscard]] bool is_port_free(std::uint16_t port);

} // namespace qv::socket
