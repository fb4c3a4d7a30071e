#include <mutex>

#include "config/configuration.h"
#include "config/object.h"
#include "config/place.h"
#include "config/reader.h"
#include "config/writer.h"
#include "framework/file/operations.h"
#include "framework/file/properties.h"
#include "framework/file/root.h"
#include "framework/log/hook.h"

namespace qv::config {

namespace {

constexpr log::Level log_level = 2;

/// Two saves must not meet in the one ".temp" file. Guards all that copies share besides.
std::mutex& save_mutex()
{
    static std::mutex mutex;
    return mutex;
}

bool exists(const std::string& path) { return file::Properties(file::rooted(path)).is_valid(); }

std::string backup_of(const std::string& path) { return path + ".backup"; }

} // namespace

bool Configuration::read_file(const std::string& path)
{
    root.reset();
    if (!exists(path)) {
        return false;
    }
    if (!serialization::Reader(*this, path).read()) {
        log::write(log_level, 0, "reading configuration file %s failed", path.c_str());
        root.reset();
        return false;
    }
    if (root != nullptr) {
        root->sort();
    }
    return true;
}

bool Configuration::save_backup()
{
    return file::copy(file::rooted(file_path), file::rooted(backup_of(file_path)), true);
}

/// Reads the backup and puts it in the place of the document. The copy goes by way of the ".temp" file: a loss of
/// power must not leave a document that is damaged, or empty, which would count as good.
bool Configuration::restore_backup()
{
    const std::string place = file::rooted(file_path);
    return file::copy(file::rooted(backup_of(file_path)), place + ".temp", true) &&
           put_in_place(place + ".temp", place);
}

bool Configuration::reset_default()
{
    root = std::make_unique<Object>(Object::name_root_default);
    const bool saved = save(true);
    root.reset();
    return saved;
}

bool Configuration::load()
{
    const bool read = read_file(file_path);
    if (read && (root != nullptr || !keep_backup)) {
        return !keep_backup || save_backup();
    }
    // An empty document is a good one, but a damaged disk leaves empty files too: a backup with contents wins.
    if (keep_backup && read_file(backup_of(file_path)) && root != nullptr) {
        return restore_backup();
    }
    if (read) {
        return save_backup();
    }
    return reset_default() && read_file(file_path);
}

bool Configuration::save(bool force)
{
    if (!modified && !force) {
        return true;
    }
    const Lock lock(save_mutex());
    if (revision_ < *saved_revision_ && !force) {
        return true;
    }
    modified = false;
    const bool written = serialization::Writer{nullptr, file_path, root.get()}.write();
    if (written) {
        *saved_revision_ = revision_;
    }
    const bool saved = written && (!keep_backup || save_backup());
    if (!saved) {
        modified = true;
    }
    return saved;
}

bool Configuration::import_file(const std::string& path, bool delete_after, bool fail_if_missing)
{
    if (!exists(path)) {
        return !fail_if_missing;
    }
    Configuration source(path, false);
    if (!source.load()) {
        return false;
    }
    const bool merged = root != nullptr && source.root != nullptr && merge(*source.root, *root);
    if (root != nullptr) {
        root->sort();
    }
    note_change();
    if (merged && delete_after) {
        file::remove(file::rooted(path));
    }
    return merged;
}

} // namespace qv::config
