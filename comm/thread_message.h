#pragma once

#include <memory>

#include "comm/message.h"
#include "framework/thread/handle.h"

namespace qv::comm::message::thread_handle {

/// A thread has begun or ended. Posted by the thread itself; `handler::Thread_handle` listens.
class Thread_handle final : public Cloneable<Thread_handle> {
public:
    static constexpr Id id = 0x40006;
    Thread_handle(std::shared_ptr<thread::Handle> thread, bool has_finished) noexcept
        : Cloneable<Thread_handle>(id)
        , handle(std::move(thread))
        , finished(has_finished)
    {}
    std::shared_ptr<thread::Handle> handle;
    bool finished;
};

} // namespace qv::comm::message::thread_handle
