#include "config/node.h"

#include "config/label.h"

namespace qv::config::node {

std::uint32_t Node::height() { return get_decimal(label::height, default_geometry().height); }

std::uint32_t Node::width() { return get_decimal(label::width, default_geometry().width); }

std::uint32_t Node::x() { return get_decimal(label::x, default_geometry().x); }

std::uint32_t Node::y() { return get_decimal(label::y, default_geometry().y); }

std::string Node::get_text(std::string_view key, const char* default_value)
{
    const char* text =
        configuration_ != nullptr ? configuration_->get_text(object_, key, default_value) : default_value;
    return text != nullptr ? text : "";
}

bool Node::get_boolean(std::string_view key, bool default_value)
{
    return configuration_ != nullptr ? configuration_->get_boolean(object_, key, default_value) : default_value;
}

std::uint32_t Node::get_decimal(std::string_view key, std::uint32_t default_value)
{
    return configuration_ != nullptr ? configuration_->get_decimal(object_, key, default_value) : default_value;
}

void Node_key_list::resolve(Object* start)
{
    if (configuration() != nullptr) {
        set_object(configuration()->find_object_by_list(labels_, true, start));
    }
}

Log::Log(Configuration* configuration)
    : Node(configuration, configuration != nullptr ? configuration->find_object(label::log, true) : nullptr)
{}

bool Log::enable() { return get_boolean(label::enable, false); }

std::uint32_t Log::level() { return get_decimal(label::level, static_cast<std::uint32_t>(Default::level)); }

std::string Log::path() { return get_text(label::path, Default::path); }

std::uint32_t Log::cleanup_file_count_threshold()
{
    return get_decimal(label::cleanup_file_count_threshold, Default::cleanup_file_count_threshold);
}

std::uint32_t Log::cleanup_size_threshold()
{
    return get_decimal(label::cleanup_size_threshold, Default::cleanup_size_threshold);
}

} // namespace qv::config::node
