#include "ctl/watch.h"

namespace ctl {

namespace {

using namespace std::chrono_literals;

constexpr Time window = 15s;
/// Longer than a change of the bit rate takes: an exchange of up to 31 s, and the waits around it.
constexpr Time idle_limit = 60s;

} // namespace

void Pace::add(Time now, int percent)
{
    now_ = now;
    if (!samples_.empty() && percent < samples_.back().percent) {
        samples_.clear();
    }
    if (samples_.empty() || percent != samples_.back().percent) {
        samples_.push_back({now, percent});
    }
    while (samples_.size() > 2 && samples_[1].time + window <= now) {
        samples_.pop_front();
    }
}

std::optional<double> Pace::rate() const
{
    if (samples_.size() < 2 || now_ - samples_.front().time < 1s) {
        return std::nullopt;
    }
    const std::chrono::duration<double> passed = now_ - samples_.front().time;
    return (samples_.back().percent - samples_.front().percent) / passed.count();
}

std::optional<std::chrono::seconds> Pace::left() const
{
    const auto speed = rate();
    if (!speed) {
        return std::nullopt;
    }
    const std::chrono::duration<double> seconds((100 - samples_.back().percent) / *speed);
    return std::chrono::ceil<std::chrono::seconds>(seconds);
}

Watch::Verdict Watch::on_status(const Status& status, Time now)
{
    if (status.state == State::idle) {
        const auto verdict = on_idle(now);
        measure(status, now);
        return verdict;
    }
    idle_since_.reset();
    last_ = status.state;
    measure(status, now);
    switch (status.state) {
        case State::complete_ack: return Verdict::succeeded;
        case State::failure: return Verdict::failed;
        default: return Verdict::running;
    }
}

Watch::Verdict Watch::on_idle(Time now)
{
    if (!last_) {
        return Verdict::no_session;
    }
    if (*last_ == State::complete) {
        return Verdict::succeeded; // nothing else follows on it
    }
    const bool bit_rate_may_change = *last_ == State::start || *last_ == State::bootloader_pending;
    idle_since_ = idle_since_.value_or(now);
    return bit_rate_may_change && now - *idle_since_ < idle_limit ? Verdict::running : Verdict::unseen;
}

void Watch::measure(const Status& status, Time now)
{
    if (!state_since_ || status.state != moment_.state) {
        state_since_ = now;
        pace_.restart();
    }
    moment_ = {status.state, percent(status), std::nullopt, std::nullopt, now - *state_since_};
    if (moment_.percent) {
        pace_.add(now, *moment_.percent);
        moment_.rate = pace_.rate();
        moment_.left = pace_.left();
    }
}

} // namespace ctl
