#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/byte_array.h"

namespace qv::config {

class Object;

/// A document: one tree of named nodes with typed keys, kept in one XML file.
///
/// Reading a key with a default creates it, so that the file fills itself with every setting in use.
/// Thread: components read it while they start; nothing here takes a lock.
class Configuration {
public:
    Configuration(std::string file_path, bool keep_backup);
    /// Copies flags, path and the whole tree.
    Configuration(const Configuration& other);
    Configuration& operator=(const Configuration&) = delete;
    virtual ~Configuration();

    /// The node at `path`, whose labels are separated by blank / \ , ; or : . `start` null means the root.
    /// With `create` missing nodes are made. Null for a missing node and for a path without a label.
    Object* find_object(std::string_view path, bool create, Object* start = nullptr);
    /// The same for a list of labels; an empty list yields the start node.
    Object* find_object_by_list(const std::vector<std::string>& labels, bool create, Object* start = nullptr);

    /// The stored value; the default when the node is null or the key is missing, in which case `create`
    /// makes the key with the default. A key of another type is replaced.
    /// `get_text` points to the key's own text, valid until the key changes.
    const char* get_text(Object* node, std::string_view key, const char* default_value, bool create = true);
    bool get_boolean(Object* node, std::string_view key, bool default_value, bool create = true);
    std::uint32_t get_decimal(Object* node, std::string_view key, std::uint32_t default_value, bool create = true);
    std::uint32_t get_hexadecimal(Object* node, std::string_view key, std::uint32_t default_value,
                                  bool create = true);
    float get_real_number(Object* node, std::string_view key, float default_value, bool create = true);
    Byte_array get_binary(Object* node, std::string_view key, const Byte_array& default_value, bool create = true);
    std::uint64_t get_binary_u64(Object* node, std::string_view key, std::uint64_t default_value,
                                 bool create = true);

    // The owner of this folder completes the class: setters, import_file, load, save, flags.
};

class List;

/// The primary configuration, empty when there is none.
std::shared_ptr<List> primary_configuration();

} // namespace qv::config
