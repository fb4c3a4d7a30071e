#include "log/directory.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <vector>

#include "framework/file/find.h"
#include "framework/file/operations.h"
#include "framework/file/path_text.h"
#include "framework/file/properties.h"

namespace qv::log::directory {

namespace {

struct Log_entry {
    std::string path;
    std::time_t modified;
    std::uint32_t size;
    bool link;
};

bool is_link(const std::string& path)
{
    std::error_code ignored;
    return std::filesystem::is_symlink(path, ignored);
}

/// Adds the file unless it is none, or has gone meanwhile.
void add(std::vector<Log_entry>& logs, const std::string& path)
{
    const file::Properties properties(path);
    if (properties.is_valid() && !properties.directory) {
        const auto size = static_cast<std::uint32_t>(std::max(properties.size, 0));
        logs.push_back({path, properties.modified, size, is_link(path)});
    }
}

std::vector<Log_entry> list(const std::string& path, char separator)
{
    std::string prefix = path;
    file::append_character(prefix, separator);
    std::vector<Log_entry> logs;
    std::string name;
    const auto search = file::find_first(name, path.empty() ? "." : path, file::pattern_all_files, true);
    for (bool found = search != nullptr; found; found = file::find_next(*search, name)) {
        if (file::extension(name) == file_name::extension) {
            add(logs, prefix + name);
        }
    }
    return logs;
}

/// Newest first. A link shows the time of its target and counts as the older of the two.
void sort(std::vector<Log_entry>& logs)
{
    std::stable_partition(logs.begin(), logs.end(), [](const Log_entry& log) { return log.link; });
    std::stable_sort(logs.begin(), logs.end(), [](const Log_entry& first, const Log_entry& second) {
        return first.modified < second.modified;
    });
    std::reverse(logs.begin(), logs.end());
}

/// Goes from the newest to the oldest.
class Judge {
public:
    explicit Judge(const Limits& limits) noexcept
        : limits_(limits)
    {}

    bool condemns(const Log_entry& log) noexcept
    {
        ++count_;
        size_ += log.size;
        const bool too_old = log.modified < limits_.minimum_time;
        const bool too_much = limits_.size_threshold != 0 && size_ > limits_.size_threshold;
        const bool too_many = limits_.file_count_threshold != 0 && count_ > limits_.file_count_threshold;
        return count_ > 1 && (too_old || too_much || too_many);
    }

private:
    const Limits& limits_;
    std::uint32_t count_ = 0;
    std::uint64_t size_ = 0;
};

} // namespace

void cleanup(const Limits& limits, const std::string& path, char separator)
{
    auto logs = list(path, separator);
    sort(logs);
    Judge judge(limits);
    const auto condemned =
        std::find_if(logs.begin(), logs.end(), [&judge](const Log_entry& log) { return judge.condemns(log); });
    std::for_each(condemned, logs.end(), [](const Log_entry& log) { file::remove(log.path); });
}

} // namespace qv::log::directory
