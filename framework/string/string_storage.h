#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "framework/string/code_point_container.h"
#include "framework/string/storage_interface.h"
#include "framework/string/storage_traits.h"

namespace qv::string::internal {

/// How many references an object has. It starts at one, its maker's.
using Reference_count = std::atomic<std::uint32_t>;

template <class Unit>
inline constexpr bool is_linear = std::is_same_v<Unit, Ascii_unit> || std::is_same_v<Unit, Utf_32_unit>;

/// The owner of a string's code units: an array of exact size that never changes.
template <class Unit> class String_storage final : public String_storage_interface, public Storage_traits<Unit> {
    using Traits = Storage_traits<Unit>;

public:
    /// Encodes `code_points` as far as the encoding can write them. Null for an empty text and when memory ends.
    [[nodiscard]] static String_storage* create(const Code_point_container& code_points) noexcept
    {
        auto last = code_points.begin();
        const std::size_t size = Traits::units_needed(code_points.begin(), code_points.end(), last);
        if (size == 0) {
            return nullptr;
        }
        std::unique_ptr<Unit[]> units(new (std::nothrow) Unit[size]);
        std::unique_ptr<Reference_count> references(new (std::nothrow) Reference_count(1));
        if (units == nullptr || references == nullptr) {
            return nullptr;
        }
        Unit* out = units.get();
        for (auto position = code_points.begin(); position != last; ++position) {
            out += Traits::write(*position, out);
        }
        const auto length = static_cast<std::size_t>(last - code_points.begin());
        return new (std::nothrow) String_storage(length, std::move(units), size, std::move(references));
    }

    void add_reference() noexcept override { references_->fetch_add(1, std::memory_order_relaxed); }
    bool release() noexcept override { return references_->fetch_sub(1, std::memory_order_acq_rel) == 1; }
    std::size_t size() const noexcept override { return size_; }
    std::size_t length() const noexcept override
    {
        if constexpr (is_linear<Unit>) {
            return size_;
        } else {
            return length_;
        }
    }
    Code_point at(std::size_t index) const noexcept override
    {
        const Unit* position = Traits::advance(first(), last(), index);
        return position == last() ? 0 : Traits::read(position, last());
    }
    String_storage_interface& storage() noexcept override { return *this; }
    std::size_t offset() const noexcept override { return 0; }
    Position position(std::size_t index) const noexcept override
    {
        return Traits::advance(first(), last(), index);
    }
    Position begin() const noexcept override { return first(); }
    Position end() const noexcept override { return last(); }
    Code_point next(Position& position) const noexcept override
    {
        auto reading = static_cast<const Unit*>(position);
        const Code_point result = Traits::read(reading, last());
        position = reading;
        return result;
    }
    Code_point previous(Position& position) const noexcept override
    {
        auto reading = static_cast<const Unit*>(position);
        const Code_point result = Traits::read_back(reading, first());
        position = reading;
        return result;
    }

private:
    struct Nothing {
        explicit Nothing(std::size_t) noexcept {}
    };

    String_storage(std::size_t length, std::unique_ptr<Unit[]> units, std::size_t size,
                   std::unique_ptr<Reference_count> references) noexcept
        : length_(length)
        , units_(std::move(units))
        , size_(size)
        , references_(std::move(references))
    {}

    const Unit* first() const noexcept { return units_.get(); }
    const Unit* last() const noexcept { return units_.get() + size_; }

    [[no_unique_address]] std::conditional_t<is_linear<Unit>, Nothing, std::size_t> length_;
    std::unique_ptr<Unit[]> units_;
    std::size_t size_;
    std::unique_ptr<Reference_count> references_;
};

/// A part of a storage, which it keeps alive: one small object and no copy of text. It lies within the storage.
template <class Unit> class String_slice final : public String_storage_interface {
public:
    /// The `length` code points from `start` of `whole`, itself a storage or a slice, in which they lie. Null when
    /// memory ends.
    [[nodiscard]] static String_slice* create(String_storage_interface& whole, std::size_t start,
                                              std::size_t length) noexcept
    {
        return new (std::nothrow) String_slice(whole.storage(), whole.offset() + start, length);
    }

    ~String_slice() override { release_reference(storage_); }

    void add_reference() noexcept override { references_.fetch_add(1, std::memory_order_relaxed); }
    bool release() noexcept override { return references_.fetch_sub(1, std::memory_order_acq_rel) == 1; }
    std::size_t size() const noexcept override
    {
        return static_cast<std::size_t>(static_cast<const Unit*>(end()) - static_cast<const Unit*>(begin()));
    }
    std::size_t length() const noexcept override { return length_; }
    Code_point at(std::size_t index) const noexcept override
    {
        return index < length_ ? storage_.at(start_ + index) : 0;
    }
    String_storage_interface& storage() noexcept override { return storage_; }
    std::size_t offset() const noexcept override { return start_; }
    Position position(std::size_t index) const noexcept override
    {
        return storage_.position(start_ + (index < length_ ? index : length_));
    }
    Position begin() const noexcept override { return storage_.position(start_); }
    Position end() const noexcept override { return storage_.position(start_ + length_); }
    Code_point next(Position& position) const noexcept override { return storage_.next(position); }
    Code_point previous(Position& position) const noexcept override { return storage_.previous(position); }

private:
    String_slice(String_storage_interface& storage, std::size_t start, std::size_t length) noexcept
        : storage_(storage)
        , start_(start)
        , length_(length)
    {
        storage_.add_reference();
    }

    String_storage_interface& storage_;
    std::size_t start_;
    std::size_t length_;
    Reference_count references_{1};
};

} // namespace qv::string::internal
