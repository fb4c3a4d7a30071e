#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace qv::comm::message {

/// Identifies a type of message: 0x40000 and above for messages of the system, below that a parameter group
/// number of the CAN bus. Observers subscribe to either in the same way.
using Id = std::uint64_t;

/// Root of everything that travels through a dispatcher.
///
/// A queue owns the message that it holds; a handler gets a reference for the time of the call, and clones
/// what it wants to keep.
class Message {
public:
    virtual ~Message() = default;
    /// A copy of the most derived object. Empty for a message that cannot be copied.
    virtual std::unique_ptr<Message> clone() const;
    virtual Id get_assigned_id() const noexcept = 0;
    /// Reads the body from `bytes`, beginning at `offset`, which moves behind it.
    virtual void deserialize(std::span<const std::uint8_t> bytes, std::size_t& offset);
    /// Appends the id, least significant byte first, and then the body.
    virtual void serialize(std::vector<std::uint8_t>& bytes) const;

protected:
    Message() = default;
    Message(const Message&) = default;
    Message& operator=(const Message&) = default;
};

namespace assigned_id {

/// A message that stores its id. Each concrete class has its own as the constant `id`.
class Assigned_id : public Message {
public:
    Id get_assigned_id() const noexcept final { return id_; }

protected:
    explicit Assigned_id(Id id) noexcept
        : id_(id)
    {}

private:
    Id id_;
};

} // namespace assigned_id

/// Gives the concrete message class `Derived` its `clone`.
template <class Derived, class Base = assigned_id::Assigned_id> class Cloneable : public Base {
public:
    using Base::Base;
    std::unique_ptr<Message> clone() const override
    {
        return std::make_unique<Derived>(static_cast<const Derived&>(*this));
    }
};

} // namespace qv::comm::message
