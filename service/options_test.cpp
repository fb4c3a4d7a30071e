#include "service/options.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qv::can_bus::flr {
namespace {

/// The command line of `words`, behind a program name.
std::optional<Options> parse(std::vector<std::string> words)
{
    words.insert(words.begin(), "flintrow");
    std::vector<char*> arguments;
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return parse_options(static_cast<int>(words.size()), arguments.data());
}

std::string text_of(const Options& options)
{
    return "v" + std::to_string(options.verbose) + " q" + std::to_string(options.quiet) +
           (options.vt_enabled ? " vt" : "") + (options.exit_on_completion ? " exit" : "") +
           (options.write_file.empty() ? "" : " write " + options.write_file) +
           (options.baud ? " baud " + std::to_string(*options.baud) : "");
}

struct Command_line {
    std::vector<std::string> words;
    std::string options;
};

class Options_test : public testing::TestWithParam<Command_line> {};

TEST_P(Options_test, are_read) { EXPECT_EQ(text_of(parse(GetParam().words).value()), GetParam().options); }

// clang-format off
INSTANTIATE_TEST_SUITE_P(Command_lines, Options_test, testing::Values(
    Command_line{{},                                       "v0 q0 vt"},
    Command_line{{"-vv", "-q", "-n"},                      "v2 q1"},
    Command_line{{"-w", "image.hex", "-e"},                "v0 q0 exit write image.hex"},
    Command_line{{"--write=a", "--write", "b", "--exit"},  "v0 q0 exit write b"},
    Command_line{{"-d", "/a", "--dir=/b", "stray", "-v"},  "v1 q0 vt"},
    Command_line{{"-b500000"},                             "v0 q0 vt baud 500000"},
    Command_line{{"--baud", "99999999999"},                "v0 q0 vt baud 2147483647"},
    Command_line{{"--baud", "fast"},                       "v0 q0 vt baud 0"}));
// clang-format on

TEST(Usage_test, comes_for_help_for_an_unknown_option_and_for_a_missing_argument)
{
    for (const auto& words : std::vector<std::vector<std::string>>{{"-?"}, {"--help"}, {"-h"}, {"-v", "-w"}}) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(parse(words));
        const auto errors = testing::internal::GetCapturedStderr();
        EXPECT_THAT(errors,
                    testing::HasSubstr("flintrow: An ISO programming utility\nUsage: flintrow [OPTION...]\n\n"));
        EXPECT_THAT(errors, testing::EndsWith("  -b  --baud           Change baud for programming\n"
                                              "  -h, --help           Help menu\n"));
    }
}

} // namespace
} // namespace qv::can_bus::flr
