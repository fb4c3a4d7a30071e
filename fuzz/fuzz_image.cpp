// Reads the input as an update image in both depths, prints it, and walks what it holds.

#include <cstdlib>

#include "fuzz/input_file.h"
#include "service/hex_parser.h"

using qv::can_bus::flr::HexParser;

namespace {

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

void examine(const HexParser& parser)
{
    std::uint64_t bytes = 0;
    for (const auto* block = parser.first_block(); block != nullptr; block = block->next) {
        require(block->end >= block->start && block->size() <= block->capacity);
        for (std::uint32_t index = 0; index < block->size(); ++index) {
            bytes += block->buffer.get()[index] >= 0 ? 1 : 0;
        }
        parser.sector_end_of(block->start);
    }
    require(bytes == parser.data_size());
    std::uint32_t dirty = 0;
    for (const auto* table = parser.first_table(); table != nullptr; table = table->next) {
        for (const auto& sector : table->sectors) {
            dirty += sector.dirty ? 1 : 0;
        }
    }
    require(dirty == parser.dirty_sector_count());
    parser.matches(0xA000170012E20000, "A1000,x");
    parser.print_full();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::silence_output();
    const fuzz::Input_file file(data, size);
    for (const bool header_only : {true, false}) {
        HexParser parser;
        if (parser.parse(file.path(), header_only) == 0) {
            examine(parser);
        }
    }
    return 0;
}
