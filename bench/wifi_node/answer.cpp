#include "bench/wifi_node/answer.h"

#include <algorithm>
#include <charconv>

namespace bench::wifi {
namespace {

struct Word {
    std::string_view text;
    Answer::Kind kind;
};

constexpr Word words[] = {
    {"usual", Answer::Kind::usual},   {"markup", Answer::Kind::markup}, {"endless", Answer::Kind::endless},
    {"silent", Answer::Kind::silent}, {"close", Answer::Kind::close},   {"redirect", Answer::Kind::redirect},
};
constexpr std::string_view body_prefix = "text:";

} // namespace

std::optional<Answer> parse_answer(std::string_view text)
{
    if (text.starts_with(body_prefix)) {
        return Answer{Answer::Kind::body, 200, std::string(text.substr(body_prefix.size()))};
    }
    for (const Word& word : words) {
        if (word.text == text) {
            return Answer{word.kind, 200, {}};
        }
    }
    unsigned status = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), status);
    if (error != std::errc{} || end != text.data() + text.size() || status < 200 || status > 599) {
        return std::nullopt;
    }
    return Answer{Answer::Kind::status, status, {}};
}

Answer Answers::next() { return answers_.empty() ? Answer{} : answers_[std::min(index_++, answers_.size() - 1)]; }

} // namespace bench::wifi
