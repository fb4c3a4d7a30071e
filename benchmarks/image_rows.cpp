#include <algorithm>
#include <cstdint>
#include <fstream>
#include <random>

#include "benchmarks/child.h"
#include "benchmarks/report.h"

namespace benchmarks {

namespace {

constexpr std::uint32_t image_size = 16U << 20;
constexpr std::uint32_t sector_size = 128U << 10;
constexpr std::uint32_t base = 0x08000000;
constexpr int repeats = 5;

/// Writes Intel HEX records, 16 data bytes each.
class Hex_file {
public:
    explicit Hex_file(const std::string& path)
        : file_(path, std::ios::binary)
    {}

    void put(std::uint32_t address, unsigned type, const std::vector<std::uint8_t>& data)
    {
        std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(data.size()),
                                        static_cast<std::uint8_t>(address >> 8),
                                        static_cast<std::uint8_t>(address), static_cast<std::uint8_t>(type)};
        bytes.insert(bytes.end(), data.begin(), data.end());
        std::uint8_t sum = 0;
        std::string line = ":";
        for (const auto byte : bytes) {
            sum = static_cast<std::uint8_t>(sum + byte);
            append(line, byte);
        }
        append(line, static_cast<std::uint8_t>(-sum));
        file_ << line << '\n';
    }

private:
    static void append(std::string& line, std::uint8_t byte)
    {
        line += "0123456789ABCDEF"[byte >> 4];
        line += "0123456789ABCDEF"[byte & 0xF];
    }

    std::ofstream file_;
};

std::vector<std::uint8_t> big_endian(std::uint32_t value)
{
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

/// The same data with and without the flash layout, which objcopy would refuse.
void write_image(const std::string& path, bool with_layout)
{
    Hex_file file(path);
    for (std::uint32_t sector = 0; with_layout && sector < image_size / sector_size + 1; ++sector) {
        auto range = big_endian(base + sector * sector_size);
        const auto end = big_endian(base + (sector + 1) * sector_size - 1);
        range.insert(range.end(), end.begin(), end.end());
        file.put(sector, 0x10, range);
    }
    std::mt19937 random(1);
    for (std::uint32_t offset = 0; offset < image_size; offset += 16) {
        const auto address = base + offset;
        if ((address & 0xFFFF) == 0) {
            const auto upper = big_endian(address >> 16);
            file.put(0, 0x04, {upper[2], upper[3]});
        }
        std::vector<std::uint8_t> data(16);
        std::generate(data.begin(), data.end(), [&random] { return static_cast<std::uint8_t>(random()); });
        file.put(address & 0xFFFF, 0x00, data);
    }
    file.put(0, 0x01, {});
}

/// The quickest of some runs.
Cost best(const std::vector<std::string>& arguments)
{
    auto result = run(arguments);
    for (int repeat = 1; repeat < repeats; ++repeat) {
        const auto cost = run(arguments);
        result.seconds = std::min(result.seconds, cost.seconds);
        result.peak_mib = std::max(result.peak_mib, cost.peak_mib);
    }
    return result;
}

} // namespace

std::vector<Row> measure_image_parsing(const std::string& folder)
{
    const auto image = folder + "/image.hex";
    const auto plain = folder + "/plain.hex";
    write_image(image, true);
    write_image(plain, false);
    const auto ours = best({FLINTROW_BIN_DIR "/read_image", image});
    const auto other = best({"objcopy", "-I", "ihex", "-O", "binary", plain, folder + "/plain.bin"});
    const double image_mib = image_size / 1048576.0;
    return {{"full parse of a 16 MiB image", figure(ours.seconds * 1000, 0, "ms"),
             "1/3 of objcopy's " + figure(other.seconds * 1000, 0, "ms"), ours.seconds / other.seconds, 1.0 / 3},
            {"the same, peak memory", figure(ours.peak_mib, 1, "MiB"), figure(image_mib + 8, 0, "MiB"),
             ours.peak_mib / (image_mib + 8), 1}};
}

} // namespace benchmarks
