#include "framework/file/find.h"

#include <fnmatch.h>

namespace qv::file {

Details_posix::~Details_posix() { close(); }

bool Details_posix::first(std::string& name, const std::string& directory, const std::string& pattern,
                          bool case_sensitive)
{
    close();
    case_sensitive_ = case_sensitive;
    pattern_ = pattern;
    directory_ = ::opendir(directory.c_str());
    return next(name);
}

bool Details_posix::next(std::string& name)
{
    if (directory_ == nullptr) {
        return false;
    }
    const int flags = case_sensitive_ ? 0 : FNM_CASEFOLD;
    while (const dirent* const entry = ::readdir(directory_)) {
        if (::fnmatch(pattern_.c_str(), entry->d_name, flags) == 0) {
            name = entry->d_name;
            return true;
        }
    }
    return false;
}

void Details_posix::close()
{
    if (directory_ != nullptr) {
        ::closedir(directory_);
        directory_ = nullptr;
    }
}

std::unique_ptr<Find> find_first(std::string& name, const std::string& directory, const std::string& pattern,
                                 bool case_sensitive)
{
    auto search = std::make_unique<Find>(std::make_unique<Details_posix>());
    return search->details().first(name, directory, pattern, case_sensitive) ? std::move(search) : nullptr;
}

bool find_next(Find& search, std::string& name) { return search.details().next(name); }

void find_close(std::unique_ptr<Find>& search) { search.reset(); }

} // namespace qv::file
