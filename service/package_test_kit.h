#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "framework/file/scratch_folder.h"

namespace qv::can_bus::flr::test {

namespace fs = std::filesystem;

/// A folder for update files that lasts as long as a test.
class Update_folder {
    const file::test::Scratch_folder folder_;
    const std::string& work_ = folder_.path();

public:
    using Members = std::vector<std::pair<std::string, std::string>>; ///< names and bytes

    Update_folder() { fs::create_directories(path); }
    ~Update_folder() { ::unsetenv("FLINTROW_ROOT"); }
    Update_folder(const Update_folder&) = delete;
    Update_folder& operator=(const Update_folder&) = delete;

    /// A file below the folder; its whole path.
    std::string write(const std::string& name, const std::string& bytes)
    {
        return write_at(path + "/" + name, bytes);
    }
    std::string image(const std::string& name) { return write(name, ":0300000C312E3260\n"); }
    /// A zip archive. `options` are those of the command zip.
    std::string zip(const std::string& name, const Members& members, const std::string& options = "")
    {
        fs::remove_all(work_ + "/members");
        for (const auto& [member, bytes] : members) {
            write_at(work_ + "/members/" + member, bytes);
        }
        const auto command = "cd '" + work_ + "/members' && zip -q " + options + " ../made.zip *";
        EXPECT_EQ(std::system(command.c_str()), 0);
        fs::rename(work_ + "/made.zip", write(name, ""));
        return path + "/" + name;
    }
    /// A package that is not taken for an image: one line of it looks like a damaged record.
    std::string package(const std::string& name, const std::string& version = "1.0")
    {
        return zip(name, {{"version", version}, {"ecuinfo", "IG,2*"}, {"data", "\n:no record\n"}}, "-0");
    }
    /// From now on a script of the shell takes the place of `unzip`.
    void replace_unzip(const std::string& script)
    {
        fs::permissions(write_at(work_ + "/usr/bin/unzip", "#!/bin/sh\n" + script + "\n"), fs::perms::owner_all);
        ::setenv("FLINTROW_ROOT", work_.c_str(), 1);
    }

    const std::string path = work_ + "/files";

private:
    static std::string write_at(const std::string& file, const std::string& bytes)
    {
        fs::create_directories(fs::path(file).parent_path());
        std::ofstream(file, std::ios::binary) << bytes;
        return file;
    }
};

} // namespace qv::can_bus::flr::test
