#include "framework/byte_array.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace qv {

Byte_array_fix::Byte_array_fix(std::span<const std::uint8_t> source)
{
    Byte_array_fix::assign(source.data(), static_cast<std::uint32_t>(source.size()));
}

Byte_array_fix::Byte_array_fix(const Byte_array_fix& other)
    : Byte_array_fix()
{
    if (other.data_ != nullptr) {
        Byte_array_fix::assign(other.data_, other.size_);
    }
}

Byte_array_fix::Byte_array_fix(Byte_array_fix&& other) noexcept { swap(other); }

Byte_array_fix& Byte_array_fix::operator=(const Byte_array_fix& other)
{
    if (this == &other) {
        return *this;
    }
    if (other.data_ == nullptr) {
        clear();
    } else {
        assign(other.data_, other.size_);
    }
    return *this;
}

Byte_array_fix& Byte_array_fix::operator=(Byte_array_fix&& other) noexcept
{
    Byte_array_fix taken(std::move(other));
    swap(taken);
    return *this;
}

Byte_array_fix::~Byte_array_fix() { release(); }

bool Byte_array_fix::resize(std::uint32_t size)
{
    release();
    if (size <= inline_capacity) {
        data_ = inline_data_.data();
        size_ = size;
        return true;
    }
    data_ = new (std::nothrow) std::uint8_t[size];
    if (data_ == nullptr) {
        return false;
    }
    size_ = size;
    on_heap_ = true;
    return true;
}

bool Byte_array_fix::assign(const std::uint8_t* source, std::uint32_t size)
{
    if (source == nullptr && size != 0) {
        release();
        return false;
    }
    Byte_array_fix copied; // made before the old storage goes, as `source` may point into it
    const bool made = copied.resize(size);
    if (made && size != 0) {
        std::memcpy(copied.storage(), source, size);
    }
    swap(copied);
    return made;
}

void Byte_array_fix::clear() noexcept { release(); }

Byte_array_fix Byte_array_fix::view(std::span<const std::uint8_t> source) noexcept
{
    Byte_array_fix result;
    result.data_ = source.data();
    result.size_ = static_cast<std::uint32_t>(source.size());
    return result;
}

void Byte_array_fix::swap(Byte_array_fix& other) noexcept
{
    const bool was_inline = is_inline();
    const bool other_was_inline = other.is_inline();
    std::swap(inline_data_, other.inline_data_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(on_heap_, other.on_heap_);
    if (other_was_inline) {
        data_ = inline_data_.data();
    }
    if (was_inline) {
        other.data_ = other.inline_data_.data();
    }
}

void Byte_array_fix::release() noexcept
{
    if (on_heap_) {
        delete[] data_;
    }
    data_ = nullptr;
    size_ = 0;
    on_heap_ = false;
}

bool operator==(const Byte_array_fix& left, const Byte_array_fix& right) noexcept
{
    return std::ranges::equal(left.bytes(), right.bytes());
}

Byte_array::Byte_array(std::span<const std::uint8_t> source)
    : Byte_array_fix(source)
{}

Byte_array::Byte_array(std::initializer_list<std::uint8_t> source)
    : Byte_array_fix(std::span<const std::uint8_t>(source.begin(), source.size()))
{}

Byte_array::Byte_array(const Byte_array& other)
    : Byte_array_fix(other)
{}

Byte_array::Byte_array(Byte_array&& other) noexcept
    : Byte_array_fix(std::move(other))
{}

Byte_array& Byte_array::operator=(const Byte_array& other)
{
    Byte_array_fix::operator=(other);
    return *this;
}

Byte_array& Byte_array::operator=(Byte_array&& other) noexcept
{
    Byte_array_fix::operator=(std::move(other));
    return *this;
}

bool Byte_array::assign(const std::uint8_t* source, std::uint32_t new_size)
{
    if (data() == nullptr || source == nullptr || new_size != size()) {
        return Byte_array_fix::assign(source, new_size);
    }
    std::memmove(storage(), source, new_size);
    return true;
}

void Byte_array::swap(Byte_array& other) noexcept { Byte_array_fix::swap(other); }

} // namespace qv
