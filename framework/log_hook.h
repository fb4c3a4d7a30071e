#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace qv::log {

/// Levels are plain numbers: 0 the log itself and signals, 1 sockets, 2 configuration and mutex failures,
/// 5 network notices, 16 progress.
using Level = std::uint32_t;
/// The number of a component in the log; 0 is the default client.
using Client = std::uint32_t;

/// Where log lines go. The log, which stands far above the components that write to it, fills this hook;
/// while it is empty a log call is the test of one pointer.
///
/// Thread: any. Lifetime: the sink outlives every thread that logs while it is set.
class Sink {
public:
    virtual ~Sink() = default;
    /// Tested before a line is formatted.
    virtual bool accepts(Level level) const = 0;
    virtual void write(Level level, Client client, std::string_view text) = 0;
    /// Gives out the next client number and registers it under `name`.
    virtual Client register_client(std::string_view name) = 0;
};

/// Sets the sink, or takes it away with null.
void set_sink(Sink* sink) noexcept;
Sink* sink() noexcept;

/// Formats and writes a line when there is a sink that accepts `level`. `format` is printf's.
void write(Level level, Client client, const char* format, ...) __attribute__((format(printf, 3, 4)));
/// A client number for a component called `name`; 0 without a log.
Client register_client(std::string_view name);

} // namespace qv::log
