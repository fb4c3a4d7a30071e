#pragma once

#include <cstddef>

#include "framework/string/code_point.h"

namespace qv::string::internal {

/// What a handle of a string points to: code units that never change, counted by those who refer to them. Indices,
/// lengths and steps are in code points unless said otherwise.
///
/// Thread: any; the count is atomic and nothing else changes.
class String_storage_interface {
public:
    /// The first unit of a code point; which type of unit, the encoding tells.
    using Position = const void*;

    virtual ~String_storage_interface() = default;

    virtual void add_reference() noexcept = 0;
    /// True when the last reference has gone: the caller then destroys the object.
    [[nodiscard]] virtual bool release() noexcept = 0;
    /// The length in code units.
    virtual std::size_t size() const noexcept = 0;
    virtual std::size_t length() const noexcept = 0;
    /// 0 when `index` is not below the length.
    virtual Code_point at(std::size_t index) const noexcept = 0;
    /// The object that owns the code units.
    virtual String_storage_interface& storage() noexcept = 0;
    /// The first code point of this object within `storage()`.
    virtual std::size_t offset() const noexcept = 0;
    /// Where the code point `index` starts; `end()` when there is none.
    virtual Position position(std::size_t index) const noexcept = 0;
    virtual Position begin() const noexcept = 0;
    virtual Position end() const noexcept = 0;
    /// Reads the code point at `position`, which lies below `end()`, and moves `position` behind it.
    virtual Code_point next(Position& position) const noexcept = 0;
    /// Moves `position`, which lies above `begin()`, back by one code point and reads it.
    virtual Code_point previous(Position& position) const noexcept = 0;

protected:
    String_storage_interface() = default;
    String_storage_interface(const String_storage_interface&) = delete;
    String_storage_interface& operator=(const String_storage_interface&) = delete;
};

/// Gives a reference back; the last one destroys the object.
inline void release_reference(String_storage_interface& storage) noexcept
{
    if (storage.release()) {
        delete &storage;
    }
}

} // namespace qv::string::internal
