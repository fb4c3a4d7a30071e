#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace fuzz {

/// A regular file in memory that holds the fuzzer's input, for code that wants a path.
class Input_file {
public:
    Input_file(const std::uint8_t* data, std::size_t size)
        : descriptor_(::memfd_create("input", MFD_CLOEXEC))
        , path_("/proc/self/fd/" + std::to_string(descriptor_))
    {
        while (size > 0) {
            const auto count = ::write(descriptor_, data, size);
            if (count <= 0) {
                break;
            }
            data += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    ~Input_file() { ::close(descriptor_); }
    Input_file(const Input_file&) = delete;
    Input_file& operator=(const Input_file&) = delete;

    const std::string& path() const noexcept { return path_; }

private:
    int descriptor_;
    std::string path_;
};

/// Sends what the code under test prints to nowhere.
inline void silence_output()
{
    static const bool done = [] {
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nowhere, STDOUT_FILENO);
        return true;
    }();
    static_cast<void>(done);
}

} // namespace fuzz
