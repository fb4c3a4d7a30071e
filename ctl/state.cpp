#include "ctl/state.h"

#include <algorithm>
#include <iterator>

namespace ctl {

namespace {

struct State_row {
    const char* wire;
    const char* words;
    bool measured;
};

// clang-format off
constexpr State_row states[] = {
    {"BL_IDLE",               "idle",                       false},
    {"BL_START",              "starting",                   false},
    {"BL_BOOTLOADER_PENDING", "waiting for the bootloader", false},
    {"BL_BOOTLOADER",         "bootloader is up",           false},
    {"BL_PARSING",            "reading the file",           false},
    {"BL_ERASING",            "erasing",                    true},
    {"BL_PROGRAMMING",        "programming",                true},
    {"BL_RESTART",            "restarting the ECU",         false},
    {"BL_READ_CHECKSUM",      "reading the checksum",       false},
    {"BL_COMPLETE",           "complete",                   false},
    {"BL_FAILURE",            "failed",                     false},
    {"BL_COMPLETE_ACK",       "complete",                   false},
    {"BL_RESTART_PENDING",    "waiting for the ECU",        true},
    {"BL_TRANSFERRING",       "uploading",                  true},
};

constexpr Failure_meaning failures[] = {
    {2, "the ECU did not answer in time, kept back its checksum or its restart, its checksum had a wrong length, the "
        "bit rate could not be changed, or the file given with -w is no update file",
     "Check the ECU's power and the bus, then update it again: it waits in its bootloader. What the service printed "
     "tells which of these it was."},
    {4, "the wireless node did not finish the installation",
     "Look at what the node itself tells, check that the package is meant for it, then update again."},
    {11, "the ECU did not come back after its restart",
     "Switch the ECU off and on, see with 'flintrowctl list' what it runs, and update it again if need be."},
    {23, "there was no image when the erase was about to begin",
     "Scan the folder with the update files again, then update again."},
    {27, "the upload or the installation could not be started on the terminal",
     "The terminal is short of memory or threads: end other programs or restart the service, then update again."},
    {30, "the wireless node refuses the connection, or it broke",
     "Check the node's power and that the terminal is in its network, then update again."},
    {31, "the package file cannot be looked at",
     "Check that the medium with the update files is still there, scan its folder again, then update again."},
    {32, "the package file cannot be opened",
     "Check that it is still there and that the service may read it, scan its folder again, then update again."},
    {33, "the service has lost the package",
     "Scan the folder with the update files again, then update again."},
    {34, "the upload was broken off, or the wireless node did not accept it",
     "Check the radio link and that the node's software accepts uploads, then update again."},
    {35, "the wireless node did not accept the request to install",
     "Check that the package is meant for this node; restart the node, then update again."},
    {36, "the wireless node's host name cannot be resolved",
     "Check the node's power, that the terminal is in its network and resolves names ending in \".local\", "
     "then update again."},
};
// clang-format on

constexpr Failure_meaning unknown_failure{
    0, "a failure that this program has no words for",
    "Look at what the service printed, check the ECU's power and the bus, then update again."};

const State_row* row_of(State state) noexcept
{
    const auto index = static_cast<std::size_t>(state);
    return index < std::size(states) ? &states[index] : nullptr;
}

std::string number_of(State state) { return std::to_string(static_cast<std::int32_t>(state)); }

} // namespace

std::string wire_name(State state)
{
    const auto* row = row_of(state);
    return row != nullptr ? row->wire : number_of(state);
}

std::string words(State state)
{
    const auto* row = row_of(state);
    return row != nullptr ? row->words : std::string("unknown state ").append(number_of(state));
}

bool measured(State state) noexcept
{
    const auto* row = row_of(state);
    return row != nullptr && row->measured;
}

std::optional<int> percent(const Status& status) noexcept
{
    return measured(status.state) ? std::optional(std::clamp<int>(status.progress, 0, 100)) : std::nullopt;
}

const Failure_meaning& meaning_of_failure(std::int32_t code) noexcept
{
    const auto* row = std::find_if(std::begin(failures), std::end(failures),
                                   [code](const Failure_meaning& failure) { return failure.code == code; });
    return row != std::end(failures) ? *row : unknown_failure;
}

} // namespace ctl
