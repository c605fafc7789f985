// Runs the built editor on sample renders, as users and render-farm scripts do, and checks the
// files it writes (pictures read back with OpenImageIO), everything it prints and its exit status.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>

#include "cli/expected_texts.hpp"
#include "cli/run_program.hpp"
#include "image/read_picture.hpp"
#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_saver.hpp"
#include "lumora/image/property_attributes.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "pipeline/pipeline_test_support.hpp"
#include "sample_render/render.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;
using test::Outcome;

const fs::path& folder() {
    static const fs::path path = test::processFolder("editor_run");
    return path;
}

// The editor finds no GPU libraries, whatever this machine has.
const bool noGpuLibraries = ::setenv("LUMORA_OPTIX_PATH", (folder() / "no_gpu_libraries").c_str(), 1) == 0;

ChannelImage render(int width, int height, int passes, std::uint32_t seed, std::vector<std::string> settings = {},
                    bool denoisingData = true) {
    sample::RenderOptions options;
    options.width = width, options.height = height, options.passes = passes, options.seed = seed;
    options.settingsLines = std::move(settings);
    options.denoisingData = denoisingData;
    return sample::renderLxr(options);
}

ChannelImage without(ChannelImage image, const std::vector<std::string>& channels) {
    for (const std::string& channel : channels) image.channels().erase(channel);
    return image;
}

// The inputs of the runs, each made the first time a test asks for it.
const std::map<std::string, std::function<ChannelImage()>>& inputMakers() {
    static const std::map<std::string, std::function<ChannelImage()>> makers{
        {"n1.lxr", [] { return render(64, 36, 8, 1); }},
        {"n2.lxr", [] { return render(64, 36, 8, 2); }},
        {"n3.lxr", [] { return render(64, 36, 8, 3); }},
        {"gamma2.lxr", [] { return render(64, 36, 8, 4, {"float colorMap.gamma = 2"}); }},
        {"big.lxr", [] { return render(80, 36, 8, 5); }},
        {"onepass.lxr", [] { return render(64, 36, 1, 6); }},
        {"nodata.lxr", [] { return render(64, 36, 8, 7, {}, false); }},
        {"noweights.lxr", [] { return without(render(64, 36, 8, 8), {names::weights}); }},
        {"nonormals.lxr",
         [] { return without(render(64, 36, 8, 10), {"VisibleNormals.R", "VisibleNormals.G", "VisibleNormals.B"}); }},
        {"virtual.lxr",
         [] {
             auto image = render(64, 36, 8, 9);
             for (const char* c : {"R", "G", "B"}) {
                 image.addChannel(std::make_unique<Channel<float>>(std::string("LightMix Interactive.") + c, 64, 36));
             }
             return image;
         }},
    };
    return makers;
}

void prepare(const std::vector<std::string>& arguments) {
    static std::map<std::string, bool> made;
    for (const std::string& argument : arguments) {
        const auto maker = inputMakers().find(argument);
        if (maker != inputMakers().end() && !made[argument]) {
            const auto saved = ExrSaver().save(maker->second(), folder() / argument);
            ASSERT_TRUE(saved) << saved.error();
            made[argument] = true;
        }
    }
}

// Runs the editor in the scratch folder; the inputs named among the arguments are made first and
// the output (the last argument) is removed first.
Outcome runEditor(const std::vector<std::string>& arguments) {
    prepare(arguments);
    if (!arguments.empty()) fs::remove(folder() / arguments.back());
    return test::runProgram(LUMORA_EDITOR_EXE, arguments, folder());
}

// Runs the editor and expects success with nothing printed but the given warnings.
void expectSuccess(const std::vector<std::string>& arguments, const std::string& warnings = "") {
    const Outcome outcome = runEditor(arguments);
    EXPECT_EQ(outcome.status, 0) << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, warnings) << testing::PrintToString(arguments);
}

