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

} // namespace qv::config::node
