#include "service/exchange.h"

#include <algorithm>

namespace qv::can_bus::flr {

namespace {

constexpr std::uint32_t answer_timeout = 30; // seconds

} // namespace

void Exchange::begin(const memory_access::Request& request, const std::shared_ptr<node::Node>& target)
{
    request_ = request;
    access_timeout_ = answer_timeout;
    status_ = Access_status::waiting;
    is_doubtful_ = false;
    send(target, request_);
}

void Exchange::repeat(const std::shared_ptr<node::Node>& target)
{
    const bool is_doubtful = is_doubtful_;
    if (is_doubtful) {
        close(target);
    }
    begin(memory_access::Request(request_), target);
    is_doubtful_ = is_doubtful;
}

void Exchange::answer_seed(std::uint16_t seed, const std::shared_ptr<node::Node>& sender)
{
    if (is_doubtful_ && status_ == Access_status::busy) {
        is_doubtful_ = false;
        status_ = Access_status::waiting;
    }
    if (own_ecu_.attached()) {
        memory_access::set_key(request_, seed);
        send(sender, request_);
    }
}

void Exchange::send_word(const std::shared_ptr<node::Node>& receiver, std::uint32_t value) const
{
    own_ecu_.send(receiver, pdu::pgn::memory_access_data, memory_access::word_data(value));
}

void Exchange::close(const std::shared_ptr<node::Node>& receiver) const
{
    send(receiver, memory_access::close_exchange);
}

void Exchange::send(const std::shared_ptr<node::Node>& receiver, const memory_access::Request& request) const
{
    own_ecu_.send(receiver, pdu::pgn::memory_access_request, request);
}

void Exchange::note_proceed() noexcept
{
    status_ = Access_status::proceeding;
    is_doubtful_ = false;
}

void Exchange::doubt() noexcept
{
    is_doubtful_ = true;
    status_ = Access_status::busy;
}

void Exchange::end() noexcept
{
    if (status_ != Access_status::failed) {
        status_ = Access_status::ready;
    }
}

bool Exchange::wait_a_second() noexcept
{
    if (access_timeout_ == 0) {
        return false;
    }
    --access_timeout_;
    return true;
}

bool Exchange::lacks_proceed() const noexcept
{
    return status_ == Access_status::busy || (status_ == Access_status::waiting && !is_doubtful_);
}

bool Exchange::asks_for(const memory_access::Request& request) const noexcept
{
    return std::equal(request.begin(), request.begin() + memory_access::key_position, request_.begin());
}

} // namespace qv::can_bus::flr
