#include "framework/log_hook.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace qv::log {

namespace {

std::atomic<Sink*> current_sink{nullptr};

/// What `format` gives when it is longer than the buffer of the first attempt.
std::string format_long(std::size_t length, const char* format, std::va_list arguments)
{
    std::string text(length, '\0');
    std::vsnprintf(text.data(), length + 1, format, arguments);
    return text;
}

} // namespace

void set_sink(Sink* sink) noexcept { current_sink.store(sink, std::memory_order_release); }

Sink* sink() noexcept { return current_sink.load(std::memory_order_acquire); }

void write(Level level, Client client, const char* format, ...)
{
    Sink* const target = sink();
    if (target == nullptr || !target->accepts(level)) {
        return;
    }
    std::array<char, 512> buffer;
    std::va_list arguments;
    std::va_list again;
    va_start(arguments, format);
    va_copy(again, arguments);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): started above
    const int count = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    const auto length = static_cast<std::size_t>(count);
    if (count >= 0 && length < buffer.size()) {
        target->write(level, client, {buffer.data(), length});
    } else if (count >= 0) {
        target->write(level, client, format_long(length, format, again));
    }
    va_end(again);
    va_end(arguments);
}

Client register_client(std::string_view name)
{
    Sink* const target = sink();
    return target == nullptr ? 0 : target->register_client(name);
}

} // namespace qv::log