ChannelImage loadOutput(const std::string& name) {
    auto loaded = ExrLoader().load(folder() / name);
    EXPECT_TRUE(loaded) << loaded.error();
    return loaded ? std::move(*loaded) : ChannelImage{};
}

// The channels of a written file whose image the editor itself does not read back (a single
// element other than the beauty).
std::vector<std::string> fileChannels(const std::string& name) {
    std::vector<std::string> result;
    try {
        Imf::InputFile file((folder() / name).c_str());
        for (auto it = file.header().channels().begin(); it != file.header().channels().end(); ++it) {
            result.push_back(it.name());
        }
    } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
    }
    return result;
}

const std::string kEditor = "lumora-image-editor";
const std::string kFireflies = "Int denoise.filterType = Fireflies";
const std::string kNormalsSkipped =
    "Render element Normals cannot be denoised (required auxiliary denoising data are not gathered for it). "
    "Skipping the element.\n";

std::optional<Property> storedProperty(const ChannelImage& image, int id) {
    return readPropertyAttribute(image, *PropertyDescriptor::get(id));
}

struct FailureCase {
    std::string name;
    std::vector<std::string> arguments;
    std::string message;
    std::string warnings = "";
};

void PrintTo(const FailureCase& c, std::ostream* out) { *out << c.name; }
std::string caseName(const testing::TestParamInfo<FailureCase>& info) { return info.param.name; }

class EditorFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(EditorFailure, IsReportedAsAWholeMessageWithStatusOneAndLeavesEveryFileAsItWas) {
    ASSERT_TRUE(noGpuLibraries);
    const auto& arguments = GetParam().arguments;
    prepare(arguments);
    // An earlier file of the output's name stays as it was.
    const fs::path output = folder() / arguments.back();
    const bool earlier = fs::exists(output.parent_path());
    if (earlier) std::ofstream(output) << "earlier";
    const std::vector<std::string> streams{"stdout.txt", "stderr.txt"};
    const auto before = test::filesIn(folder(), streams);

    const Outcome outcome = test::runProgram(LUMORA_EDITOR_EXE, arguments, folder());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, GetParam().warnings + test::expectedErrorReport(GetParam().message));
    EXPECT_EQ(test::filesIn(folder(), streams), before);
    if (earlier) {
        EXPECT_EQ(test::readText(output), "earlier");
    }
}

std::string notSavable(const std::string& element) {
    return "Render element \"" + element +
           "\" cannot be saved to Lumora EXR.\nThe element either does not exist, or saving such element alone is "
           "not supported.";
}

INSTANTIATE_TEST_SUITE_P(
    Load, EditorFailure,
    testing::Values(
        FailureCase{"MismatchedWeights", {"-w", "1;2;3", "n1.lxr", "n2.lxr", "out.lxr"},
                    "Number of specified weights is mismatched with number of input images.\n\nYou can either set no "
                    "weight at all which will lead to a default (%LUMORA_FB_WEIGHTS) for all input images, or set only "
                    "one weight to actually change the default, or set same number of weights as the number of input "
                    "images."},
        FailureCase{"MissingDefaultWeightChannel", {"n1.lxr", "noweights.lxr", "out.lxr"},
                    test::missingWeightsMessage("noweights.lxr", "LUMORA_FB_WEIGHTS", kEditor)},
        FailureCase{"MissingNamedWeightChannel", {"--weights", "%Passes", "n1.lxr", "n2.lxr", "out.lxr"},
                    test::missingWeightsMessage("n1.lxr", "Passes", kEditor)},
        FailureCase{"DoesNotFit", {"n1.lxr", "big.lxr", "out.lxr"},
                    "Image \"big.lxr\" does not fit within the merged output image.\n\nThe first image loaded for "
                    "merging defines the dimensions of the output image. All other images to be merged have to fit "
                    "within those dimensions, otherwise they are not compatible for the merging."},
        FailureCase{"StoredVirtualElement", {"virtual.lxr", "out.lxr"},
                    "Render element \"LightMix Interactive\" is expected to be virtual and computed in real time. It "
                    "shall not be physically stored."},
        FailureCase{"UnreadableInput", {"n1.lxr", "missing.lxr", "out.lxr"},
                    "Cannot operate with image file \"missing.lxr\". No such file or directory."},
        // The reason "Is a directory." contains the path "." itself, which must still be named.
        FailureCase{"FolderInput", {".", "out.lxr"}, "Cannot operate with image file \".\". Is a directory."}),
    caseName);

