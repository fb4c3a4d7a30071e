#include "config/configuration.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <span>
#include <utility>

#include "comm/config_message.h"
#include "comm/master.h"
#include "config/label.h"
#include "config/object.h"
#include "framework/relation.h"

namespace qv::config {

namespace {

constexpr std::string_view path_separators = " /\\,;:";

/// Takes the next label off the front of `path`; empty at its end.
std::string_view next_label(std::string_view& path)
{
    const std::size_t begin = path.find_first_not_of(path_separators);
    if (begin == std::string_view::npos) {
        return path = {};
    }
    const std::size_t end = std::min(path.find_first_of(path_separators, begin), path.size());
    const std::string_view label = path.substr(begin, end - begin);
    path.remove_prefix(end);
    return label;
}

Text text_of(const char* value) { return value == nullptr ? Text{} : Text(value); }

bool values_differ(const Key::Value& left, const Key::Value& right) { return !(left == right); }

bool reals_differ(const Key::Value& left, const Key::Value& right)
{
    return relation::compare(std::get<float>(left), std::get<float>(right),
                             relation::comparison_epsilon_default) != relation::equal;
}

} // namespace

Configuration::Configuration(std::string path, bool with_backup)
    : keep_backup(with_backup)
    , file_path(std::move(path))
    , saved_revision_(std::make_shared<std::uint64_t>(0))
{}

Configuration::Configuration(const Configuration& other)
    : modified(other.modified.load())
    , notify_changes(other.notify_changes)
    , keep_backup(other.keep_backup)
    , file_path(other.file_path)
    , saved_revision_(other.saved_revision_)
{
    const Lock lock(other.mutex_);
    root = other.root == nullptr ? nullptr : std::make_unique<Object>(*other.root);
    revision_ = other.revision_;
}

Configuration::~Configuration() = default;

/// Cleared first: a change that comes meanwhile may be saved twice, but is never forgotten.
std::shared_ptr<Configuration> Configuration::take_changes()
{
    const bool changed = modified.exchange(false);
    try {
        auto copy = std::make_shared<Configuration>(*this);
        copy->modified = changed;
        return copy;
    } catch (const std::bad_alloc&) {
        if (changed) {
            modified = true;
        }
        return nullptr;
    }
}

void Configuration::note_change()
{
    ++revision_;
    modified = true;
    if (!notify_changes) {
        return;
    }
    if (const auto dispatcher = comm::primary_dispatcher()) {
        dispatcher->post(std::make_unique<comm::message::config::Changed>());
    }
}

Object* Configuration::step(Object* node, std::string_view label, bool create)
{
    if (Object* child = node->find_child(label)) {
        return child;
    }
    if (!create || !is_storable_name(label)) {
        return nullptr;
    }
    Object* child = node->insert_child(label);
    note_change();
    return child;
}

Object* Configuration::find_object(std::string_view path, bool create, Object* start)
{
    const Lock lock(mutex_);
    Object* node = start != nullptr ? start : root.get();
    std::string_view label = next_label(path);
    if (label.empty()) {
        return nullptr;
    }
    for (; node != nullptr && !label.empty(); label = next_label(path)) {
        node = step(node, label, create);
    }
    return node;
}

Object* Configuration::find_object_by_list(const std::vector<std::string>& labels, bool create, Object* start)
{
    const Lock lock(mutex_);
    Object* node = start != nullptr ? start : root.get();
    for (auto label = labels.begin(); node != nullptr && label != labels.end(); ++label) {
        node = step(node, *label, create);
    }
    return node;
}

/// The key, made with `value` when it is missing and `create` is set; else null.
Key* Configuration::obtain(Object* node, std::string_view name, Key_type type, const Key::Value& value,
                           bool create)
{
    if (node == nullptr) {
        return nullptr;
    }
    if (Key* key = node->find_key(name, type)) {
        return key;
    }
    const Text* text = std::get_if<Text>(&value);
    if (!create || !is_storable_name(name) || (text != nullptr && !is_storable_text(text->value_or("")))) {
        return nullptr;
    }
    auto made = Key::create(type, name);
    if (made == nullptr) {
        return nullptr;
    }
    made->value = value;
    Key* key = node->insert_key(std::move(made));
    note_change();
    return key;
}

template <class T>
T Configuration::get(Object* node, std::string_view name, Key_type type, const T& value, bool create)
{
    const Lock lock(mutex_);
    const Key* key = obtain(node, name, type, value, create);
    return key != nullptr ? std::get<T>(key->value) : value;
}

const char* Configuration::get_text(Object* node, std::string_view key, const char* default_value, bool create)
{
    const Lock lock(mutex_);
    const Key* found = obtain(node, key, Key_type::text, text_of(default_value), create);
    if (found == nullptr) {
        return default_value;
    }
    const auto& text = std::get<Text>(found->value);
    return text ? text->c_str() : nullptr;
}

bool Configuration::get_boolean(Object* node, std::string_view key, bool default_value, bool create)
{
    return get<bool>(node, key, Key_type::boolean, default_value, create);
}

std::uint32_t Configuration::get_decimal(Object* node, std::string_view key, std::uint32_t default_value,
                                         bool create)
{
    return get<std::uint32_t>(node, key, Key_type::decimal, default_value, create);
}

std::uint32_t Configuration::get_hexadecimal(Object* node, std::string_view key, std::uint32_t default_value,
                                             bool create)
{
    return get<std::uint32_t>(node, key, Key_type::hexadecimal, default_value, create);
}

float Configuration::get_real_number(Object* node, std::string_view key, float default_value, bool create)
{
    return get<float>(node, key, Key_type::real_number, default_value, create);
}

Byte_array Configuration::get_binary(Object* node, std::string_view key, const Byte_array& default_value,
                                     bool create)
{
    return get<Byte_array>(node, key, Key_type::binary, default_value, create);
}

std::uint64_t Configuration::get_binary_u64(Object* node, std::string_view key, std::uint64_t default_value,
                                            bool create)
{
    std::array<std::uint8_t, 8> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(default_value >> (8 * i));
    }
    const Byte_array stored = get_binary(node, key, Byte_array(std::span<const std::uint8_t>(bytes)), create);
    if (stored.size() != bytes.size()) {
        return default_value;
    }
    std::uint64_t number = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        number = number << 8U | stored[i];
    }
    return number;
}

