#include "config/object.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

namespace qv::config {

namespace {

struct By_name {
    template <class T> bool operator()(const std::unique_ptr<T>& left, const std::unique_ptr<T>& right) const
    {
        return left->name < right->name;
    }
    template <class T> bool operator()(const std::unique_ptr<T>& left, std::string_view right) const
    {
        return left->name < right;
    }
    template <class T> bool operator()(std::string_view left, const std::unique_ptr<T>& right) const
    {
        return left < right->name;
    }
};

/// Puts `item` behind all others of its name.
template <class T> T* insert_sorted(std::vector<std::unique_ptr<T>>& items, std::unique_ptr<T> item)
{
    const auto place = std::upper_bound(items.begin(), items.end(), std::string_view(item->name), By_name{});
    return items.insert(place, std::move(item))->get();
}

bool merge_keys(const Object& source, Object& destination)
{
    for (const auto& key : source.keys) {
        Key* target = destination.find_key(key->name, key->type);
        if (target == nullptr) {
            auto made = Key::create(key->type, key->name);
            if (made == nullptr) {
                return false;
            }
            target = destination.insert_key(std::move(made));
        }
        if (!value_from_text(*target, value_to_text(*key).c_str())) {
            return false;
        }
    }
    return true;
}

/// The children that the destination lacks are gathered and put in place at the end: a file with very many
/// children of one name must not cost a search or a shift for each.
bool merge_children(const Object& source, Object& destination)
{
    std::unordered_map<std::string_view, std::size_t> handled;
    std::vector<std::unique_ptr<Object>> added;
    bool ok = true;
    for (auto child = source.children.begin(); ok && child != source.children.end(); ++child) {
        const std::string_view name = (*child)->name;
        const std::size_t position = handled[name]++;
        const auto [first, last] =
            std::equal_range(destination.children.begin(), destination.children.end(), name, By_name{});
        if (position < static_cast<std::size_t>(last - first)) {
            ok = merge(**child, *first[static_cast<std::ptrdiff_t>(position)]);
        } else {
            added.push_back(std::make_unique<Object>(name));
            ok = merge(**child, *added.back());
        }
    }
    std::move(added.begin(), added.end(), std::back_inserter(destination.children));
    std::stable_sort(destination.children.begin(), destination.children.end(), By_name{});
    return ok;
}

} // namespace

Object::Object(const Object& other)
    : name(other.name)
{
    keys.reserve(other.keys.size());
    for (const auto& key : other.keys) {
        keys.push_back(std::make_unique<Key>(*key));
    }
    children.reserve(other.children.size());
    for (const auto& child : other.children) {
        children.push_back(std::make_unique<Object>(*child));
    }
}

// A file edited by hand may hold one name with several types, so the range may be longer than one. Leaving
// another type beside the one found or made here would write one name twice.
Key* Object::find_key(std::string_view key_name, Key_type type)
{
    const auto [first, last] = std::equal_range(keys.begin(), keys.end(), key_name, By_name{});
    const auto kept = std::stable_partition(first, last, [type](const auto& key) { return key->type == type; });
    Key* found = kept == first ? nullptr : first->get();
    keys.erase(kept, last);
    return found;
}

Key* Object::insert_key(std::unique_ptr<Key> key) { return insert_sorted(keys, std::move(key)); }

Object* Object::find_child(std::string_view child_name) const
{
    const auto place = std::lower_bound(children.begin(), children.end(), child_name, By_name{});
    return place != children.end() && (*place)->name == child_name ? place->get() : nullptr;
}

Object* Object::insert_child(std::string_view child_name)
{
    return insert_sorted(children, std::make_unique<Object>(child_name));
}

void Object::sort_keys() { std::stable_sort(keys.begin(), keys.end(), By_name{}); }

void Object::sort()
{
    sort_keys();
    std::stable_sort(children.begin(), children.end(), By_name{});
    for (const auto& child : children) {
        child->sort();
    }
}

bool merge(const Object& source, Object& destination)
{
    return merge_keys(source, destination) && merge_children(source, destination);
}

} // namespace qv::config
