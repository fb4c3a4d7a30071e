#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench::wifi {

/// How the node answers one request.
struct Answer {
    enum class Kind {
        usual,    ///< as a good node does
        status,   ///< with this HTTP status and nothing else
        body,     ///< with this text and status 200
        markup,   ///< as usual, and a page of mark-up behind it
        endless,  ///< with a text that never ends
        silent,   ///< never
        close,    ///< by the end of the connection
        redirect, ///< by the advice to ask again at the same place
    };
    Kind kind = Kind::usual;
    unsigned status = 200;
    std::string body;
};

/// Words that `parse_answer` knows, for a help text.
inline constexpr const char* answer_words =
    "usual, markup, endless, silent, close, redirect, an HTTP status, or text:BODY";

[[nodiscard]] std::optional<Answer> parse_answer(std::string_view text);

/// The answers to the requests for one resource in turn; the last one serves for all that follow.
class Answers {
public:
    void add(Answer answer) { answers_.push_back(std::move(answer)); }
    [[nodiscard]] Answer next();

private:
    std::vector<Answer> answers_;
    std::size_t index_ = 0;
};

} // namespace bench::wifi
