#include "benchmarks/traffic.h"

#include <cstdio>
#include <fstream>

namespace benchmarks {

std::vector<Logged_frame> read_traffic(const std::string& path)
{
    std::vector<Logged_frame> frames;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        const auto hash = line.find('#');
        if (hash == line.npos || hash < 9) {
            continue;
        }
        Logged_frame frame{};
        frame.time = std::stod(line.substr(1));
        frame.identifier = static_cast<std::uint32_t>(std::stoul(line.substr(hash - 8, 8), nullptr, 16));
        for (auto place = hash + 1; place + 1 < line.size(); place += 2) {
            frame.data.push_back(static_cast<std::uint8_t>(std::stoul(line.substr(place, 2), nullptr, 16)));
        }
        frames.push_back(std::move(frame));
    }
    return frames;
}

} // namespace benchmarks
