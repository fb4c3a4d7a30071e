#include "can/network/node/manager.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

#include "comm/broker.h"
#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::can_bus::node::detail {

namespace {

namespace pgn = pdu::pgn;
using comm::message::time_elapsed::Time_elapsed;
using message::Diagnostic_trouble_code;

constexpr std::uint32_t step_interval = 500; ///< milliseconds
/// What the node is asked for in each step.
constexpr std::array requested_pgns{pgn::component_identification, pgn::ecu_identification,
                                    pgn::product_identification, pgn::software_identification};
constexpr std::uint32_t report_step = requested_pgns.size() + 1;

/// The payload's characters up to the first byte 0.
std::string_view zero_terminated(const Byte_array_fix& payload)
{
    const auto bytes = payload.bytes();
    const auto end = std::ranges::find(bytes, std::uint8_t{0});
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(end - bytes.begin())};
}

/// Cuts `text` at each delimiter and stores the fields in the order of `fields`; those that are missing
/// become empty.
void store_fields(std::string_view text, Identification& identification, std::initializer_list<Field> fields)
{
    for (const Field field : fields) {
        const std::size_t end = std::min(text.find(diagnostic::information_delimiter), text.size());
        identification[static_cast<std::size_t>(field)] = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

} // namespace

Manager::Manager(Node& node, Bus_port& bus)
    : node_(node)
    , bus_(bus)
{}

void Manager::start()
{
    observers_.add(comm::observer::make_broker<Time_elapsed>(this, &Manager::on_time_elapsed, bus_.dispatcher_id(),
                                                             comm::observer::Route::from_primary));
}

/// Time stands still while the first local ECU has no address.
void Manager::on_time_elapsed(comm::message::Message& message)
{
    if (!bus_.can_request()) {
        return;
    }
    elapsed_ += static_cast<const Time_elapsed&>(message).elapsed; // the broker has tested the type
    if (elapsed_ >= step_interval) {
        elapsed_ = 0;
        next_step();
    }
}

void Manager::next_step()
{
    ++step_;
    if (step_ == report_step) {
        report_information();
        stop(); // time tells it nothing any more
    } else {
        bus_.request(requested_pgns[step_ - 1], node_.shared_from_this());
    }
}

void Manager::report_information()
{
    comm::post_to(bus_.dispatcher_id(), std::make_unique<message::Diagnostic_information>(
                                            node_.name(), node_.source_address, identification_));
}

/// SAE J1939-71, PGN 65259: make, model, serial number, unit number.
void Manager::process_component_identification(const Byte_array_fix& payload)
{
    store_fields(zero_terminated(payload), identification_,
                 {Field::component_make, Field::component_model, Field::component_serial_number,
                  Field::component_unit_number});
}

/// ISO 11783-12, PGN 64965.
void Manager::process_ecu_identification(const Byte_array_fix& payload)
{
    store_fields(zero_terminated(payload), identification_,
                 {Field::ecu_part_number, Field::ecu_serial_number, Field::ecu_location, Field::ecu_type,
                  Field::ecu_manufacturer_name, Field::ecu_hardware_id});
}

/// ISO 11783-12, PGN 64653.
void Manager::process_product_identification(const Byte_array_fix& payload)
{
    store_fields(zero_terminated(payload), identification_,
                 {Field::product_code, Field::product_brand, Field::product_model});
}

/// ISO 11783-12, PGN 65242: the number of fields, and then the fields, each closed by a delimiter. The text
/// leaves out the last byte, which is the delimiter that closes the last field.
void Manager::process_software_identification(const Byte_array_fix& payload)
{
    if (payload.size() < 2 || payload[0] == 0) {
        return;
    }
    std::string& identification = identification_[index_of(Field::software_identification)];
    identification.clear();
    for (const std::uint8_t byte : payload.bytes().subspan(1, payload.size() - 2)) {
        const char character = static_cast<char>(byte);
        switch (character) {
            case diagnostic::information_delimiter: identification += "; "; break;
            case diagnostic::information_module_delimiter: identification += ", "; break;
            default: identification += character; break;
        }
    }
}

void Manager::process_diagnostic_trouble_codes_active(const Byte_array_fix& payload)
{
    trouble_codes_.active_supported(diagnostic::trouble_code::Manager::supported);
    trouble_codes_.active = diagnostic::trouble_code::decode(payload.bytes());
    report_trouble_codes(trouble_codes_.active, Diagnostic_trouble_code::Kind::active);
}

void Manager::process_diagnostic_trouble_codes_previous_active(const Byte_array_fix& payload)
{
    trouble_codes_.previous_active_supported(diagnostic::trouble_code::Manager::supported);
    trouble_codes_.previous_active = diagnostic::trouble_code::decode(payload.bytes());
    report_trouble_codes(trouble_codes_.previous_active, Diagnostic_trouble_code::Kind::previous_active);
}

void Manager::report_trouble_codes(const diagnostic::trouble_code::List& list, Diagnostic_trouble_code::Kind kind)
{
    comm::post_to(bus_.dispatcher_id(),
                  std::make_unique<Diagnostic_trouble_code>(node_.name(), node_.source_address, list, kind));
}

void Manager::process_acknowledgment(std::uint32_t pgn, bool positive) noexcept
{
    const unsigned value =
        positive ? diagnostic::trouble_code::Manager::supported : diagnostic::trouble_code::Manager::not_supported;
    switch (pgn) {
        case pgn::trouble_codes_active: return trouble_codes_.active_supported(value);
        case pgn::trouble_codes_previous_active: return trouble_codes_.previous_active_supported(value);
        case pgn::trouble_codes_reset_previous_active:
            return trouble_codes_.reset_previous_active_supported(value);
        default: return;
    }
}

} // namespace qv::can_bus::node::detail
