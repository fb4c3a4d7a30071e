#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "framework/file/interface.h"

namespace qv::file {

/// How a file is opened: one of the first six, and `text` added at will. The names are those of `fopen`'s modes.
namespace mode {
inline constexpr std::uint32_t read = 1;          ///< "r"
inline constexpr std::uint32_t update = 2;        ///< "r+"
inline constexpr std::uint32_t write = 3;         ///< "w"
inline constexpr std::uint32_t write_update = 4;  ///< "w+"
inline constexpr std::uint32_t append = 5;        ///< "a"
inline constexpr std::uint32_t append_update = 6; ///< "a+"
inline constexpr std::uint32_t text = 8;          ///< "t" behind it instead of "b"
} // namespace mode

/// A file of the C library, closed with the object.
class File_crt final : public Interface {
public:
    /// Takes the open `stream`.
    explicit File_crt(std::FILE* stream) noexcept
        : stream_(stream)
    {}
    ~File_crt() override;

    int flush() override;
    long tell() override;
    bool end_of_file() override;
    std::size_t read(void* buffer, std::size_t size, std::size_t count) override;
    char* gets(char* buffer, int count) override;
    int seek(long offset, int origin) override;
    std::size_t write(const void* buffer, std::size_t size, std::size_t count) override;

private:
    std::FILE* stream_;
};

/// The mode text of `fopen` for a `mode`; empty when there is none.
std::string fopen_mode(std::uint32_t mode);
/// Opens a file; empty, with `errno` set by the system, when that fails.
std::unique_ptr<Interface> open(const std::string& path, std::uint32_t mode);

} // namespace qv::file
