#include "service/wifi/url_data.h"

#include <cstdio>
#include <cstring>

namespace qv::can_bus::flr {

namespace {

constexpr std::size_t first_block = 1024; // bytes

} // namespace

bool url_data::begin() noexcept
{
    size = 0;
    data.reset(static_cast<char*>(std::calloc(first_block, 1)));
    return data != nullptr;
}

std::size_t write_data(const void* bytes, std::size_t size, std::size_t count, url_data* reply) noexcept
{
    const std::size_t added = size * count; // libcurl: at most 16 KiB
    if (added > url_data::limit - reply->size) {
        std::fprintf(stderr, "Reply of more than %u bytes, aborting\n", url_data::limit);
        return 0;
    }
    char* grown = static_cast<char*>(std::realloc(reply->data.get(), reply->size + added + 1));
    if (grown == nullptr) {
        reply->data.reset();
        reply->size = 0;
        std::fputs("Failed to allocate memory.\n", stderr);
        return 0;
    }
    (void)reply->data.release(); // realloc has taken it
    reply->data.reset(grown);
    std::memcpy(grown + reply->size, bytes, added);
    reply->size += static_cast<std::uint32_t>(added);
    grown[reply->size] = '\0';
    return added;
}

} // namespace qv::can_bus::flr
