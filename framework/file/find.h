#pragma once

#include <memory>
#include <string>

#include <dirent.h>

namespace qv::file {

inline constexpr const char* pattern_all_files = "*";

/// A search through one directory. Names come in the order in which the directory holds them; "." and ".." are
/// among them.
class Find {
public:
    class Details {
    public:
        virtual ~Details() = default;
        /// Opens `directory` and gives the first name that matches; false when there is none.
        virtual bool first(std::string& name, const std::string& directory, const std::string& pattern,
                           bool case_sensitive) = 0;
        virtual bool next(std::string& name) = 0;
    };

    explicit Find(std::unique_ptr<Details> details) noexcept
        : details_(std::move(details))
    {}
    Details& details() noexcept { return *details_; }

private:
    std::unique_ptr<Details> details_;
};

/// The search by `readdir` and `fnmatch`.
class Details_posix final : public Find::Details {
public:
    Details_posix() = default;
    Details_posix(const Details_posix&) = delete;
    Details_posix& operator=(const Details_posix&) = delete;
    ~Details_posix() override;

    bool first(std::string& name, const std::string& directory, const std::string& pattern,
               bool case_sensitive) override;
    bool next(std::string& name) override;

private:
    void close();

    bool case_sensitive_ = true;
    DIR* directory_ = nullptr;
    std::string pattern_;
};

/// Begins a search and gives the first `name`, without the directory. Empty when the directory cannot be opened
/// or nothing matches `pattern`, which is a shell's.
std::unique_ptr<Find> find_first(std::string& name, const std::string& directory, const std::string& pattern,
                                 bool case_sensitive);
/// The next name that matches; false when there is none.
bool find_next(Find& search, std::string& name);
void find_close(std::unique_ptr<Find>& search);

} // namespace qv::file
