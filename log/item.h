#pragma once

#include <cstdint>
#include <ctime>
#include <utility>

#include "comm/message.h"
#include "framework/log/hook.h"
#include "framework/string/string.h"

namespace qv::log {

/// A line that waits to be written.
struct Item {
    Client client;
    Level level;
    string::Utf_8_string text;
    std::uint32_t clock; ///< the millisecond clock at the call
    std::time_t time;    ///< seconds since the epoch at the call, adjusted time
};

namespace item {

/// A line was written. The log's dispatcher delivers it, right after the file was flushed, so that others may
/// watch the log; it is forwarded along that dispatcher's routes.
class Message final : public comm::message::Cloneable<Message>, public Item {
public:
    static constexpr comm::message::Id id = 0x400DB;
    explicit Message(Item written) noexcept
        : Cloneable<Message>(id)
        , Item(std::move(written))
    {}
};

} // namespace item

} // namespace qv::log