/// Stores `value`, which counts as a change when `differs` says so.
template <class Differs>
bool Configuration::set(Object* node, std::string_view name, Key_type type, Key::Value value, Differs differs)
{
    if (node == nullptr) {
        return false;
    }
    const Lock lock(mutex_);
    Key* key = node->find_key(name, type);
    if (key == nullptr) {
        return obtain(node, name, type, value, true) != nullptr;
    }
    const bool changed = differs(key->value, value);
    key->value = std::move(value);
    if (changed) {
        note_change();
    }
    return true;
}

bool Configuration::set_text(Object* node, std::string_view key, const char* value)
{
    if (value != nullptr && !is_storable_text(value)) {
        return false;
    }
    return set(node, key, Key_type::text, text_of(value), values_differ);
}

bool Configuration::set_boolean(Object* node, std::string_view key, bool value)
{
    return set(node, key, Key_type::boolean, value, values_differ);
}

bool Configuration::set_decimal(Object* node, std::string_view key, std::uint32_t value)
{
    return set(node, key, Key_type::decimal, value, values_differ);
}

bool Configuration::set_hexadecimal(Object* node, std::string_view key, std::uint32_t value)
{
    return set(node, key, Key_type::hexadecimal, value, values_differ);
}

bool Configuration::set_real_number(Object* node, std::string_view key, float value)
{
    return set(node, key, Key_type::real_number, value, reals_differ);
}

bool Configuration::set_binary(Object* node, std::string_view key, const Byte_array& value)
{
    return set(node, key, Key_type::binary, value, values_differ);
}

bool Configuration::set_geometry(Object* node, const Rectangle& rectangle)
{
    return set_decimal(node, label::x, rectangle.x) && set_decimal(node, label::y, rectangle.y) &&
           set_decimal(node, label::width, rectangle.width) && set_decimal(node, label::height, rectangle.height);
}

} // namespace qv::config