INSTANTIATE_TEST_SUITE_P(
    Denoise, EditorFailure,
    testing::Values(
        // Example 7 of --list-examples with an element that the inputs do not have.
        FailureCase{"UnknownElement",
                    {"--set", kFireflies, "--element", "some element name", "n1.lxr", "n2.lxr", "n3.lxr",
                     "OutputElement.lxr"},
                    "Render element some element name does not exist, or cannot be considered for denoising (it is "
                    "hidden, or it is not an RGB element)."},
        FailureCase{"SinglePassRender", {"-s", kFireflies, "onepass.lxr", "out.lxr"},
                    "No part of the image has been rendered with at least 2 passes.", kNormalsSkipped},
        FailureCase{"NoWeightChannel", {"-s", kFireflies, "noweights.lxr", "out.lxr"},
                    "The image is missing \"LUMORA_FB_WEIGHTS\" render element.", kNormalsSkipped},
        // No GPU libraries: the editor's runs below load them from an empty folder.
        FailureCase{"AiDenoiserWithoutGpuLibraries",
                    {"-s", "Int denoise.filterType = NVIDIA AI denoiser", "n1.lxr", "out.lxr"},
                    "Unable to load required DLLs. Please follow the provided link for more information and "
                    "suggestions on how to fix this issue.\nMissing DLL: liboptix.so.51",
                    kNormalsSkipped},
        FailureCase{"NoDenoisableLightSelects", {"-s", kFireflies, "-e", "LightMix Interactive", "nodata.lxr", "out.lxr"},
                    "There are not selected any denoisable render elements to be denoised. You need to select some "
                    "first."}),
    caseName);

INSTANTIATE_TEST_SUITE_P(
    Save, EditorFailure,
    testing::Values(
        // Without denoising an unknown element fails only when saving.
        FailureCase{"UnknownElement", {"-e", "some element name", "n1.lxr", "out.lxr"}, notSavable("some element name")},
        FailureCase{"VirtualElement", {"-e", "LightMix Interactive", "n1.lxr", "out.lxr"},
                    notSavable("LightMix Interactive")},
        FailureCase{"UnwritablePath", {"n1.lxr", "nodir/out.lxr"},
                    "Cannot operate with image file \"nodir/out.lxr\". No such file or directory."},
        FailureCase{"NoExtension", {"n1.lxr", "out"},
                    "Well-formed output image path having a file extension is expected."}),
    caseName);

INSTANTIATE_TEST_SUITE_P(
    Picture, EditorFailure,
    testing::Values(
        FailureCase{"UnknownFormat", {"n1.lxr", "Output.txt"},
                    "Images cannot be saved in the \"txt\" format: no supported image format has that file extension."},
        FailureCase{"ReadOnlyFormat", {"n1.lxr", "Output.PSD"},
                    "Images cannot be saved in the \"psd\" format: it can be read, but not written."},
        FailureCase{"UnknownElement", {"-e", "Nope", "n1.lxr", "Output.tif"},
                    "There are not selected any render elements that can be saved. You need to select at least one."},
        FailureCase{"UnwritablePath", {"n1.lxr", "nodir/Output.png"},
                    "Cannot operate with image file \"nodir/Output.png\". No such file or directory."}),
    caseName);

const std::vector<std::string> kDenoisedBeauty{"A", "B", "Denoised.A", "Denoised.B", "Denoised.G", "Denoised.R", "G", "R"};

