#include "bench/make_update/image_input.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "bench/make_update/hex_line.h"

namespace bench::update {

namespace {

/// Takes the records of an Intel HEX file, keeping the upper address.
class Hex_reader {
public:
    bool take(const Line& line, std::string& problem)
    {
        switch (line.type) {
            case Type::data: return add_bytes(runs, upper_ + line.address, line.data, problem);
            case Type::segment_address: upper_ = big_endian(line.data) << 4; return true;
            case Type::linear_address: upper_ = big_endian(line.data) << 16; return true;
            case Type::end_of_file: ended = true; return true;
            case Type::start_segment:
            case Type::start_linear: return true;
            default: problem = "is no record of Intel HEX"; return false;
        }
    }

    Runs runs;
    bool ended = false;

private:
    std::uint32_t upper_ = 0;
};

std::optional<Runs> read_hex(std::istream& file, const std::string& path, std::string& problem)
{
    Hex_reader reader;
    std::string text;
    for (std::size_t number = 1; std::getline(file, text); ++number) {
        while (!text.empty() && text.back() == '\r') {
            text.pop_back();
        }
        if (text.empty()) {
            continue;
        }
        const auto line = text[0] == ':' ? decode(text, problem) : std::nullopt;
        if (!line || !reader.take(*line, problem)) {
            const std::string what = problem.empty() ? "does not begin with ':'" : problem;
            problem = path;
            problem.append(":").append(std::to_string(number)).append(": ").append(what);
            return std::nullopt;
        }
    }
    if (!reader.ended) {
        problem = path + ": has no end of file record; is it whole?";
        return std::nullopt;
    }
    return std::move(reader.runs);
}

} // namespace

bool add_bytes(Runs& runs, std::uint32_t address, const std::vector<std::uint8_t>& bytes, std::string& problem)
{
    if (bytes.empty()) {
        return true;
    }
    const auto end = std::uint64_t{address} + bytes.size();
    if (end > UINT32_MAX) {
        problem = "has data at or beyond 0xffffffff, the end of the address space";
        return false;
    }
    problem = "writes over bytes of an earlier line";
    const auto next = runs.lower_bound(address);
    if (next != runs.end() && next->first < end) {
        return false;
    }
    auto run = next;
    if (run != runs.begin()) {
        --run;
        const auto run_end = run->first + run->second.size();
        if (run_end > address) {
            return false;
        }
        run = run_end == address ? run : runs.end();
    } else {
        run = runs.end();
    }
    if (run == runs.end()) {
        run = runs.emplace_hint(next, address, std::vector<std::uint8_t>());
    }
    run->second.insert(run->second.end(), bytes.begin(), bytes.end());
    if (next != runs.end() && next->first == end) {
        run->second.insert(run->second.end(), next->second.begin(), next->second.end());
        runs.erase(next);
    }
    problem.clear();
    return true;
}

std::optional<Runs> read_program(const std::string& path, std::uint32_t base, std::string& problem)
{
    std::ifstream file(path, std::ios::binary);
    if (!file || file.peek() == std::ifstream::traits_type::eof()) {
        problem = path + ": " + (file.is_open() ? "is empty, or no file" : std::strerror(errno));
        return std::nullopt;
    }
    if (file.peek() == ':') {
        return read_hex(file, path, problem);
    }
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    Runs runs;
    if (!add_bytes(runs, base, bytes, problem)) {
        problem.insert(0, path + ": ");
        return std::nullopt;
    }
    return runs;
}

} // namespace bench::update
