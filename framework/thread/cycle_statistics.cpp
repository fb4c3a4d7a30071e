#include "framework/thread/cycle_statistics.h"

#include <algorithm>
#include <utility>

namespace qv::thread {

namespace {

constexpr log::Level progress = 16;

} // namespace

Cycle_statistic::Cycle_statistic(std::string name, log::Client log_client, std::uint32_t window)
    : log_client_(log_client)
    , window_(window)
    , name_(std::move(name))
{}

void Cycle_statistic::sample(std::uint32_t value, std::uint32_t elapsed)
{
    add(value);
    widen(value);
    accumulated_ += elapsed;
    if (accumulated_ > window_) {
        report();
        restart();
    }
}

void Cycle_statistic::widen(std::uint32_t value)
{
    minimum_ = has_range_ ? std::min(minimum_, value) : value;
    maximum_ = has_range_ ? std::max(maximum_, value) : value;
    has_range_ = true;
}

void Cycle_statistic::report() const
{
    log::write(progress, log_client_, "%s minimum %u ms, average %u ms, maximum %u ms, call count %u",
               name_.c_str(), minimum_, std::uint32_t{average()}, maximum_, count());
}

void Cycle_statistic::restart()
{
    clear();
    accumulated_ = 0;
    maximum_ = 0;
    minimum_ = 0;
    has_range_ = false;
}

Cycle_statistics::Cycle_statistics(const std::string& name, log::Client log_client, std::uint32_t window)
    : duration_statistic_(name + " duration", log_client, window)
    , interval_statistic_(name + " interval", log_client, window)
{}

void Cycle_statistics::begin()
{
    const time::Milliseconds now = time::now_ms();
    interval_ = now - cycle_start_;
    cycle_start_ = now;
}

void Cycle_statistics::end()
{
    duration_statistic_.sample(time::now_ms() - cycle_start_, interval_);
    interval_statistic_.sample(interval_, interval_);
}

Cycle_timer::Cycle_timer(std::string name, log::Client log_client)
    : log_client_(log_client)
    , name_(std::move(name))
{}

Cycle_timer::~Cycle_timer()
{
    log::write(progress, log_client_, "cycle '%s': %u ms", name_.c_str(), time::now_ms() - start_);
}

} // namespace qv::thread
