#include "comm/handler/time_tick.h"

#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::comm::handler {

namespace {

using message::time_elapsed::Milliseconds_020;
using message::time_elapsed::Milliseconds_500;
using message::time_elapsed::Seconds_1;
using message::time_elapsed::Time_elapsed;

/// Less time than this is left for a later tick to count.
constexpr time::Milliseconds minimum_step = 3;

/// Adds to an accumulator and posts a `Period` when it is full. What it holds beyond the period is dropped: no
/// period is ever shorter than its name says.
template <class Period>
void accumulate(Dispatcher& dispatcher, std::uint32_t& accumulator, std::uint32_t elapsed, std::uint32_t period)
{
    accumulator += elapsed;
    if (accumulator >= period) {
        accumulator = 0;
        dispatcher.post(std::make_unique<Period>());
    }
}

} // namespace

Time_tick::Time_tick(dispatcher::Dispatcher_id id, Clock clock) noexcept
    : Observer_dispatcher_id(id)
    , clock_(clock)
    , last_time_(clock())
{}

void Time_tick::subscribe() { add(message::Time_tick::id, &Time_tick::on_time_tick); }

void Time_tick::unsubscribe() { remove(message::Time_tick::id); }

void Time_tick::on_time_tick(message::Message& /*message*/)
{
    const auto elapsed = time::elapsed_between(last_time_, clock_(), minimum_step);
    const auto dispatcher = find_dispatcher(dispatcher_id());
    if (elapsed == 0 || !dispatcher) {
        return;
    }
    dispatcher->post(std::make_unique<Time_elapsed>(elapsed));
    accumulate<Milliseconds_020>(*dispatcher, accumulated_20_, elapsed, 20);
    accumulate<Milliseconds_500>(*dispatcher, accumulated_500_, elapsed, 500);
    accumulate<Seconds_1>(*dispatcher, accumulated_1000_, elapsed, 1000);
}

} // namespace qv::comm::handler