TEST(EditorRun, DenoisingOneElementSavesItAloneWithItsDenoisedVariant) {
    // Examples 3 and 7 of --list-examples, in the fireflies mode.
    expectSuccess({"--set", kFireflies, "--element", "BEAUTY", "n1.lxr", "OutputBeauty.LXR"});
    const ChannelImage output = loadOutput("OutputBeauty.LXR");
    EXPECT_EQ(test::channelNames(output, true), kDenoisedBeauty);
    EXPECT_TRUE(isLumoraExr(output));
    expectSuccess({"--set", kFireflies, "--element", "Key", "n1.lxr", "n2.lxr", "n3.lxr", "Key.lxr"});
    EXPECT_EQ(fileChannels("Key.lxr"),
              (std::vector<std::string>{"DenoisedKey.B", "DenoisedKey.G", "DenoisedKey.R", "Key.B", "Key.G", "Key.R"}));
    // An element that denoising skips is still saved alone.
    expectSuccess({"-s", kFireflies, "-e", "Normals", "n1.lxr", "Normals.lxr"}, kNormalsSkipped);
    EXPECT_EQ(fileChannels("Normals.lxr"), (std::vector<std::string>{"Normals.B", "Normals.G", "Normals.R"}));
}

TEST(EditorRun, DenoisingAllElementsWarnsAboutTheOnesWithoutDenoisingDataAndKeepsEverything) {
    // Example 4 of --list-examples, with the settings in a configuration file.
    std::ofstream(folder() / "DenoisingSettings.conf") << kFireflies << "\nFloat colorMap.simpleExposure = 1.5\n";
    expectSuccess({"--config", "DenoisingSettings.conf", "--element", "*", "n1.lxr", "Output.lxr"}, kNormalsSkipped);
    const ChannelImage input = loadOutput("n1.lxr");
    const ChannelImage output = loadOutput("Output.lxr");
    auto expected = test::channelNames(input);
    for (const std::string element : {"Denoised", "DenoisedFill", "DenoisedKey", "DenoisedSpot"}) {
        for (const char* c : {"R", "G", "B"}) expected.push_back(element + "." + c);
    }
    expected.push_back("Denoised.A");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(test::channelNames(output, true), expected);
    EXPECT_EQ(output.getAttribute<std::string>(names::elements)->value,
              input.getAttribute<std::string>(names::elements)->value);
    EXPECT_EQ(storedProperty(output, PropertyId::colorMapSimpleExposure), Property(1.5f));
}

// The full mode's results are checked through the operators on a render and its reference.
TEST(EditorRun, FullModeWithoutARequiredFeatureSkipsEveryElement) {
    const std::string full = "Int denoise.filterType = Full";
    std::string warnings;
    for (const std::string element : {"BEAUTY", "Fill", "Key", "Normals", "Spot"}) {
        warnings += "Render element " + element +
                    " cannot be denoised (required auxiliary denoising data are not gathered for it). Skipping the "
                    "element.\n";
    }
    expectSuccess({"-s", full, "nonormals.lxr", "Skipped.lxr"}, warnings);
    for (const std::string& channel : fileChannels("Skipped.lxr")) EXPECT_FALSE(channel.starts_with("Denoised")) << channel;
}

float value(const ChannelImage& image, const char* channel, int x, int y) {
    return image.getChannel<float>(channel)->at(x, y);
}

