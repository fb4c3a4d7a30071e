#include "config/xml.h"

#include <algorithm>
#include <memory>
#include <type_traits>

#include <expat.h>
#include <sys/stat.h>

#include "framework/file/file_crt.h"
#include "framework/file/root.h"

namespace qv::xml {

static_assert(std::is_same_v<XML_Char, char>, "handlers take the UTF-8 form of Expat");

namespace {

/// Opens a regular file. Anything else could be endless, or block the one who opens it.
std::unique_ptr<file::Interface> open_regular(const std::string& path)
{
    const std::string place = file::rooted(path);
    struct stat status = {};
    if (::stat(place.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return nullptr;
    }
    return file::open(place, file::mode::read);
}

Parser& self(void* parser) { return *static_cast<Parser*>(parser); }

} // namespace

Parser::Parser()
    : parser_(XML_ParserCreate(nullptr))
{}

Parser::~Parser() { XML_ParserFree(parser_); }

bool Parser::initialise(Handler& handler)
{
    if (parser_ == nullptr || XML_ParserReset(parser_, nullptr) == XML_FALSE) {
        return false;
    }
    depth_ = 0;
    refused_ = false;
    handler_ = &handler;
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, &Parser::on_element_start, &Parser::on_element_end);
    XML_SetCharacterDataHandler(parser_, &Parser::on_character_data);
    XML_SetStartDoctypeDeclHandler(parser_, &Parser::on_document_type);
    return true;
}

/// A handler that stopped the parser had what it wanted; a document that was refused has failed.
bool Parser::succeeded(bool parsed) const noexcept
{
    return parsed || (!refused_ && XML_GetErrorCode(parser_) == XML_ERROR_ABORTED);
}

void Parser::refuse() noexcept
{
    refused_ = true;
    XML_StopParser(parser_, XML_FALSE);
}

bool Parser::parse(std::string_view document)
{
    if (document.size() > static_cast<std::size_t>(file_size_max)) {
        return false;
    }
    return succeeded(XML_Parse(parser_, document.data(), static_cast<int>(document.size()), XML_TRUE) ==
                     XML_STATUS_OK);
}

bool Parser::parse_file(const std::string& path, std::size_t block_size, log::Level level, log::Client client)
{
    const auto input = open_regular(path);
    if (input == nullptr) {
        log::write(level, client, "file open error %s", path.c_str());
        return false;
    }
    const std::int64_t size = input->size();
    if (size < 0 || size > file_size_max) {
        log::write(level, client, "file read error %s", path.c_str());
        return false;
    }
    for (auto left = static_cast<std::size_t>(size); left > 0;) {
        void* buffer = XML_GetBuffer(parser_, static_cast<int>(block_size));
        if (buffer == nullptr) {
            log::write(level, client, "out of memory");
            return false;
        }
        const std::size_t count = std::min(block_size, left);
        if (input->read(buffer, 1, count) != count) {
            log::write(level, client, "file read error %s", path.c_str());
            return false;
        }
        left -= count;
        if (XML_ParseBuffer(parser_, static_cast<int>(count), left == 0 ? XML_TRUE : XML_FALSE) != XML_STATUS_OK) {
            const bool wanted = succeeded(false);
            if (!wanted) {
                log::write(level, client, "xml parse error %lu", static_cast<unsigned>(error()));
            }
            return wanted;
        }
    }
    return true;
}

unsigned long Parser::error() const noexcept { return static_cast<unsigned long>(XML_GetErrorCode(parser_)); }

const char* Parser::error_text() const noexcept { return XML_ErrorString(XML_GetErrorCode(parser_)); }

unsigned long long Parser::line() const noexcept { return XML_GetCurrentLineNumber(parser_); }

void Parser::on_element_start(void* parser, const char* name, const char** attributes)
{
    Parser& own = self(parser);
    if (own.depth_ == depth_max) {
        return own.refuse();
    }
    own.handler_->on_element_start(name, attributes);
    ++own.depth_;
}

void Parser::on_element_end(void* parser, const char* name)
{
    Parser& own = self(parser);
    if (own.depth_ > 0) {
        --own.depth_;
    }
    own.handler_->on_element_end(name);
}

void Parser::on_character_data(void* parser, const char* text, int length)
{
    self(parser).handler_->on_character_data({text, static_cast<std::size_t>(length)});
}

void Parser::on_document_type(void* parser, const char* /*name*/, const char* /*system_id*/,
                              const char* /*public_id*/, int /*has_internal_subset*/)
{
    self(parser).refuse();
}

} // namespace qv::xml
