#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace qv::can_bus::flr {

/// A zip archive that is read member by member through the command `unzip -p`.
///
/// The file is held open and handed to the command as a descriptor, so that its name is never more than a name,
/// and all members come from one file even when another takes its place meanwhile. The command is started
/// without a shell, in a session of its own, where it finds no terminal to ask for a password.
///
/// Thread: any; an object belongs to one. `extract` blocks for at most the time limit.
class Zip_archive {
public:
    /// A member with more bytes is refused, and what the command would still unpack is never read.
    static constexpr std::size_t member_limit = 65536;
    static constexpr std::chrono::milliseconds usual_time_limit{10000};

    struct Member {
        int status = -1;   ///< 0, or what `extract` failed with
        std::string bytes; ///< all of the member, with status 0 only
    };

    explicit Zip_archive(const std::string& path, std::chrono::milliseconds time_limit = usual_time_limit);
    ~Zip_archive();
    Zip_archive(const Zip_archive&) = delete;
    Zip_archive& operator=(const Zip_archive&) = delete;

    /// Unpacks one member. The status is that of the command, which is not 0 when the archive is damaged or
    /// encrypted or has no such member; -1 when the archive is not open, the command could not be started, or
    /// had to be ended because it gave too many bytes or took too long.
    [[nodiscard]] Member extract(const std::string& member) const;

private:
    std::chrono::milliseconds time_limit_;
    int descriptor_; ///< above those of standard input, output and errors; -1 when the file could not be opened
};

} // namespace qv::can_bus::flr
