#include "comm/handler/atom.h"

#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::comm::handler {

using message::time_elapsed::Milliseconds_500;

Atom::Atom(dispatcher::Dispatcher_id id, std::string_view name)
    : Observer_dispatcher_id(id)
    , atom_(std::string(name))
    , watching_(atom_.create_if_absent())
{}

void Atom::subscribe() { add_routed(Milliseconds_500::id, &Atom::on_time_elapsed); }

void Atom::unsubscribe() { remove_routed(Milliseconds_500::id); }

void Atom::on_time_elapsed(message::Message& /*message*/)
{
    if (!watching_ || !atom_.is_gone()) {
        return;
    }
    watching_ = false;
    send_shutdown_trigger();
}

} // namespace qv::comm::handler
