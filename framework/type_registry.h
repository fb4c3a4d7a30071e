#pragma once

#include <algorithm>
#include <concepts>
#include <utility>
#include <vector>

namespace qv::type_registry {

/// A factory of the plain kind: a new `T`, seen as its base.
template <class T, class Base> Base* create() { return new T; }

/// The one set of factories for things of type `Base`, in the order in which they came.
///
/// Static initialisers fill it before `main` runs; from then on it is only read. Thread: any, once filled.
template <class Base, class Factory> class Registry {
public:
    static Registry& instance()
    {
        static Registry registry;
        return registry;
    }

    /// Enters a factory, unless it stands there already. Always true, as the value of a static initialiser.
    bool add(Factory factory)
    {
        if constexpr (std::equality_comparable<Factory>) {
            if (std::find(factories_.begin(), factories_.end(), factory) != factories_.end()) {
                return true;
            }
        }
        factories_.push_back(std::move(factory));
        return true;
    }

    const std::vector<Factory>& factories() const noexcept { return factories_; }

private:
    Registry() = default;

    std::vector<Factory> factories_;
};

} // namespace qv::type_registry
