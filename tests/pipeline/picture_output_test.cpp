// Runs the built editor on a sample render with picture outputs (PNG, EXR, ...) and checks the
// files it writes, read back with OpenImageIO, what it prints and its exit status.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "cli/run_program.hpp"
#include "image/read_picture.hpp"
#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_saver.hpp"
#include "pipeline/pipeline_test_support.hpp"
#include "sample_render/render.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

constexpr int kWidth = 64;
constexpr int kHeight = 36;

// A fresh folder per test holding the sample render "in.lxr", made once per process.
fs::path prepareFolder() {
    static const ChannelImage render = [] {
        sample::RenderOptions options;
        options.width = kWidth, options.height = kHeight, options.passes = 8, options.seed = 11;
        return sample::renderLxr(options);
    }();
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    const fs::path folder = test::processFolder(std::string("pictures_") + info->name());
    fs::remove_all(folder);
    fs::create_directories(folder);
    const auto saved = ExrSaver().save(render, folder / "in.lxr");
    EXPECT_TRUE(saved) << saved.error();
    return folder;
}

// The files of the folder besides the input and the captured output streams.
std::vector<std::string> written(const fs::path& folder) {
    return test::filesIn(folder, {"in.lxr", "stdout.txt", "stderr.txt"});
}

const Channel<float>& inputChannel(const fs::path& folder, const std::string& name) {
    static ChannelImage input;
    if (input.channels().empty()) input = ExrLoader().load(folder / "in.lxr").value();
    return *input.getChannel<float>(name);
}

TEST(PictureOutput, EverySavableElementGetsItsOwnPictureNamedAfterIt) {
    // Example 1 of --list-examples.
    const fs::path folder = prepareFolder();
    const test::Outcome outcome = test::runProgram(LUMORA_EDITOR_EXE, {"in.lxr", "Output.png"}, folder);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_EQ(written(folder),
              (std::vector<std::string>{"Output.png", "Output_Alpha.png", "Output_Bloom and Glare Interactive.png",
                                        "Output_Fill.png", "Output_Key.png", "Output_LightMix Interactive.png",
                                        "Output_Normals.png", "Output_Spot.png", "Output_ZDepth.png"}));
    for (const std::string& name : written(folder)) {
        const test::ReadPicture picture = test::readPicture(folder / name);
        EXPECT_EQ(picture.error, "") << name;
        EXPECT_EQ(picture.width, kWidth) << name;
        EXPECT_EQ(picture.height, kHeight) << name;
        EXPECT_EQ(picture.type, OIIO::TypeDesc::UINT8) << name;
        // The beauty has alpha of its own; a single-channel element has its value in every channel.
        const bool mono = name == "Output_Alpha.png" || name == "Output_ZDepth.png";
        EXPECT_EQ(picture.channels, name == "Output.png" || mono ? 4 : 3) << name;
    }

    // The light selects of the sample render add up to the beauty, so the default mix, written
    // without alpha, looks like the beauty wherever the render is.
    const test::ReadPicture beauty = test::readPicture(folder / "Output.png");
    const test::ReadPicture mix = test::readPicture(folder / "Output_LightMix Interactive.png");
    ASSERT_EQ(mix.values.size() / 3, beauty.values.size() / 4);
    double difference = 0.0, brightness = 0.0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            for (int c = 0; c < 3; ++c) {
                difference += std::abs(mix.at(x, y, c) - beauty.at(x, y, c));
                brightness += mix.at(x, y, c);
            }
        }
    }
    EXPECT_LT(difference, 0.5 / 255 * 3 * kWidth * kHeight);
    EXPECT_GT(brightness, 0.2 * 3 * kWidth * kHeight);

    // The single-channel elements hold their unmapped values, clamped and rounded to 8 bits.
    for (const auto& [file, channel] : {std::pair{"Output_Alpha.png", "A"}, std::pair{"Output_ZDepth.png", "ZDepth"}}) {
        const test::ReadPicture picture = test::readPicture(folder / file);
        ASSERT_EQ(picture.channels, 4) << file;
        const Channel<float>& input = inputChannel(folder, channel);
        int between = 0;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const float expected = std::round(std::clamp(input.at(x, y), 0.f, 1.f) * 255.f) / 255.f;
                between += expected > 0.f && expected < 1.f;
                for (int c = 0; c < 4; ++c) ASSERT_NEAR(picture.at(x, y, c), expected, 1e-6f) << file << " " << x << "," << y;
            }
        }
        EXPECT_GT(between, 0) << file << ": the test needs values between 0 and 1";
    }
}

TEST(PictureOutput, ASingleElementIsWrittenToExactlyTheOutputPath) {
    const fs::path folder = prepareFolder();
    // Example 8 of --list-examples, denoising in the fireflies mode.
    const test::Outcome mix = test::runProgram(
        LUMORA_EDITOR_EXE,
        {"--set", "BoolArray colorMap.lightmixEnabledLayers = 1, 1, 0", "--set",
         "FloatArray colorMap.lightmixIntensities = 0.5, 3, 1", "--set",
         "Vec3Array colorMap.lightmixColors = 0 0 1, 1 0 0, 1 1 1", "--set", "Int denoise.filterType = Fireflies",
         "--element", "LightMix Interactive", "in.lxr", "Output.exr"},
        folder);
    EXPECT_EQ(mix.status, 0);
    EXPECT_EQ(mix.out + mix.err, "");
    const test::Outcome key = test::runProgram(LUMORA_EDITOR_EXE, {"-e", "Key", "in.lxr", "key.jpeg"}, folder);
    EXPECT_EQ(key.status, 0);
    EXPECT_EQ(written(folder), (std::vector<std::string>{"Output.exr", "key.jpeg"}));

    const test::ReadPicture exr = test::readPicture(folder / "Output.exr");
    EXPECT_EQ(exr.type, OIIO::TypeDesc::HALF);
    EXPECT_EQ(exr.channels, 3);
    const test::ReadPicture jpeg = test::readPicture(folder / "key.jpeg");
    EXPECT_EQ(jpeg.format, "jpeg");
    EXPECT_EQ(jpeg.channels, 3);
}

TEST(PictureOutput, RawDataIsWrittenUnmapped) {
    const fs::path folder = prepareFolder();
    ASSERT_EQ(test::runProgram(LUMORA_EDITOR_EXE, {"-e", "Normals", "in.lxr", "normals.exr"}, folder).status, 0);
    const test::ReadPicture normals = test::readPicture(folder / "normals.exr");
    ASSERT_EQ(normals.channels, 3);
    const char* channels[] = {"Normals.R", "Normals.G", "Normals.B"};
    bool negative = false;
    for (int c = 0; c < 3; ++c) {
        const Channel<float>& input = inputChannel(folder, channels[c]);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const float expected = input.at(x, y);
                negative |= expected < 0.f;
                ASSERT_NEAR(normals.at(x, y, c), expected, 1e-3f) << channels[c] << " at " << x << "," << y;
            }
        }
    }
    EXPECT_TRUE(negative) << "the render's normals should point in every direction";
}

}  // namespace
}  // namespace lumora
