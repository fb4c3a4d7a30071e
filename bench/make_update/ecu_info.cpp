#include "bench/make_update/ecu_info.h"

#include <algorithm>
#include <array>

namespace bench::update {

namespace {

constexpr std::size_t value_limit = 32;
constexpr std::string_view part_number = "ECU P/N"; ///< the only key whose values are texts
constexpr std::array<std::string_view, 9> number_keys{"IG", "MN", "ECUi", "VSi",     "FC",
                                                      "VS", "Fi", "SN",   "Prod Fam"};

std::vector<std::string_view> split(std::string_view text)
{
    std::vector<std::string_view> fields;
    for (;;) {
        const auto comma = text.find(',');
        fields.push_back(text.substr(0, comma));
        if (comma == text.npos) {
            return fields;
        }
        text.remove_prefix(comma + 1);
    }
}

std::string quoted(std::string_view text) { return std::string("'").append(text).append("'"); }

/// What is wrong with one entry, its "*" left out; empty when nothing is.
std::string problem_of(std::string_view entry)
{
    const auto fields = split(entry);
    const auto key = fields.front();
    const bool is_number = std::find(number_keys.begin(), number_keys.end(), key) != number_keys.end();
    if (!is_number && key != part_number) {
        return "has the ECU info key " + quoted(key) + ", which is unknown and therefore holds for every ECU";
    }
    if (fields.size() > 1 + value_limit) {
        return "has more than 32 values for " + quoted(key) + " in the ECU info; the others are not looked at";
    }
    const auto wrong = std::find_if(fields.begin() + 1, fields.end(), [](std::string_view value) {
        return value.find_first_not_of("0123456789") != value.npos;
    });
    return is_number && wrong != fields.end()
               ? "has the value " + quoted(*wrong) + " for " + quoted(key) + ", which is no decimal number"
               : "";
}

} // namespace

std::vector<Ecu_info_problem> find_problems(std::string_view ecu_info)
{
    std::vector<Ecu_info_problem> problems;
    for (std::size_t place = 0; place < ecu_info.size();) {
        const auto end = std::min(ecu_info.find('*', place), ecu_info.size());
        if (auto words = problem_of(ecu_info.substr(place, end - place)); !words.empty()) {
            problems.push_back({place, std::move(words)});
        }
        place = end + 1;
    }
    return problems;
}

} // namespace bench::update
