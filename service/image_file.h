#pragma once

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace qv::can_bus::flr {

/// Test helper: an update image in the making. Each byte of its data follows from its address.
class Image_file {
public:
    struct Run {
        std::uint32_t address;
        std::uint32_t length;
    };

    ~Image_file() { clear(); }
    void clear()
    {
        std::remove(path_.c_str());
        text_.clear();
    }

    static std::uint8_t byte_at(std::uint32_t address) { return static_cast<std::uint8_t>(address * 7 + 1); }

    Image_file& version(const std::string& text) { return record(0, 0x0C, {text.begin(), text.end()}); }
    Image_file& sector(std::uint8_t index, std::uint32_t start, std::uint32_t end)
    {
        std::vector<std::uint8_t> bytes;
        for (const auto word : {start, end}) {
            for (const int shift : {24, 16, 8, 0}) {
                bytes.push_back(static_cast<std::uint8_t>(word >> shift));
            }
        }
        return record(index, 0x10, bytes);
    }
    /// Data below 64 KiB, in records of up to 16 bytes.
    Image_file& data(Run run)
    {
        for (; run.length > 0;) {
            std::vector<std::uint8_t> bytes;
            const auto address = run.address;
            for (; run.length > 0 && bytes.size() < 16; --run.length) {
                bytes.push_back(byte_at(run.address++));
            }
            record(address, 0x00, bytes);
        }
        return *this;
    }
    /// Writes the file, which goes with this object.
    const std::string& save(const std::string& name)
    {
        path_ = testing::TempDir() + "flintrow_" + name + "_" + std::to_string(::getpid()) + ".hex";
        std::ofstream(path_) << text_ << ":00000001FF\n";
        return path_;
    }

private:
    Image_file& record(std::uint32_t address, std::uint8_t type, const std::vector<std::uint8_t>& bytes)
    {
        std::vector<std::uint8_t> all = {static_cast<std::uint8_t>(bytes.size()),
                                         static_cast<std::uint8_t>(address >> 8),
                                         static_cast<std::uint8_t>(address), type};
        all.insert(all.end(), bytes.begin(), bytes.end());
        unsigned sum = 0;
        text_ += ":";
        for (const auto byte : all) {
            append(byte);
            sum += byte;
        }
        append(static_cast<std::uint8_t>(0x100 - (sum & 0xFF)));
        text_ += "\n";
        return *this;
    }
    void append(std::uint8_t byte)
    {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        text_ += digits;
    }

    std::string text_;
    std::string path_;
};

} // namespace qv::can_bus::flr
