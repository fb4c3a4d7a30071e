#include "framework/application/run_wrapper.h"

#include <utility>

namespace qv::application::run_wrapper {

Cascade::Cascade(std::shared_ptr<Run_wrapper> inner) noexcept
    : inner_(std::move(inner))
{}

int Cascade::run() { return inner_ ? inner_->run() : -1; }

bool Cascade::init() { return init_own() && (!inner_ || inner_->init()); }

bool Cascade::deinit()
{
    const bool inner_stopped = !inner_ || inner_->deinit();
    const bool own_stopped = deinit_own();
    return inner_stopped && own_stopped;
}

} // namespace qv::application::run_wrapper
