#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "config/object.h"
#include "framework/file/interface.h"

namespace qv::config::serialization {

/// Writes a tree to a file beside the document and puts it in the document's place once it is whole, so that
/// the document is always the old or the new one, whenever the power goes away.
struct Writer {
    std::unique_ptr<file::Interface> output;
    std::string file_path; ///< of the document, as the user knows it
    const Object* root;    ///< null writes a document without an element
    bool ok = true;        ///< cleared by the first output that fails; nothing is written from then on

    /// False when the document stayed as it was.
    [[nodiscard]] bool write();

private:
    void put(const char* text);
    void put_limited(const std::string& text);
    void put_tabs(std::size_t count);
    void put_node(const Object& node, std::size_t level);
    void put_key(const Key& key, std::size_t level);
    void put_document();
};

} // namespace qv::config::serialization
