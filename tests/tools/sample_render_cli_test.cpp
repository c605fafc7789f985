// The lumora-sample-render command line: option parsing, messages and exit status of the real
// executable.

#include <gtest/gtest.h>

#include <tuple>

#include "cli/run_program.hpp"
#include "lumora/image/exr_loader.hpp"
#include "sample_render/options.hpp"

namespace lumora::sample {
namespace {

namespace fs = std::filesystem;

TEST(SampleRenderOptions, ValuesOfEveryOption) {
    const auto parsed = parseOptions(std::vector<std::string>{
        "--size", "64x36", "--passes=5", "--seed", "4294967295", "--region", "8,4,40,30", "--adaptive",
        "--no-denoising-data", "--set", "float colorMap.gamma = 2", "--set", "bool bloomGlare.enabled = true",
        "--threads", "3", "--preview", "p.png", "out.lxr"});
    ASSERT_TRUE(parsed.has_value()) << parsed.error();
    EXPECT_EQ(std::tie(parsed->width, parsed->height, parsed->passes, parsed->seed, parsed->threads),
              std::make_tuple(64, 36, 5, 4294967295u, 3));
    EXPECT_EQ(parsed->dataWindow(), (Bucket{{8, 4}, {40, 30}}));
    EXPECT_TRUE(parsed->adaptive && !parsed->denoisingData);
    EXPECT_EQ(parsed->settingsLines,
              (std::vector<std::string>{"float colorMap.gamma = 2", "bool bloomGlare.enabled = true"}));
    EXPECT_EQ(parsed->preview + " " + parsed->output, "p.png out.lxr");
    // Without a region the whole frame is rendered.
    EXPECT_EQ(parseOptions(std::vector<std::string>{"out.lxr"})->dataWindow(), (Bucket{{0, 0}, {640, 360}}));
}

TEST(SampleRenderOptions, BadOptionsAreExplained) {
    const std::string size = "expected WxH with whole numbers from 1 to 16384, for example 640x360.";
    const std::string region = "expected x0,y0,x1,y1 with whole numbers (x1 and y1 exclusive).";
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, "No output file given."}, {{"a.lxr", "b.lxr"}, "More than one output file given: 'a.lxr' and 'b.lxr'."},
        {{"--frobnicate", "a.lxr"}, "Unknown option '--frobnicate'."},
        {{"a.lxr", "--passes"}, "Option --passes needs a value."},
        {{"--size", "640", "a.lxr"}, "Invalid --size value '640': " + size},
        {{"--passes", "2.5", "a.lxr"}, "Invalid --passes value '2.5': expected a whole number from 1 to 65536."},
        {{"--seed", "-1", "a.lxr"}, "Invalid --seed value '-1': expected a whole number from 0 to 4294967295."},
        {{"--region", "1,2,3,4,5", "a.lxr"}, "Invalid --region value '1,2,3,4,5': " + region},
        {{"--size", "64x36", "--region", "0,0,65,36", "a.lxr"},
         "The region 0,0,65,36 is empty or does not lie inside the 64x36 frame."}};
    for (const auto& [arguments, message] : cases) {
        const auto parsed = parseOptions(arguments);
        EXPECT_EQ(parsed ? std::string("(parsed)") : parsed.error(), message) << testing::PrintToString(arguments);
    }
}

TEST(SampleRenderTool, WritesAnLxrAndReportsErrorsWithStatusOne) {
    const fs::path folder = test::processFolder("sample_render_cli");
    const auto run = [&](const std::vector<std::string>& arguments) {
        return test::runProgram(LUMORA_SAMPLE_RENDER_EXE, arguments, folder);
    };
    fs::remove(folder / "tiny.lxr");
    const test::Outcome ok = run({"--size", "16x9", "--passes", "2", "--preview", "tiny.png", "tiny.lxr"});
    EXPECT_EQ(ok.status, 0) << ok.err;
    EXPECT_EQ(ok.out + ok.err, "");
    const auto loaded = ExrLoader().load(folder / "tiny.lxr");
    ASSERT_TRUE(loaded.has_value()) << loaded.error();
    EXPECT_TRUE(isLumoraExr(*loaded));
    EXPECT_GT(fs::file_size(folder / "tiny.png"), 0u);

    // The option messages themselves are checked above; here how the program reports one.
    const std::string hint = "\nRun 'lumora-sample-render --help' for the options.\n";
    const test::Outcome badSetting = run({"--size", "4x4", "--set", "float colorMap.nothing = 1", "tiny.lxr"});
    EXPECT_EQ(badSetting.status, 1);
    EXPECT_EQ(badSetting.err, "Error: Error in.conf file 'Conf::parseLine' (line 1) : Unknown property.\n Whole line : "
                              "float colorMap.nothing = 1" + hint);

    const test::Outcome help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out, usageText());
}

}  // namespace
}  // namespace lumora::sample
