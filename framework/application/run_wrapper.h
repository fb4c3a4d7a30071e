#pragma once

#include <memory>

namespace qv::application::run_wrapper {

/// One layer of the application: `init` brings it up, `run` blocks until the application ends, `deinit` takes it
/// down. Thread: the main thread.
class Run_wrapper {
public:
    virtual ~Run_wrapper() = default;
    Run_wrapper(const Run_wrapper&) = delete;
    Run_wrapper& operator=(const Run_wrapper&) = delete;

    /// -1 after an orderly stop.
    virtual int run() = 0;
    [[nodiscard]] virtual bool init() = 0;
    /// Stops what `init` brought up, also when that failed half-way.
    virtual bool deinit() = 0;

protected:
    Run_wrapper() = default;
};

/// A layer around another one: comes up before it, and goes down after it.
class Cascade : public Run_wrapper {
public:
    /// `inner` may be empty.
    explicit Cascade(std::shared_ptr<Run_wrapper> inner) noexcept;

    /// What the inner layer's `run` gives; -1 without one.
    int run() override;
    [[nodiscard]] bool init() override;
    /// True when both layers say so; each is asked in any case.
    bool deinit() override;

    virtual bool init_own() = 0;
    virtual bool deinit_own() = 0;

protected:
    /// Lets the inner layer go, for a destructor that takes its own layer down.
    void release_inner() noexcept { inner_.reset(); }

private:
    std::shared_ptr<Run_wrapper> inner_;
};

} // namespace qv::application::run_wrapper
