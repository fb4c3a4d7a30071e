#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <type_traits>

#include "framework/log/format.h"
#include "framework/string/collector.h"

namespace qv::log {

/// Levels are plain numbers: 0 the log itself and signals, 1 sockets, 2 configuration and mutex failures,
/// 5 network notices, 16 progress.
using Level = std::uint32_t;
/// The number of a component in the log; 0 is the default client.
using Client = std::uint32_t;

/// Where log lines go. The log, which stands far above the components that write to it, fills this hook;
/// while it is empty a log call is the test of one pointer.
///
/// Thread: any, several at once. Lifetime: until `set_sink` has taken it away.
class Sink {
public:
    virtual ~Sink() = default;
    /// Tested before a line is formatted.
    virtual bool accepts(Level level) const = 0;
    virtual void write(Level level, Client client, string::Utf_8_string text) = 0;
    /// Gives out the next client number and registers it under `name`.
    virtual Client register_client(std::string_view name) = 0;
};

/// Sets the sink, or takes it away with null. Returns when no other thread is inside the former one any more,
/// which may then be destroyed: so the caller holds nothing that the former sink may wait for. Lines that come
/// while one sink replaces another are lost. Thread: one at a time, and not in a signal handler.
void set_sink(Sink* sink) noexcept;

/// Whether a line of that level would be written.
bool accepts(Level level);
/// A client number for a component called `name`; 0 without a log.
Client register_client(std::string_view name);

namespace internal {

inline constinit std::atomic<Sink*> current_sink{nullptr};

/// What a line may hold: 32 bits, or a text.
class Argument {
public:
    Argument(int value) noexcept
        : Argument(static_cast<unsigned>(value))
    {}
    Argument(unsigned value) noexcept
        : value_(value)
        , is_text_(false)
    {}
    Argument(const char* text) noexcept
        : text_(text)
        , is_text_(true)
    {}

    void feed(string::formatting::Collector& collector) const { is_text_ ? collector(text_) : collector(value_); }

private:
    union {
        unsigned value_;
        const char* text_;
    };
    bool is_text_;
};

/// Formats and writes when there is a sink that accepts `level`. A line for which there is no memory is lost, or
/// empty.
void write(Level level, Client client, const char* format, std::initializer_list<Argument> arguments);

} // namespace internal

/// Formats and writes a line when there is a sink that accepts `level`. The arguments are integers of up to 32
/// bits and texts as `const char*`; `format` is that of `string::formatting::Collector`.
template <class... Arguments>
void write(Level level, Client client, std::type_identity_t<Format<Arguments...>> format, Arguments... arguments)
{
    if (internal::current_sink.load(std::memory_order_relaxed) != nullptr) {
        internal::write(level, client, format.text(), {arguments...});
    }
}

} // namespace qv::log
