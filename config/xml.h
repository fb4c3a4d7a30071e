#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "framework/log/hook.h"

struct XML_ParserStruct;

namespace qv::xml {

inline constexpr const char* header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
inline constexpr const char* end_of_line = "\r\n";

/// Receives the events of one document.
class Handler {
public:
    virtual ~Handler() = default;
    /// A piece of the text between tags; one text may come in several.
    virtual void on_character_data(std::string_view /*text*/) {}
    virtual void on_element_end(const char* name) = 0;
    /// `attributes` alternates names and values and ends with null.
    virtual void on_element_start(const char* name, const char** attributes) = 0;
};

/// One Expat parser.
///
/// Documents are small and come from a file that anybody may have damaged, so it refuses what a document of
/// this system never holds: a document type declaration, which is where entities could multiply, nesting
/// beyond `depth_max`, and files beyond `file_size_max`. A refused document is one that does not parse.
class Parser {
public:
    static constexpr std::size_t depth_max = 128;
    static constexpr std::int64_t file_size_max = std::int64_t{4} * 1024 * 1024;

    Parser();
    ~Parser();
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    /// Begins a new document for `handler`, which outlives it.
    [[nodiscard]] bool initialise(Handler& handler);
    /// Parses a whole document from memory.
    [[nodiscard]] bool parse(std::string_view document);
    /// Parses a file in blocks of `block_size`. An empty file succeeds without an event. Failures are logged at
    /// `level` for `client`.
    [[nodiscard]] bool parse_file(const std::string& path, std::size_t block_size, log::Level level,
                                  log::Client client);

    /// How many elements are open.
    std::size_t depth() const noexcept { return depth_; }
    /// Expat's code for what failed, its text, and the line.
    unsigned long error() const noexcept;
    const char* error_text() const noexcept;
    unsigned long long line() const noexcept;

    // What Expat calls; `parser` is a Parser.
    static void on_element_start(void* parser, const char* name, const char** attributes);
    static void on_element_end(void* parser, const char* name);
    static void on_character_data(void* parser, const char* text, int length);
    static void on_document_type(void* parser, const char* name, const char* system_id, const char* public_id,
                                 int has_internal_subset);

private:
    bool succeeded(bool parsed) const noexcept;
    void refuse() noexcept;

    std::size_t depth_ = 0;
    XML_ParserStruct* parser_;
    Handler* handler_ = nullptr;
    bool refused_ = false;
};

} // namespace qv::xml
