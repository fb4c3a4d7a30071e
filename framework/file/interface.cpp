#include "framework/file/interface.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>
#include <span>

namespace qv::file {

namespace {

int print(Interface& file, std::span<char> buffer, const char* format, std::va_list arguments)
{
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): started by the caller
    const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    if (length <= 0 || buffer.empty()) {
        return length;
    }
    const std::size_t kept = std::min(static_cast<std::size_t>(length), buffer.size() - 1);
    return file.write(buffer.data(), 1, kept) == kept ? length : 0;
}

} // namespace

long Interface::size()
{
    const long position = tell();
    if (position < 0 || seek(0, SEEK_END) != 0) {
        return -1;
    }
    const long end = tell();
    return seek(position, SEEK_SET) == 0 ? end : -1;
}

int printf(Interface& file, const char* format, ...)
{
    std::array<char, 1024> buffer;
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print(file, buffer, format, arguments);
    va_end(arguments);
    return length;
}

int printf(Interface& file, std::size_t buffer_size, const char* format, ...)
{
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[buffer_size]);
    if (buffer == nullptr) {
        return 0;
    }
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print(file, {buffer.get(), buffer_size}, format, arguments);
    va_end(arguments);
    return length;
}

bool read_into(Interface& file, Byte_array& array, std::uint32_t max_size)
{
    array.clear();
    const long position = file.tell();
    const long size = file.size();
    if (position < 0 || size < position) { // a pipe, say, has neither
        return false;
    }
    const auto wanted = static_cast<std::uint32_t>(std::min<long>(size - position, max_size));
    if (!array.resize(wanted) || file.read(array.begin(), 1, wanted) != wanted) {
        array.clear();
        return false;
    }
    return true;
}

} // namespace qv::file
