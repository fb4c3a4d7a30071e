#include "service/catalogue.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "comm/master.h"
#include "service/update_place.h"

namespace qv::can_bus::flr {

namespace {

struct Entry {
    std::string name;
    bool is_directory;
};

/// The type as the directory entry gives it, a link's being that of the link. Not all file systems give it.
unsigned type_of(DIR* directory, const dirent& entry)
{
    if (entry.d_type != DT_UNKNOWN) {
        return entry.d_type;
    }
    struct stat status = {};
    if (::fstatat(::dirfd(directory), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return DT_UNKNOWN;
    }
    return IFTODT(status.st_mode);
}

/// Files and directories in the order of the directory. All at once, so that in depth only one is open.
std::optional<std::vector<Entry>> list(const std::string& path)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(place_of(path).c_str()), &::closedir);
    if (directory == nullptr) {
        return std::nullopt;
    }
    std::vector<Entry> entries;
    while (const auto* entry = ::readdir(directory.get())) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        const auto type = type_of(directory.get(), *entry);
        if (type == DT_DIR || type == DT_REG) {
            entries.push_back({entry->d_name, type == DT_DIR});
        }
    }
    return entries;
}

/// Appends what no path is known of yet.
template <class Updates> void append(Updates& updates, const Updates& found, auto& paths)
{
    for (const auto& update : found) {
        if (paths.insert(update->path).second) {
            updates.push_back(update);
        }
    }
}

} // namespace

std::shared_ptr<const Catalogue::Contents> Catalogue::contents() const
{
    const std::lock_guard lock(mutex_);
    return contents_;
}

int Catalogue::find_parsed_file(const std::string& path) const
{
    return contents()->paths.contains(path) ? 0 : -1;
}

/// A path that holds a NUL ends there, as it does for the system: else each folder below would be the folder
/// itself.
int Catalogue::scan_directory(const std::string& given)
{
    const std::string path = given.c_str(); // NOLINT(readability-redundant-string-cstr)
    const std::lock_guard one_at_a_time(scan_mutex_);
    remove_changed_files();
    remember_directory(path);
    Found found;
    scan_folder(path, found);
    take_in(found);
    return 0;
}

void Catalogue::add(std::shared_ptr<const HexParser> image) { take_in({{std::move(image)}, {}}); }

void Catalogue::remove_changed_files()
{
    const auto known = contents();
    std::unordered_set<const Parser*> gone;
    const auto examine = [&gone](const auto& updates) {
        for (const auto& update : updates) {
            if (update->is_unchanged() != 0) {
                gone.insert(update.get());
            }
        }
    };
    examine(known->hex_updates);
    examine(known->zip_updates);
    if (gone.empty()) {
        return;
    }
    change([&gone](Contents& contents) {
        const auto is_gone = [&gone](const auto& update) { return gone.contains(update.get()); };
        for (const auto* parser : gone) {
            contents.paths.erase(parser->path);
        }
        std::erase_if(contents.hex_updates, is_gone);
        std::erase_if(contents.zip_updates, is_gone);
    });
}

void Catalogue::remember_directory(const std::string& path)
{
    const auto known = contents();
    if (std::find(known->directories.begin(), known->directories.end(), path) == known->directories.end()) {
        change([&path](Contents& contents) { contents.directories.push_back(path); });
    }
}

void Catalogue::scan_folder(const std::string& path, Found& found) const
{
    const auto entries = list(path);
    if (!entries) {
        std::printf("Unable to open directory %s\r\n", path.c_str());
        return;
    }
    for (const auto& entry : *entries) {
        if (stopped_ || comm::core_is_stopping()) {
            return;
        }
        auto entry_path = path;
        entry_path.append("/").append(entry.name);
        if (entry.is_directory) {
            scan_folder(entry_path, found);
        } else if (find_parsed_file(entry_path) != 0) {
            scan_file(entry_path, found);
        }
    }
}

/// Every file is first taken for an image; only one that is none can be a package.
void Catalogue::scan_file(const std::string& path, Found& found) const
{
    std::printf("Parsing %s...\r\n", path.c_str());
    if (auto image = parse<HexParser>(path)) {
        found.images.push_back(std::move(image));
    } else if (auto package = parse<ZipParser>(path)) {
        found.packages.push_back(std::move(package));
    } else {
        std::puts("Error: Invalid update file\r");
    }
}

template <class Kind> std::shared_ptr<const Kind> Catalogue::parse(const std::string& path) const
{
    auto parser = std::make_shared<Kind>();
    if (parser->parse(path, true) != 0) {
        return nullptr;
    }
    if (verbose_ > 0) {
        parser->print_full();
    }
    return parser;
}

void Catalogue::take_in(const Found& found)
{
    if (found.images.empty() && found.packages.empty()) {
        return;
    }
    change([&found](Contents& contents) {
        append(contents.hex_updates, found.images, contents.paths);
        append(contents.zip_updates, found.packages, contents.paths);
    });
}

/// Puts edited contents in the place of the present ones. The copy is made outside the lock, and once more when
/// others were quicker; `edit` must bear that.
void Catalogue::change(const std::function<void(Contents&)>& edit)
{
    for (;;) {
        const auto before = contents();
        auto after = std::make_shared<Contents>(*before);
        edit(*after);
        const std::lock_guard lock(mutex_);
        if (contents_ == before) {
            contents_ = std::move(after);
            return;
        }
    }
}

} // namespace qv::can_bus::flr
