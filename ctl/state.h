#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ctl {

/// What a session does, with the numbers of the control interface. A newer service may tell other numbers.
enum class State : std::int32_t {
    idle,
    start,
    bootloader_pending,
    bootloader,
    parsing,
    erasing,
    programming,
    restart,
    read_checksum,
    complete,
    failure,
    complete_ack,
    restart_pending,
    transferring,
};

/// One report of the service.
struct Status {
    State state = State::idle;
    std::int32_t progress = 0;         ///< percent of the step; means nothing in a state that is not `measured`
    std::optional<std::int32_t> error; ///< why the session failed
};

/// The name in the control interface, for scripts: "BL_ERASING".
std::string wire_name(State state);
/// For people: "erasing".
std::string words(State state);
/// Whether the progress belongs to this state, and is not left over from an earlier one.
bool measured(State state) noexcept;
/// The progress within 0 to 100; nothing where it means nothing.
std::optional<int> percent(const Status& status) noexcept;

/// A failure code of a session.
struct Failure_meaning {
    std::int32_t code;
    const char* meaning;
    const char* remedy; ///< what to do, one sentence or more
};

/// Codes that are not known have a meaning and a remedy as well.
const Failure_meaning& meaning_of_failure(std::int32_t code) noexcept;

} // namespace ctl
