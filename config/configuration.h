#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "config/key.h"
#include "framework/byte_array.h"

namespace qv::config {

class Object;

/// The file that `create_primary` merges into the document once, from the working directory.
inline constexpr const char* import_file_name = "configuration_import.xml";

/// Place and size of something on a screen.
struct Rectangle {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t height = 0;
    std::uint32_t width = 0;
};

/// A document: one tree of named nodes with typed keys, kept in one XML file.
///
/// Reading a key with a default creates it, so that the file fills itself with every setting in use.
/// Thread: paths, getters, setters and copies are for any thread; a short lock, which no file access ever holds,
/// keeps them apart. Load, import and save are for a document that no other thread uses: one that starts or ends,
/// or a copy.
class Configuration {
public:
    Configuration(std::string path, bool with_backup);
    /// Copies flags, path and the whole tree. The copy is another state of the same document: see `save`.
    Configuration(const Configuration& other);
    Configuration& operator=(const Configuration&) = delete;
    virtual ~Configuration();

    /// The node at `path`, whose labels are separated by blank / \ , ; or : . `start` null means the root.
    /// With `create` missing nodes are made. Null for a missing node and for a path without a label, and when a
    /// label is no XML name, so that no node can be made of it.
    Object* find_object(std::string_view path, bool create, Object* start = nullptr);
    /// The same for a list of labels; an empty list yields the start node.
    Object* find_object_by_list(const std::vector<std::string>& labels, bool create, Object* start = nullptr);

    /// The stored value; the default when the node is null or the key is missing, in which case `create`
    /// makes the key with the default. A key of another type is replaced. Keys are named by XML names.
    /// `get_text` points to the key's own text, valid until somebody sets the key; null when that text is absent.
    const char* get_text(Object* node, std::string_view key, const char* default_value, bool create = true);
    bool get_boolean(Object* node, std::string_view key, bool default_value, bool create = true);
    std::uint32_t get_decimal(Object* node, std::string_view key, std::uint32_t default_value, bool create = true);
    std::uint32_t get_hexadecimal(Object* node, std::string_view key, std::uint32_t default_value,
                                  bool create = true);
    float get_real_number(Object* node, std::string_view key, float default_value, bool create = true);
    Byte_array get_binary(Object* node, std::string_view key, const Byte_array& default_value, bool create = true);
    /// The number in a binary key of eight bytes, least significant first. The default for any other length.
    std::uint64_t get_binary_u64(Object* node, std::string_view key, std::uint64_t default_value,
                                 bool create = true);

    /// Store a value, making the key when it is missing or of another type. False when the node is null or the
    /// key cannot be made. Only a value that differs counts as a change; a text must be UTF-8 without control
    /// characters, and null takes it away.
    bool set_text(Object* node, std::string_view key, const char* value);
    bool set_boolean(Object* node, std::string_view key, bool value);
    bool set_decimal(Object* node, std::string_view key, std::uint32_t value);
    bool set_hexadecimal(Object* node, std::string_view key, std::uint32_t value);
    bool set_real_number(Object* node, std::string_view key, float value);
    bool set_binary(Object* node, std::string_view key, const Byte_array& value);
    /// The decimal keys "x", "y", "width" and "height". Stops at the first failure.
    bool set_geometry(Object* node, const Rectangle& rectangle);

    /// Merges another file into this tree, and removes it afterwards with `delete_after`. A file that does not
    /// parse counts as an empty document. A missing one is a success unless `fail_if_missing`.
    bool import_file(const std::string& path, bool delete_after, bool fail_if_missing);
    /// Fills `root` from the file; a damaged file is replaced by its backup, and failing that by an empty
    /// document. False when there is no tree afterwards that the file holds as well.
    [[nodiscard]] bool load();
    /// Writes the tree when `modified` or `force` is set. False when the file could not be replaced; it is then
    /// as it was, and `modified` is set. Of two saves at a time one waits for the other; and what was copied
    /// earlier never takes the place of what was copied later, which counts as saved.
    [[nodiscard]] bool save(bool force);
    /// A copy for another thread to save; this document counts as saved from then on. Empty, and nothing changed,
    /// when memory ends.
    std::shared_ptr<Configuration> take_changes();

    std::atomic<bool> modified{false}; ///< the tree differs from the file
    bool notify_changes = false; ///< a change posts `comm::message::config::Changed` to the primary dispatcher
    bool keep_backup;            ///< `load` and `save` keep a copy with the suffix ".backup"
    std::string file_path;
    std::unique_ptr<Object> root; ///< absent before the first load

private:
    using Lock = std::lock_guard<std::mutex>;

    void note_change();
    Object* step(Object* node, std::string_view label, bool create);
    Key* obtain(Object* node, std::string_view name, Key_type type, const Key::Value& value, bool create);
    template <class T> T get(Object* node, std::string_view name, Key_type type, const T& value, bool create);
    template <class Differs>
    bool set(Object* node, std::string_view name, Key_type type, Key::Value value, Differs differs);

    bool read_file(const std::string& path);
    bool restore_backup();
    bool reset_default();
    bool save_backup();

    mutable std::mutex mutex_;                      ///< guards `root` and `revision_` while threads share them
    std::uint64_t revision_ = 0;                    ///< changes so far
    std::shared_ptr<std::uint64_t> saved_revision_; ///< the newest that was saved; shared with all copies
};

class List;

/// The primary configuration, empty when there is none.
std::shared_ptr<List> primary_configuration();

} // namespace qv::config
