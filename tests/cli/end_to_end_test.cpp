// Runs the built editor as users do and checks everything it writes and its exit status.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/expected_texts.hpp"

extern char** environ;

namespace lumora {
namespace {

namespace fs = std::filesystem;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Runs the editor in a scratch folder with the given arguments.
Outcome runEditor(const std::vector<std::string>& arguments) {
    // ctest runs test programs in parallel: every process gets a folder of its own.
    const fs::path folder = fs::path(LUMORA_TEST_TMP) / ("end_to_end_" + std::to_string(getpid()));
    fs::create_directories(folder);
    const fs::path outPath = folder / "stdout.txt";
    const fs::path errPath = folder / "stderr.txt";

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());

    std::vector<std::string> argv = {LUMORA_EDITOR_EXE};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& argument : argv) pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    Outcome outcome;
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, LUMORA_EDITOR_EXE, &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return outcome;
    int status = 0;
    waitpid(pid, &status, 0);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.out = readFile(outPath);
    outcome.err = readFile(errPath);
    return outcome;
}

const std::string editorName = fs::path(LUMORA_EDITOR_EXE).filename().string();

TEST(EndToEnd, HelpPrintsTheBannerAndTheUsageWithTheBareExecutableName) {
    const Outcome outcome = runEditor({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, test::expectedBanner() + test::expectedUsage("lumora-image-editor"));
    EXPECT_EQ(outcome.err, "");
}

TEST(EndToEnd, OnlyTheFirstInformationalModeCountsAndPathsAreIgnored) {
    EXPECT_EQ(runEditor({"--list-examples", "in.lxr", "-h", "out.png"}).out,
              test::expectedBanner() + test::expectedUsage(editorName));

    const Outcome properties = runEditor({"--list-examples", "--list-properties"});
    EXPECT_EQ(properties.status, 0);
    EXPECT_EQ(properties.out, test::expectedBanner() + test::expectedProperties());

    const Outcome examples = runEditor({"--list-examples"});
    EXPECT_EQ(examples.status, 0);
    EXPECT_EQ(examples.out, test::expectedBanner() + test::expectedExamples(editorName));
    EXPECT_EQ(examples.err, "");
}

struct FailureCase {
    std::vector<std::string> arguments;
    std::string message;
};

class UserErrorTest : public testing::TestWithParam<FailureCase> {};

TEST_P(UserErrorTest, IsReportedOnStandardErrorWithTheHintAndStatusOne) {
    const Outcome outcome = runEditor(GetParam().arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, test::expectedErrorReport(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UserErrorTest,
    testing::Values(
        FailureCase{{}, "At least one input image path is expected."},
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
