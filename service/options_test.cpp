#include "service/options.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "service/test_kit.h"

namespace qv::can_bus::flr {
namespace {

/// What the command line asks for, as text; "usage" for a wrong one.
std::string parse(std::vector<std::string> words)
{
    auto arguments = arguments_of(words);
    const auto options = parse_options(static_cast<int>(words.size()), arguments.data());
    return !options ? "usage"
                    : std::string("v") + std::to_string(options->verbose) + " q" + std::to_string(options->quiet) +
                          (options->vt_enabled ? " vt" : "") + (options->exit_on_completion ? " exit" : "") +
                          " w=" + options->write_file + " d=" + options->directory +
                          " b=" + std::to_string(options->baud.value_or(-1));
}

TEST(Options_test, are_read)
{
    EXPECT_EQ(parse({}), "v0 q0 vt w= d= b=-1");
    EXPECT_EQ(parse({"-vv", "--quiet", "-n"}), "v2 q1 w= d= b=-1");
    EXPECT_EQ(parse({"-w", "a", "--write=b", "--exit"}), "v0 q0 exit w=b d= b=-1");
    EXPECT_EQ(parse({"-d", "/a", "--dir=/b", "stray", "-v"}), "v1 q0 vt w= d=/b b=-1");
    EXPECT_EQ(parse({"-b500000"}), "v0 q0 vt w= d= b=500000");
    EXPECT_EQ(parse({"--baud", "99999999999"}), "v0 q0 vt w= d= b=2147483647");
    testing::internal::CaptureStderr();
    for (const auto* word : {"-?", "--help", "-h", "-w"}) {
        EXPECT_EQ(parse({"-v", word}), "usage");
    }
    testing::internal::GetCapturedStderr(); // the usage, which the whole program's tests look at
}

} // namespace
} // namespace qv::can_bus::flr
