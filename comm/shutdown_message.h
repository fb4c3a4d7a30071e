#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "comm/message.h"

namespace qv::comm::message::shutdown {

/// Every thread must stop now; the last message of a run. Posted by `handler::Shutdown`, and once more by
/// `master_stop`: a thread may get it twice.
class Application final : public Cloneable<Application> {
public:
    static constexpr Id id = 0x40000;
    Application() noexcept
        : Cloneable<Application>(id)
    {}
};

/// Asks for an orderly stop. Anybody may post it to the primary dispatcher; `handler::Shutdown` listens.
class Trigger final : public Cloneable<Trigger> {
public:
    static constexpr Id id = 0x4007B;
    Trigger() noexcept
        : Cloneable<Trigger>(id)
    {}
};

/// Delays a stop for as long as its owner keeps a reference, but not beyond its time-out.
struct Token_record {
    std::string name;
    std::uint32_t timeout_ms = 0;
};

/// Hands a token to `handler::Shutdown`, before or after the trigger.
class Token final : public Cloneable<Token> {
public:
    static constexpr Id id = 0x4007C;
    explicit Token(std::shared_ptr<Token_record> token_record) noexcept
        : Cloneable<Token>(id)
        , record(std::move(token_record))
    {}
    std::shared_ptr<Token_record> record;
};

} // namespace qv::comm::message::shutdown
