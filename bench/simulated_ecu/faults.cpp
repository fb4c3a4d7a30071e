#include "bench/simulated_ecu/faults.h"

#include "bench/simulated_ecu/pdu.h"

namespace bench::simulated {
namespace {

constexpr std::array<const char*, step_count> names{"enter", "rate",     "erase", "write",
                                                    "data",  "checksum", "reset"};

} // namespace

std::optional<Step> step_of(std::string_view name) noexcept
{
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (name == names[i]) {
            return static_cast<Step>(i);
        }
    }
    return std::nullopt;
}

const char* name_of(Step step) noexcept { return names[static_cast<std::size_t>(step)]; }

Faults::Verdict Faults::on_step(Step step) noexcept
{
    if (orders_.busy > 0 && orders_.busy_step == step) {
        --orders_.busy;
        return Verdict::busy;
    }
    const unsigned occurrence = ++occurrences_[static_cast<std::size_t>(step)];
    const auto due = [&](const std::optional<Fault_order>& order) {
        return order && order->step == step && order->occurrence == occurrence;
    };
    begun_ = begun_ || due(orders_.from);
    if (due(orders_.silent)) {
        return Verdict::silent;
    }
    return due(orders_.refuse) ? Verdict::refuse : Verdict::none;
}

bool Faults::abort_transport() noexcept
{
    if (orders_.abort_transport == 0) {
        return false;
    }
    --orders_.abort_transport;
    return true;
}

bool Faults::hits(unsigned percent, std::uint32_t pgn)
{
    const bool spared = orders_.transport_only && pgn != pgn::transport_connection && pgn != pgn::transport_data;
    return begun_ && percent > 0 && !spared && random_() % 100 < percent;
}

} // namespace bench::simulated
