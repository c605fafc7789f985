// Runs the built editor as users do and checks everything it writes and its exit status.

#include <gtest/gtest.h>

#include "cli/expected_texts.hpp"
#include "cli/run_program.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

test::Outcome runEditor(const std::vector<std::string>& arguments) {
    static const fs::path folder = test::processFolder("end_to_end");
    return test::runProgram(LUMORA_EDITOR_EXE, arguments, folder);
}

const std::string editorName = fs::path(LUMORA_EDITOR_EXE).filename().string();

TEST(EndToEnd, OnlyTheFirstInformationalModeCountsAndPathsAreIgnored) {
    struct Case {
        std::vector<std::string> arguments;
        std::uint64_t fingerprint;
    };
    const std::vector<Case> cases{
        {{"--help"}, test::kUsageFingerprint},
        {{"--list-examples", "in.lxr", "-h", "out.png"}, test::kUsageFingerprint},
        {{"--list-examples", "--list-properties"}, test::kPropertiesFingerprint},
        {{"--list-examples"}, test::kExamplesFingerprint},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        const test::Outcome outcome = runEditor(c.arguments);
        EXPECT_EQ(outcome.status, 0);
        ASSERT_TRUE(outcome.out.starts_with(test::expectedBanner())) << outcome.out;
        EXPECT_EQ(test::fingerprint(outcome.out.substr(test::expectedBanner().size()), editorName), c.fingerprint)
            << outcome.out;
        EXPECT_EQ(outcome.err, "");
    }
}

struct FailureCase {
    std::vector<std::string> arguments;
    std::string message;
};

class UserErrorTest : public testing::TestWithParam<FailureCase> {};

TEST_P(UserErrorTest, IsReportedOnStandardErrorWithTheHintAndStatusOne) {
    const test::Outcome outcome = runEditor(GetParam().arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, test::expectedErrorReport(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UserErrorTest,
    testing::Values(
        FailureCase{{"--weights", "1;-2", "a.lxr", "out.png"}, "Argument \"weights\" expects some valid value."},
        FailureCase{{"--set", "Float colorMap.exposure = 1", "--help"},
                    "Error in.conf file 'Io::TextInputStream' (line 1) : Unknown property.\n Whole line : Float "
                    "colorMap.exposure = 1"},
        FailureCase{{"-s", "Float colorMap.simpleExposure = 21", "a.lxr", "out.png"},
                    "Property colorMap.simpleExposure is invalid. Value is expected to be between -20 and 20."},
        FailureCase{{"--config", "missing.conf", "a.lxr", "out.png"},
                    "Cannot open the configuration file 'missing.conf'."},
        FailureCase{{"--verbose", "a.lxr", "out.png"}, "Argument \"verbose\" is not recognized."},
        FailureCase{{"a.lxr", "out.png", "-e"}, "Argument \"e\" expects some valid value."}));

}  // namespace
}  // namespace lumora
