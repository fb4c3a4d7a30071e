#pragma once

#include <utility>

namespace qv {

/// The base of what gathers its arguments call by call, `Collector(format)(argument)(argument)`: it holds what was
/// gathered so far.
///
/// Thread: one; lives on the stack of one call.
template <class Container> class Trailing_parens_idiom_collector {
public:
    const Container& container() const noexcept { return container_; }

protected:
    Trailing_parens_idiom_collector() = default;
    ~Trailing_parens_idiom_collector() = default;
    Trailing_parens_idiom_collector(const Trailing_parens_idiom_collector&) = default;
    Trailing_parens_idiom_collector& operator=(const Trailing_parens_idiom_collector&) = default;

    Container container_;
};

} // namespace qv