TEST(EditorRun, MergingNodesGivesTheWeightedMeanAndAMergedFileMergesAgain) {
    // Examples 5 and 6 of --list-examples.
    expectSuccess({"n1.lxr", "n2.lxr", "n3.lxr", "Output.lxr"});
    const ChannelImage merged = loadOutput("Output.lxr");
    EXPECT_EQ(merged.getAttribute<int>(names::statsPasses)->value, 24);

    expectSuccess({"--weights", "84;%LUMORA_FB_WEIGHTS;117", "n1.lxr", "n2.lxr", "n3.lxr", "W.lxr"});
    const ChannelImage in1 = loadOutput("n1.lxr"), in2 = loadOutput("n2.lxr"), in3 = loadOutput("n3.lxr");
    const ChannelImage weighted = loadOutput("W.lxr");
    for (const auto& [x, y] : std::vector<std::pair<int, int>>{{0, 0}, {31, 17}, {63, 35}}) {
        const float w2 = value(in2, names::weights, x, y);
        for (const char* c : {"R", "Key.G", "SqrBeauty.B"}) {
            const float expected =
                (84.f * value(in1, c, x, y) + w2 * value(in2, c, x, y) + 117.f * value(in3, c, x, y)) / (84.f + w2 + 117.f);
            EXPECT_NEAR(value(weighted, c, x, y), expected, 1e-5f * std::max(1.f, std::fabs(expected)))
                << c << " at " << x << "," << y;
        }
    }

    // A merged file merges again with no metadata warning: it agrees with the renders it came
    // from. The merge's values and weight sums are the accumulator tests' part.
    expectSuccess({"n1.lxr", "n2.lxr", "N12.lxr"});
    expectSuccess({"N12.lxr", "n3.lxr", "Again.lxr"});
    const ChannelImage twice = loadOutput("Again.lxr");
    EXPECT_EQ(test::channelNames(twice, true), test::channelNames(merged, true));
    EXPECT_EQ(twice.getAttribute<int>(names::statsPasses)->value, 24);
}

TEST(EditorRun, CommandLineValuesOverrideStoredOnesAndDifferingInputsWarn) {
    // Without denoising no element is skipped, so nothing warns.
    expectSuccess({"gamma2.lxr", "Kept.lxr"});
    EXPECT_EQ(storedProperty(loadOutput("Kept.lxr"), PropertyId::colorMapGamma), Property(2.f));
    expectSuccess({"--set", "Float colorMap.gamma = 1.5", "gamma2.lxr", "Set.lxr"});
    EXPECT_EQ(storedProperty(loadOutput("Set.lxr"), PropertyId::colorMapGamma), Property(1.5f));
    expectSuccess({"n1.lxr", "gamma2.lxr", "Differ.lxr"},
                  "One or more postprocessing properties differed among the merged images. Using properties from the "
                  "first image.\n");
    EXPECT_EQ(storedProperty(loadOutput("Differ.lxr"), PropertyId::colorMapGamma),
              PropertyDescriptor::get(PropertyId::colorMapGamma)->defaultValue);
}

// A fresh subfolder of the scratch folder for the pictures of one run.
fs::path pictureFolder(const std::string& name) {
    fs::remove_all(folder() / name);
    fs::create_directories(folder() / name);
    return folder() / name;
}

