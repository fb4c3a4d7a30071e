#include "bench/make_update/update_writer.h"

#include <algorithm>

#include "bench/make_update/hex_line.h"

namespace bench::update {

namespace {

/// Collects lines and the sum that their plain text gives for the scrambling.
class Text {
public:
    void put(Type type, std::uint32_t address, std::vector<std::uint8_t> data)
    {
        const auto line = encode({static_cast<std::uint16_t>(address), type, std::move(data)});
        sum = static_cast<std::uint8_t>(sum + plain_sum(line, type));
        text += line + "\n";
    }

    void put_program(const Runs& program, unsigned line_length)
    {
        std::uint32_t upper = 0;
        for (const auto& [start, bytes] : program) {
            for (std::size_t offset = 0; offset < bytes.size();) {
                const auto address = static_cast<std::uint32_t>(start + offset);
                if (address >> 16 != upper) {
                    upper = address >> 16;
                    std::vector<std::uint8_t> data;
                    append_big_endian(data, upper, 2);
                    put(Type::linear_address, 0, std::move(data));
                }
                const auto room = std::min<std::size_t>(line_length, 0x10000 - (address & 0xFFFF));
                const auto count = std::min(room, bytes.size() - offset);
                const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
                put(Type::data, address, {first, first + static_cast<std::ptrdiff_t>(count)});
                offset += count;
            }
        }
    }

    std::string text;
    std::uint8_t sum = 0;
};

} // namespace

std::string write_update(const Update& update)
{
    Text out;
    for (std::size_t index = 0; index < update.sectors.size(); ++index) {
        std::vector<std::uint8_t> data;
        append_big_endian(data, update.sectors[index].start, 4);
        append_big_endian(data, update.sectors[index].end, 4);
        out.put(Type::sector, static_cast<std::uint32_t>(index), std::move(data));
    }
    out.put(Type::version, 0, {update.version.begin(), update.version.end()});
    out.put(Type::encryption, 0, {1});
    out.put_program(update.program, update.line_length);
    out.put(Type::end_of_file, 0, {});
    const auto block = scramble(update.ecu_info, out.sum);
    for (std::size_t offset = 0; offset < block.size(); offset += 16) {
        const auto first = block.begin() + static_cast<std::ptrdiff_t>(offset);
        const auto count = std::min<std::size_t>(16, block.size() - offset);
        out.put(Type::ecu_info, 0, {first, first + static_cast<std::ptrdiff_t>(count)});
    }
    return std::move(out.text);
}

} // namespace bench::update
