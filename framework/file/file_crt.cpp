#include "framework/file/file_crt.h"

#include <array>
#include <cerrno>

namespace qv::file {

File_crt::~File_crt() { std::fclose(stream_); }

int File_crt::flush() { return std::fflush(stream_); }

long File_crt::tell() { return std::ftell(stream_); }

bool File_crt::end_of_file() { return std::feof(stream_) != 0; }

std::size_t File_crt::read(void* buffer, std::size_t size, std::size_t count)
{
    return std::fread(buffer, size, count, stream_);
}

char* File_crt::gets(char* buffer, int count) { return std::fgets(buffer, count, stream_); }

int File_crt::seek(long offset, int origin) { return std::fseek(stream_, offset, origin); }

std::size_t File_crt::write(const void* buffer, std::size_t size, std::size_t count)
{
    return std::fwrite(buffer, size, count, stream_);
}

std::string fopen_mode(std::uint32_t mode)
{
    constexpr std::array<const char*, 8> kinds = {nullptr, "r", "r+", "w", "w+", "a", "a+", nullptr};
    const char* const kind = kinds[mode & 7];
    if (kind == nullptr) {
        return {};
    }
    return std::string(kind) + ((mode & mode::text) != 0 ? "t" : "b");
}

std::unique_ptr<Interface> open(const std::string& path, std::uint32_t mode)
{
    const std::string text = fopen_mode(mode);
    if (text.empty()) {
        errno = EINVAL;
        return nullptr;
    }
    // "e": programs that the system runs do not inherit its files.
    std::FILE* const stream = std::fopen(path.c_str(), (text + "e").c_str());
    return stream == nullptr ? nullptr : std::make_unique<File_crt>(stream);
}

} // namespace qv::file