TEST(EditorRun, EverySavableElementGetsItsOwnPictureNamedAfterIt) {
    // Example 1 of --list-examples.
    const fs::path pictures = pictureFolder("all");
    expectSuccess({"n1.lxr", "all/Output.png"});
    const std::vector<std::string> files{"Output.png", "Output_Alpha.png", "Output_Bloom and Glare Interactive.png",
                                         "Output_Fill.png", "Output_Key.png", "Output_LightMix Interactive.png",
                                         "Output_Normals.png", "Output_Spot.png", "Output_ZDepth.png"};
    ASSERT_EQ(test::filesIn(pictures), files);
    for (const std::string& name : files) {
        const test::ReadPicture picture = test::readPicture(pictures / name);
        EXPECT_EQ(picture.error, "") << name;
        EXPECT_EQ(picture.width * 100 + picture.height, 6436) << name;
        EXPECT_EQ(picture.type, OIIO::TypeDesc::UINT8) << name;
        // The beauty has alpha of its own; a single-channel element has its value in every channel.
        const bool fourChannels = name == "Output.png" || name == "Output_Alpha.png" || name == "Output_ZDepth.png";
        EXPECT_EQ(picture.channels, fourChannels ? 4 : 3) << name;
    }

    // The light selects of the sample render add up to the beauty, so the default mix, written
    // without alpha, looks like the beauty wherever the render is.
    const test::ReadPicture beauty = test::readPicture(pictures / "Output.png");
    const test::ReadPicture mix = test::readPicture(pictures / "Output_LightMix Interactive.png");
    double difference = 0.0, brightness = 0.0;
    for (int i = 0; i < 64 * 36 * 3; ++i) {
        const int x = i / 3 % 64, y = i / 192, c = i % 3;
        difference += std::abs(mix.at(x, y, c) - beauty.at(x, y, c));
        brightness += mix.at(x, y, c);
    }
    EXPECT_LT(difference, 0.5 / 255 * 3 * 64 * 36);
    EXPECT_GT(brightness, 0.2 * 3 * 64 * 36);

    // The single-channel elements hold their unmapped values, clamped and rounded to 8 bits.
    const ChannelImage input = loadOutput("n1.lxr");
    for (const auto& [file, channel] : {std::pair{"Output_Alpha.png", "A"}, std::pair{"Output_ZDepth.png", "ZDepth"}}) {
        const test::ReadPicture picture = test::readPicture(pictures / file);
        ASSERT_EQ(picture.channels, 4) << file;
        int between = 0;
        for (int i = 0; i < 64 * 36 * 4; ++i) {
            const float v = value(input, channel, i / 4 % 64, i / 256);
            const float expected = std::round(std::clamp(v, 0.f, 1.f) * 255.f) / 255.f;
            between += expected > 0.f && expected < 1.f;
            ASSERT_NEAR(picture.values[std::size_t(i)], expected, 1e-6f) << file << " value " << i;
        }
        EXPECT_GT(between, 0) << file << ": the test needs values between 0 and 1";
    }
}

TEST(EditorRun, ASingleElementIsWrittenToExactlyTheOutputPathAndRawDataUnmapped) {
    const fs::path pictures = pictureFolder("single");
    // Example 8 of --list-examples, denoising in the fireflies mode.
    expectSuccess({"--set", "BoolArray colorMap.lightmixEnabledLayers = 1, 1, 0", "--set",
                   "FloatArray colorMap.lightmixIntensities = 0.5, 3, 1", "--set",
                   "Vec3Array colorMap.lightmixColors = 0 0 1, 1 0 0, 1 1 1", "--set", kFireflies, "--element",
                   "LightMix Interactive", "n1.lxr", "single/Output.exr"});
    expectSuccess({"-e", "Key", "n1.lxr", "single/key.jpeg"});
    expectSuccess({"-e", "Normals", "n1.lxr", "single/normals.exr"});
    EXPECT_EQ(test::filesIn(pictures), (std::vector<std::string>{"Output.exr", "key.jpeg", "normals.exr"}));
    const test::ReadPicture exr = test::readPicture(pictures / "Output.exr");
    EXPECT_EQ(exr.type, OIIO::TypeDesc::HALF);
    EXPECT_EQ(exr.channels, 3);
    const test::ReadPicture jpeg = test::readPicture(pictures / "key.jpeg");
    EXPECT_EQ(jpeg.format + std::to_string(jpeg.channels), "jpeg3");

    const test::ReadPicture normals = test::readPicture(pictures / "normals.exr");
    ASSERT_EQ(normals.channels, 3);
    const ChannelImage input = loadOutput("n1.lxr");
    bool negative = false;
    for (int i = 0; i < 64 * 36 * 3; ++i) {
        const float v = value(input, std::string("Normals.").append(1, "RGB"[i % 3]).c_str(), i / 3 % 64, i / 192);
        negative |= v < 0.f;
        ASSERT_NEAR(normals.values[std::size_t(i)], v, 1e-3f) << "value " << i;
    }
    EXPECT_TRUE(negative) << "the render's normals should point in every direction";
}

}  // namespace
}  // namespace lumora
