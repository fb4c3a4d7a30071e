#pragma once

#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "comm/test_kit.h"
#include "comm/time_message.h"
#include "framework/byte_array.h"

namespace qv::can_bus::test {

/// "00 EE 00" as bytes.
inline Byte_array hex(const std::string& text)
{
    std::vector<std::uint8_t> bytes;
    for (const char* position = text.c_str(); std::isxdigit(static_cast<unsigned char>(*position)) != 0;) {
        char* end = nullptr;
        bytes.push_back(static_cast<std::uint8_t>(std::strtoul(position, &end, 16)));
        position = *end == ' ' ? end + 1 : end;
    }
    return Byte_array(bytes);
}

/// The characters as bytes.
inline Byte_array chars(std::string_view text)
{
    return Byte_array({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

/// A comm core with a dispatcher in the place of a bus's.
class Network_test : public comm::test::Core_test {
protected:
    /// Lets time pass on the primary dispatcher and hands it to all who listen.
    void pass(std::uint32_t milliseconds)
    {
        comm::primary_dispatcher()->post(
            std::make_unique<comm::message::time_elapsed::Time_elapsed>(milliseconds));
        comm::primary_dispatcher()->process_queue();
        drain();
    }
    virtual void drain() { bus_dispatcher_->process_queue(); }

    std::shared_ptr<comm::Dispatcher> bus_dispatcher_;
};

} // namespace qv::can_bus::test
