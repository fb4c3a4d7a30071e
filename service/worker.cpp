#include "service/worker.h"

#include <utility>

namespace qv::can_bus::flr {

Worker::Worker(Package package) { record_.package = std::move(package); }

Worker::~Worker()
{
    record_.cancelled = true;
    if (started_ && !joined_) {
        ::pthread_join(thread_, nullptr);
    }
}

int Worker::start(Entry entry)
{
    const int result = ::pthread_create(&thread_, nullptr, entry, &record_);
    started_ = result == 0;
    return result;
}

bool Worker::has_ended()
{
    if (started_ && !joined_) {
        joined_ = ::pthread_tryjoin_np(thread_, nullptr) == 0;
    }
    return joined_;
}

} // namespace qv::can_bus::flr
