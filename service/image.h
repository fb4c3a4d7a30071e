#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

namespace qv::can_bus::flr {

/// One erasable piece of an ECU's flash memory.
struct Flash_sector {
    bool exists = false;
    bool dirty = false;      ///< holds data of the image and is to be erased
    std::uint32_t start = 0; ///< first byte address
    std::uint32_t end = 0;   ///< last byte address
};

/// The sectors of one flash memory, by their index.
struct Flash_table {
    static constexpr std::size_t sector_count = 256;

    void define(std::size_t index, std::uint32_t start, std::uint32_t end);

    std::uint32_t low = UINT32_MAX; ///< lowest sector start ever defined
    std::uint32_t high = 0;         ///< highest sector end ever defined
    std::array<Flash_sector, sector_count> sectors{};
    Flash_table* next = nullptr;
};

/// A run of bytes without a gap. Bytes that were never written are 0xFF.
struct Data_block {
    static constexpr std::uint32_t first_capacity = 256;
    static constexpr std::uint32_t growth = 8192;
    struct Free {
        void operator()(std::uint8_t* memory) const noexcept { std::free(memory); }
    };

    /// Appends bytes, at most `first_capacity` of them. Without memory the process ends with status 1.
    void append(std::span<const std::uint8_t> bytes);
    std::uint32_t size() const noexcept { return end - start; }

    std::uint32_t capacity = 0; ///< bytes allocated
    std::unique_ptr<std::uint8_t, Free> buffer;
    std::uint32_t start = 0; ///< address of the first byte
    std::uint32_t end = 0;   ///< address behind the last byte
    Data_block* next = nullptr;
};

/// A singly linked list that owns its elements, which stay where they are.
template <class T> class Chain {
public:
    Chain() = default;
    ~Chain()
    {
        while (first_ != nullptr) {
            const std::unique_ptr<T> doomed(first_);
            first_ = doomed->next;
        }
    }
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;

    T& append()
    {
        auto* element = new T;
        (last_ == nullptr ? first_ : last_->next) = element;
        last_ = element;
        ++count_;
        return *element;
    }
    T* first() const noexcept { return first_; }
    T* last() const noexcept { return last_; }
    std::uint32_t count() const noexcept { return count_; }

private:
    T* first_ = nullptr;
    T* last_ = nullptr;
    std::uint32_t count_ = 0;
};

/// What an update file puts into an ECU: the layout of its flash and the bytes to write.
class Image {
public:
    /// More tables than any ECU has; a file that defines more is refused.
    static constexpr std::uint32_t table_limit = 64;
    /// More runs of data than any image has, as each takes memory of its own.
    static constexpr std::uint32_t block_limit = 65536;

    /// A sector of the last table; index 0 opens a new one. False, with nothing changed, for an index beyond
    /// the table, without a table to write into, and beyond `table_limit`.
    [[nodiscard]] bool define_sector(std::size_t index, std::uint32_t start, std::uint32_t end);
    /// Adds the bytes of one data record and marks the sectors that they touch. `address` + size must not
    /// exceed 32 bits. False, with nothing changed, beyond `block_limit`.
    [[nodiscard]] bool add_data(std::uint32_t address, std::span<const std::uint8_t> bytes);

    /// The index of the first existing sector with start <= `address` < end, or -1. The last byte of a sector
    /// is in none by this test.
    int sector_index_of(std::uint32_t address) const;
    /// The end of that sector, or 0.
    std::uint32_t sector_end_of(std::uint32_t address) const;

    const Chain<Flash_table>& tables() const noexcept { return tables_; }
    const Chain<Data_block>& blocks() const noexcept { return blocks_; }
    std::uint32_t data_size() const noexcept { return data_size_; }
    std::uint32_t dirty_sector_count() const noexcept { return dirty_sector_count_; }
    /// Sum of the records' data as little-endian 32-bit numbers, each record on its own.
    std::uint32_t data_checksum() const noexcept { return data_checksum_; }

private:
    /// Records mostly follow each other within one sector. As long as they do, the sector found for the last
    /// one is also the first that holds the next: earlier sectors that ended too soon still do, and none that
    /// began behind `address` begins before `until`.
    struct Last_single {
        bool covers(std::uint32_t record_address, std::uint32_t record_limit) const noexcept
        {
            return address <= record_address && record_address < until && limit <= record_limit &&
                   record_limit < end;
        }
        std::uint32_t address = 0;
        std::uint32_t limit = 0; ///< behind the record
        std::uint32_t until = 0; ///< 0 covers nothing
        std::uint32_t end = 0;   ///< of the sector
    };

    void mark_sectors(std::uint32_t address, std::uint32_t length);
    bool mark_single(std::uint32_t address, std::uint32_t limit);
    bool mark_pair(std::uint32_t address, std::uint32_t limit);
    void mark(Flash_sector& sector) noexcept;
    const Flash_sector* find_sector(std::uint32_t address, int& index) const;

    Chain<Flash_table> tables_;
    Chain<Data_block> blocks_;
    std::uint32_t data_size_ = 0;
    std::uint32_t dirty_sector_count_ = 0;
    std::uint32_t data_checksum_ = 0;
    Last_single last_single_;
};

} // namespace qv::can_bus::flr
