#pragma once

#include <cstddef>
#include <cstdint>

#include "framework/byte_array.h"

namespace qv::file {

/// An open file. The results are those of the C library's functions of the same names.
///
/// Thread: one at a time.
class Interface {
public:
    Interface() = default;
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;
    virtual ~Interface() = default;

    /// 0 when everything written has left the program.
    virtual int flush() = 0;
    /// The position in bytes; -1 on failure.
    virtual long tell() = 0;
    /// The length in bytes; -1 when the file cannot be searched. The position stays.
    virtual long size();
    /// Whether a read has met the end.
    virtual bool end_of_file() = 0;
    /// Reads up to `count` items of `size` bytes; the number of whole items that came.
    virtual std::size_t read(void* buffer, std::size_t size, std::size_t count) = 0;
    /// Reads a line of at most `count` - 1 characters, its line feed included; null at the end.
    virtual char* gets(char* buffer, int count) = 0;
    /// `origin` is SEEK_SET, SEEK_CUR or SEEK_END; 0 on success.
    virtual int seek(long offset, int origin) = 0;
    /// Writes `count` items of `size` bytes; the number of whole items that went.
    virtual std::size_t write(const void* buffer, std::size_t size, std::size_t count) = 0;
};

/// Formats into a buffer of 1024 bytes and writes what stands there, so that a longer text is cut. Returns what
/// `vsnprintf` gave, the full length, or 0 when the write was short.
int printf(Interface& file, const char* format, ...) __attribute__((format(printf, 2, 3)));
/// The same with a buffer of `buffer_size` bytes.
int printf(Interface& file, std::size_t buffer_size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// Fills `array` from the present position with all that is left, up to `max_size` bytes. False, with an empty
/// `array`, when not all of that came.
[[nodiscard]] bool read_into(Interface& file, Byte_array& array, std::uint32_t max_size);

} // namespace qv::file
