#pragma once

#include <string>
#include <vector>

#include "config/configuration.h"
#include "config/xml.h"

namespace qv::config::serialization {

/// Builds a tree from the events of a document: an element is a node, an attribute "name_c" a key of the type
/// with the letter c. Nodes and keys come out in the order of the document, unsorted.
class Reader final : public xml::Handler {
public:
    /// Fills the root of `target`, which is absent and outlives the reader.
    Reader(Configuration& target, std::string file_name);

    /// False when the document cannot be opened or does not parse, or when an attribute stands for no key.
    [[nodiscard]] bool read();

    void on_element_end(const char* name) override;
    void on_element_start(const char* name, const char** attributes) override;

private:
    Object* add_node(const char* name);
    static bool add_keys(Object& node, const char** attributes);

    Configuration& target_;
    std::string file_name_;
    log::Client log_client_ = 0;
    std::vector<Object*> stack_; ///< the open nodes, the root first
    xml::Parser parser_;
    bool ok_ = true;
};

} // namespace qv::config::serialization
