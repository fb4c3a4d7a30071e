#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/key.h"

namespace qv::config {

/// A node of the tree. It owns its keys and children, both sorted by the byte values of their names.
///
/// A key's name is unique within the node once a lookup went over it. Several children may bear one name;
/// those keep their relative order. Copying, sorting and destroying a tree recurse once a level; the parser's
/// limit on the depth of a document bounds that.
class Object {
public:
    static constexpr const char* name_root_default = "configuration";

    explicit Object(std::string_view object_name)
        : name(object_name)
    {}
    /// Copies all keys and children.
    Object(const Object& other);
    Object& operator=(const Object&) = delete;

    /// The key of this name and type, or null. A key of the name that has another type is destroyed.
    Key* find_key(std::string_view key_name, Key_type type);
    /// Takes the key into its sorted place.
    Key* insert_key(std::unique_ptr<Key> key);
    /// The first child of this name, or null.
    Object* find_child(std::string_view child_name) const;
    /// Makes a child behind all others of its name.
    Object* insert_child(std::string_view child_name);

    void sort_keys();
    /// Sorts keys and children of this node and of all nodes below.
    void sort();

    std::vector<std::unique_ptr<Key>> keys;
    std::vector<std::unique_ptr<Object>> children;
    std::string name;
};

/// Merges `source` into `destination`: each key of the source replaces that of the same name, and the n-th child
/// of a name merges into the n-th child of that name, which is made when missing. The rest of `destination`
/// stays. False at the first value that cannot be taken over.
[[nodiscard]] bool merge(const Object& source, Object& destination);

} // namespace qv::config
