#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "framework/string/convert.h"
#include "framework/string/decode.h"
#include "framework/string/string_storage.h"

namespace qv::string {

/// Asks for the null string, which is another value than the empty one.
struct Null {};
inline constexpr Null null{};

/// A handle on shared, immutable text in the encoding of `Unit`: one pointer, cheap to copy. It indexes by code
/// point, shares its storage with its slices, and has three kinds of value: empty, null, and a counted reference.
///
/// Where memory ends the string is empty. What the encoding lacks becomes "?" (ASCII) or ends the text there.
///
/// Thread: the handle belongs to one thread; handles on the same storage may belong to several.
template <class Unit> class String {
    using Interface = internal::String_storage_interface;

public:
    using Code_unit = Unit;

    /// Reads the code points in order. The string outlives it.
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Code_point;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Code_point;

        Iterator(const Interface* storage, Interface::Position position) noexcept
            : storage_(storage)
            , position_(position)
        {}
        Code_point operator*() const noexcept
        {
            auto reading = position_;
            return storage_->next(reading);
        }
        Iterator& operator++() noexcept
        {
            storage_->next(position_);
            return *this;
        }
        bool operator==(const Iterator& other) const noexcept { return position_ == other.position_; }

    private:
        const Interface* storage_;
        Interface::Position position_;
    };

    String() noexcept = default;
    String(Null) noexcept
        : value_(null_value)
    {}
    explicit String(const Code_point_container& code_points) noexcept
        : value_(value_of(internal::String_storage<Unit>::create(code_points)))
    {}
    /// `utf_8` ends at its terminator, or where it isn't UTF-8. Null gives the null string.
    String(const char* utf_8)
        : String(utf_8 == nullptr ? String(null) : String(std::string_view(utf_8)))
    {}
    /// `length` bytes of UTF-8, which may hold zeros; ends early where they aren't UTF-8.
    String(const char* utf_8, std::size_t length)
        : String(std::string_view(utf_8, length))
    {}
    explicit String(const std::string& utf_8)
        : String(std::string_view(utf_8))
    {}
    /// The same text in this encoding; null stays null.
    template <class Other> explicit String(const String<Other>& other)
    {
        if (other.is_null()) {
            value_ = null_value;
            return;
        }
        Code_point_container code_points;
        code_points.append(other.begin(), other.end());
        value_ = value_of(internal::String_storage<Unit>::create(code_points));
    }

    String(const String& other) noexcept
        : value_(other.value_)
    {
        add_reference();
    }
    String(String&& other) noexcept
        : value_(std::exchange(other.value_, empty_value))
    {}
    String& operator=(const String& other) noexcept
    {
        String(other).swap(*this);
        return *this;
    }
    String& operator=(String&& other) noexcept
    {
        String(std::move(other)).swap(*this);
        return *this;
    }
    ~String() { release(); }
    void swap(String& other) noexcept { std::swap(value_, other.value_); }

    /// The length in code units; 0 for the empty and the null string.
    std::size_t size() const noexcept { return has_storage() ? storage().size() : 0; }
    /// The length in code points.
    std::size_t length() const noexcept { return has_storage() ? storage().length() : 0; }
    bool is_empty() const noexcept { return size() == 0; }
    bool is_null() const noexcept { return value_ == null_value; }
    /// 0 when `index` is not below the length. Walks from the start in UTF-8 and UTF-16: loops go by the iterator.
    Code_point at(std::size_t index) const noexcept { return has_storage() ? storage().at(index) : 0; }
    Iterator begin() const noexcept { return iterator(&Interface::begin); }
    Iterator end() const noexcept { return iterator(&Interface::end); }

    /// Up to `count` code points from `start` on, in shared storage. Empty when there are none, null of null.
    String slice(std::size_t start, std::ptrdiff_t count) const noexcept
    {
        String result;
        if (is_null()) {
            result.value_ = null_value;
        } else if (count >= 1 && start < length()) {
            const std::size_t left = length() - start;
            const auto wanted = static_cast<std::size_t>(count);
            result.value_ =
                value_of(internal::String_slice<Unit>::create(storage(), start, wanted < left ? wanted : left));
        }
        return result;
    }

    /// Whether both have their text in the same place of memory.
    bool shares_storage_with(const String& other) const noexcept
    {
        return has_storage() && other.has_storage() && &storage().storage() == &other.storage().storage();
    }

    /// One byte a code point, "?" for each above 127.
    std::string to_printable_string() const { return internal::Functor_convert_to_printable_string()(*this); }
    std::string to_utf_8_string() const
    {
        if constexpr (std::is_same_v<Unit, Utf_8_unit>) {
            return std::string(units(), units() + size()); // as it is stored
        } else {
            return internal::Functor_convert_to_utf_8()(*this);
        }
    }

    /// The same code points; null equals null alone.
    bool operator==(const String& other) const noexcept
    {
        if (is_null() || other.is_null() || length() != other.length()) {
            return is_null() && other.is_null();
        }
        return value_ == other.value_ || std::equal(begin(), end(), other.begin());
    }

    /// The first code unit, `size()` of them; null without text.
    const Unit* units() const noexcept
    {
        return has_storage() ? static_cast<const Unit*>(storage().begin()) : nullptr;
    }

private:
    static constexpr std::uintptr_t empty_value = 0;
    static constexpr std::uintptr_t null_value = std::numeric_limits<std::uintptr_t>::max();

    explicit String(std::string_view utf_8)
    {
        Code_point_container code_points;
        internal::decode_utf_8(utf_8, code_points);
        value_ = value_of(internal::String_storage<Unit>::create(code_points));
    }

    static std::uintptr_t value_of(Interface* storage) noexcept
    {
        return reinterpret_cast<std::uintptr_t>(storage);
    }

    bool has_storage() const noexcept { return value_ != empty_value && value_ != null_value; }
    Interface& storage() const noexcept { return *reinterpret_cast<Interface*>(value_); }
    Iterator iterator(Interface::Position (Interface::*place)() const noexcept) const noexcept
    {
        return has_storage() ? Iterator(&storage(), (storage().*place)()) : Iterator(nullptr, nullptr);
    }
    void add_reference() noexcept
    {
        if (has_storage()) {
            storage().add_reference();
        }
    }
    void release() noexcept
    {
        if (has_storage()) {
            internal::release_reference(storage());
        }
    }

    std::uintptr_t value_ = empty_value;
};

using Ascii_string = String<Ascii_unit>;
using Utf_8_string = String<Utf_8_unit>;
using Utf_16_string = String<Utf_16_unit>;
using Utf_32_string = String<Utf_32_unit>;

/// The byte order mark that opens a file in UTF-8.
namespace bom {
inline constexpr const char* utf_8 = "\xEF\xBB\xBF";
}

} // namespace qv::string
