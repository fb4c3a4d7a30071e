#pragma once

namespace qv::tool::queue {

/// A queue of bounded length.
template <class T> class Interface {
public:
    virtual ~Interface() = default;
    /// Appends a copy. On a full queue: false with `no_overwrite`; otherwise the oldest element gives way.
    virtual bool push(const T& item, bool no_overwrite) = 0;
    /// Exchanges `item` with the oldest element and takes that off; false when there is none.
    virtual bool pop(T& item) = 0;
    virtual bool empty() const = 0;
    virtual bool full() const = 0;
};

} // namespace qv::tool::queue
