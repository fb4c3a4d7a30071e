#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "service/hex_parser.h"
#include "service/zip_parser.h"

namespace qv::can_bus::flr {

/// The update files on disk: what scans of directories have found, by their paths.
///
/// Thread: any. Readers take the contents of one moment, which never change; a scan prepares new contents and puts
/// them in their place. So nobody waits for a scan but the next scan, and a parser lives as long as anybody
/// still holds it or contents that name it.
class Catalogue {
public:
    struct Contents {
        std::vector<std::string> directories; ///< scanned so far, without repeats
        std::vector<std::shared_ptr<const HexParser>> hex_updates;
        std::vector<std::shared_ptr<const ZipParser>> zip_updates;
        std::unordered_set<std::string_view> paths; ///< of all files; the text is the parsers' own
    };

    /// `verbose` counts the wish for reports of what is found; it outlives the catalogue, and does not change
    /// during a scan.
    explicit Catalogue(const std::uint32_t& verbose) noexcept
        : verbose_(verbose)
    {}

    /// What is known at this moment; never null.
    std::shared_ptr<const Contents> contents() const;
    /// 0 when a file of this path is known, else -1.
    int find_parsed_file(const std::string& path) const;

    /// Drops the files that changed or are gone, remembers the directory and looks through it in depth for files
    /// that are not known yet. Links are not followed, names with a leading dot passed over. Blocks until all are
    /// read, and until a scan of another thread is over. 0, whatever was found.
    int scan_directory(const std::string& given);
    /// Lets the scan that runs, and all that follow, end with what they have.
    void stop() noexcept { stopped_ = true; }
    /// Takes in an image that no scan has found, unless its path is known.
    void add(std::shared_ptr<const HexParser> image);

private:
    /// What one scan has found so far.
    struct Found {
        std::vector<std::shared_ptr<const HexParser>> images;
        std::vector<std::shared_ptr<const ZipParser>> packages;
    };

    void remove_changed_files();
    void remember_directory(const std::string& path);
    void scan_folder(const std::string& path, Found& found) const;
    void scan_file(const std::string& path, Found& found) const;
    template <class Kind> std::shared_ptr<const Kind> parse(const std::string& path) const;
    void take_in(const Found& found);
    void change(const std::function<void(Contents&)>& edit);

    const std::uint32_t& verbose_;
    std::atomic<bool> stopped_{false};

    std::mutex scan_mutex_; ///< held through a scan, by nobody else; taken before `mutex_`

    mutable std::mutex mutex_; ///< guards the pointer, only while it is copied or replaced
    std::shared_ptr<const Contents> contents_ = std::make_shared<Contents>();
};

} // namespace qv::can_bus::flr
