#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "config/configuration.h"

namespace qv::config::node {

/// A light handle on one node of a document, from which components derive to read their settings.
///
/// The document outlives it. Without a document or a node every getter answers with its default.
class Node {
public:
    explicit Node(Configuration* configuration, Object* object = nullptr) noexcept
        : configuration_(configuration)
        , object_(object)
    {}
    virtual ~Node() = default;

    /// The geometry keys of the node; a missing one is made from `default_geometry`.
    virtual std::uint32_t height();
    virtual std::uint32_t width();
    virtual std::uint32_t x();
    virtual std::uint32_t y();
    virtual Rectangle default_geometry() const { return {}; }

    Configuration* configuration() const noexcept { return configuration_; }
    Object* object() const noexcept { return object_; }

    /// The keys of the node, made with the default when missing.
    std::string get_text(std::string_view key, const char* default_value);
    bool get_boolean(std::string_view key, bool default_value);
    std::uint32_t get_decimal(std::string_view key, std::uint32_t default_value);

protected:
    void set_object(Object* object) noexcept { object_ = object; }

private:
    Configuration* configuration_;
    Object* object_;
};

/// A handle that a path of labels leads to.
///
/// A derived class appends its labels in its constructor and then resolves them, so that each level of a class
/// hierarchy adds its own part of the path.
class Node_key_list : public Node {
public:
    using Node::Node;
    const std::vector<std::string>& labels() const noexcept { return labels_; }

protected:
    void append(std::string_view label) { labels_.emplace_back(label); }
    /// Moves the handle to the end of the path, which is made as far as it is missing. The path begins at
    /// `start`, or with null at the root.
    void resolve(Object* start = nullptr);

private:
    std::vector<std::string> labels_;
};

/// The handle of the log's node, below the root.
class Log final : public Node {
public:
    struct Default {
        static constexpr std::int32_t level = -1; ///< all levels
        static constexpr const char* path = "./log";
        static constexpr std::uint32_t cleanup_file_count_threshold = 20;
        static constexpr std::uint32_t cleanup_size_threshold = 0;
    };

    /// Makes the node when it is missing. The document may be null.
    explicit Log(Configuration* configuration);

    bool enable();
    std::uint32_t level();
    std::string path();
    std::uint32_t cleanup_file_count_threshold();
    std::uint32_t cleanup_size_threshold();
};

} // namespace qv::config::node
