#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

namespace qv {

/// A byte buffer whose contents are set whole. Up to 8 bytes, the payload of a CAN frame, lie inside the
/// object; more are allocated. A failed allocation leaves an empty buffer and answers false; nothing throws.
class Byte_array_fix {
public:
    static constexpr std::uint32_t inline_capacity = 8;

    Byte_array_fix() noexcept = default;
    explicit Byte_array_fix(std::span<const std::uint8_t> source);
    Byte_array_fix(const Byte_array_fix& other);
    Byte_array_fix(Byte_array_fix&& other) noexcept;
    Byte_array_fix& operator=(const Byte_array_fix& other);
    Byte_array_fix& operator=(Byte_array_fix&& other) noexcept;
    virtual ~Byte_array_fix();

    /// Makes the buffer `size` bytes long; the old contents are lost and the new ones undefined.
    virtual bool resize(std::uint32_t size);
    /// Copies `size` bytes of `source`, which may lie inside this buffer. A null `source` with a `size` above 0
    /// leaves an empty buffer and answers false.
    virtual bool assign(const std::uint8_t* source, std::uint32_t size);
    virtual void clear() noexcept;

    /// A buffer that refers to `source` without owning it; valid for as long as that range.
    static Byte_array_fix view(std::span<const std::uint8_t> source) noexcept;

    /// First byte, or null after construction and after `clear`.
    const std::uint8_t* data() const noexcept { return data_; }
    std::uint32_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    bool on_heap() const noexcept { return on_heap_; }
    std::span<const std::uint8_t> bytes() const noexcept { return {data_, size_}; }
    /// The byte at `index`, which must be below `size`.
    std::uint8_t operator[](std::size_t index) const noexcept { return data_[index]; }

    /// Exchanges contents: heap blocks and foreign ranges by pointer, inline bytes by copy.
    void swap(Byte_array_fix& other) noexcept;

protected:
    std::uint8_t* storage() noexcept { return const_cast<std::uint8_t*>(data_); }

private:
    bool is_inline() const noexcept { return data_ == inline_data_.data(); }
    void release() noexcept;

    std::array<std::uint8_t, inline_capacity> inline_data_{};
    const std::uint8_t* data_ = nullptr; ///< null, `inline_data_`, an owned block, or a foreign range
    std::uint32_t size_ = 0;
    bool on_heap_ = false; ///< `data_` was allocated here and is freed with the buffer
};

bool operator==(const Byte_array_fix& left, const Byte_array_fix& right) noexcept;

/// A byte buffer that can be written in place. `assign` keeps the storage when the size stays the same.
class Byte_array final : public Byte_array_fix {
public:
    Byte_array() noexcept = default;
    explicit Byte_array(std::span<const std::uint8_t> source);
    Byte_array(std::initializer_list<std::uint8_t> source);
    Byte_array(const Byte_array& other);
    Byte_array(Byte_array&& other) noexcept;
    Byte_array& operator=(const Byte_array& other);
    Byte_array& operator=(Byte_array&& other) noexcept;
    ~Byte_array() override = default;

    bool assign(const std::uint8_t* source, std::uint32_t size) override;
    void swap(Byte_array& other) noexcept;

    /// First byte for writing, always the same place as `data`.
    std::uint8_t* begin() noexcept { return storage(); }
    std::span<std::uint8_t> writable() noexcept { return {storage(), size()}; }
};

} // namespace qv
