#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "can/network/node/node.h"
#include "can/network/node/node_message.h"
#include "can/network/node/trouble_code.h"
#include "comm/observer.h"
#include "framework/byte_array.h"

namespace qv::can_bus::diagnostic {

inline constexpr char information_delimiter = '*';
inline constexpr char information_module_delimiter = '#';

} // namespace qv::can_bus::diagnostic

namespace qv::can_bus::node::detail {

/// Asks its node once who it is, keeps the answers, and reports them in one `Diagnostic_information`. Also
/// keeps the node's trouble codes.
///
/// Thread: the bus thread. Lifetime: the node owns it. The bus stops it before the bus goes; it then uses the bus
/// no more.
class Manager {
public:
    Manager(Node& node, Bus_port& bus);
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    /// Starts to count the elapsed time.
    void start();
    /// Ends the requests: all were made, or the bus goes.
    void stop() { observers_.clear(); }

    /// Complete payloads of the node's PDUs. A field is kept as its exact bytes; a byte 0 ends the text of
    /// the first three.
    void process_component_identification(const Byte_array_fix& payload);
    void process_ecu_identification(const Byte_array_fix& payload);
    void process_product_identification(const Byte_array_fix& payload);
    void process_software_identification(const Byte_array_fix& payload);
    void process_diagnostic_trouble_codes_active(const Byte_array_fix& payload);
    void process_diagnostic_trouble_codes_previous_active(const Byte_array_fix& payload);
    /// The node has acknowledged (`positive`) or refused a request for `pgn`.
    void process_acknowledgment(std::uint32_t pgn, bool positive) noexcept;

    const std::string& identification(Field field) const { return identification_[index_of(field)]; }
    diagnostic::trouble_code::Manager& trouble_codes() noexcept { return trouble_codes_; }

private:
    static constexpr std::size_t index_of(Field field) noexcept { return static_cast<std::size_t>(field); }

    void on_time_elapsed(comm::message::Message& message);
    void next_step();
    void report_information();
    void report_trouble_codes(const diagnostic::trouble_code::List& list,
                              message::Diagnostic_trouble_code::Kind kind);

    Identification identification_;
    diagnostic::trouble_code::Manager trouble_codes_;
    Node& node_;
    Bus_port& bus_;
    std::uint32_t elapsed_ = 0; ///< milliseconds since the last step
    std::uint32_t step_ = 0;    ///< requests sent; 5 once it has reported
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::node::detail
