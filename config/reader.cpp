#include "config/reader.h"

#include <cstdint>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "config/object.h"

namespace qv::config::serialization {

namespace {

constexpr std::size_t block_size = 10240;
constexpr log::Level log_level = 2;

/// The key that an attribute stands for: its name less the suffix, the type by the suffix. Empty when there is
/// none.
std::unique_ptr<Key> key_from_attribute(std::string_view name, const char* value)
{
    if (name.size() < 3 || name[name.size() - 2] != '_') {
        return nullptr;
    }
    const auto type = static_cast<Key_type>(name.back() - 'a');
    auto key = Key::create(type, name.substr(0, name.size() - 2));
    if (key == nullptr || !value_from_text(*key, value)) {
        return nullptr;
    }
    return key;
}

} // namespace

Reader::Reader(Configuration& target, std::string file_name)
    : target_(target)
    , file_name_(std::move(file_name))
{}

bool Reader::read()
{
    return parser_.initialise(*this) && parser_.parse_file(file_name_, block_size, log_level, log_client_) && ok_;
}

Object* Reader::add_node(const char* name)
{
    auto node = std::make_unique<Object>(name);
    if (target_.root == nullptr) {
        target_.root = std::move(node);
        return target_.root.get();
    }
    if (stack_.empty()) {
        return nullptr;
    }
    return stack_.back()->children.emplace_back(std::move(node)).get();
}

bool Reader::add_keys(Object& node, const char** attributes)
{
    for (; *attributes != nullptr; attributes += 2) {
        auto key = key_from_attribute(attributes[0], attributes[1]);
        if (key == nullptr) {
            return false;
        }
        node.keys.push_back(std::move(key));
    }
    return true;
}

void Reader::on_element_start(const char* name, const char** attributes)
{
    if (!ok_) {
        return;
    }
    try {
        Object* node = add_node(name);
        if (node == nullptr) {
            ok_ = false;
            return;
        }
        stack_.push_back(node);
        ok_ = add_keys(*node, attributes);
    } catch (const std::bad_alloc&) { // nothing may pass through Expat, which is C
        ok_ = false;
    }
}

void Reader::on_element_end(const char* /*name*/)
{
    if (stack_.size() == parser_.depth() + 1) {
        stack_.pop_back();
    }
}

} // namespace qv::config::serialization
