// Runs the built editor on sample renders, as users and render-farm scripts do, and checks the
// files it writes, everything it prints and its exit status.

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

std::vector<std::string> sortedChannels(const ChannelImage& image) {
    auto names = test::channelNames(image);
    std::sort(names.begin(), names.end());
    return names;
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

std::string notDenoisable(const std::string& element) {
    return "Render element " + element +
           " does not exist, or cannot be considered for denoising (it is hidden, or it is not an RGB element).";
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
                    "Cannot operate with image file \"missing.lxr\". No such file or directory."}),
    caseName);

INSTANTIATE_TEST_SUITE_P(
    Denoise, EditorFailure,
    testing::Values(
        // Example 7 of --list-examples with an element that the inputs do not have.
        FailureCase{"UnknownElement",
                    {"--set", kFireflies, "--element", "some element name", "n1.lxr", "n2.lxr", "n3.lxr",
                     "OutputElement.lxr"},
                    notDenoisable("some element name")},
        FailureCase{"HiddenElement", {"-s", kFireflies, "-e", "SqrBeauty", "n1.lxr", "out.lxr"},
                    notDenoisable("SqrBeauty")},
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
        FailureCase{"HiddenElement", {"-e", "LUMORA_FB_WEIGHTS", "n1.lxr", "out.lxr"}, notSavable("LUMORA_FB_WEIGHTS")},
        FailureCase{"VirtualElement", {"-e", "LightMix Interactive", "n1.lxr", "out.lxr"},
                    notSavable("LightMix Interactive")},
        FailureCase{"UnwritablePath", {"n1.lxr", "nodir/out.lxr"},
                    "Cannot operate with image file \"nodir/out.lxr\". No such file or directory."},
        FailureCase{"NoExtension", {"n1.lxr", "out"},
                    "Well-formed output image path having a file extension is expected."}),
    caseName);

const std::string kNothingToSave =
    "There are not selected any render elements that can be saved. You need to select at least one.";

INSTANTIATE_TEST_SUITE_P(
    Picture, EditorFailure,
    testing::Values(
        FailureCase{"UnknownFormat", {"n1.lxr", "Output.txt"},
                    "Images cannot be saved in the \"txt\" format: no supported image format has that file extension."},
        FailureCase{"ReadOnlyFormat", {"n1.lxr", "Output.PSD"},
                    "Images cannot be saved in the \"psd\" format: it can be read, but not written."},
        FailureCase{"HiddenElement", {"-e", "LUMORA_FB_WEIGHTS", "n1.lxr", "Output.png"}, kNothingToSave},
        FailureCase{"UnknownElement", {"-e", "Nope", "n1.lxr", "Output.tif"}, kNothingToSave},
        FailureCase{"UnwritablePath", {"n1.lxr", "nodir/Output.png"},
                    "Cannot operate with image file \"nodir/Output.png\". No such file or directory."}),
    caseName);

TEST(EditorRun, DenoisingOneElementSavesItAloneWithItsDenoisedVariant) {
    // Example 3 of --list-examples, in the fireflies mode.
    const Outcome outcome = runEditor({"--set", kFireflies, "--element", "BEAUTY", "n1.lxr", "OutputBeauty.LXR"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    const ChannelImage output = loadOutput("OutputBeauty.LXR");
    EXPECT_EQ(sortedChannels(output),
              (std::vector<std::string>{"A", "B", "Denoised.A", "Denoised.B", "Denoised.G", "Denoised.R", "G", "R"}));
    EXPECT_TRUE(isLumoraExr(output));

    // Example 7 with an element that exists.
    const Outcome key = runEditor({"--set", kFireflies, "--element", "Key", "n1.lxr", "n2.lxr", "n3.lxr", "Key.lxr"});
    EXPECT_EQ(key.status, 0);
    EXPECT_EQ(key.err, "");
    EXPECT_EQ(fileChannels("Key.lxr"),
              (std::vector<std::string>{"DenoisedKey.B", "DenoisedKey.G", "DenoisedKey.R", "Key.B", "Key.G", "Key.R"}));
}

TEST(EditorRun, DenoisingAllElementsWarnsAboutTheOnesWithoutDenoisingDataAndKeepsEverything) {
    // Example 4 of --list-examples, with the settings in a configuration file.
    std::ofstream(folder() / "DenoisingSettings.conf") << kFireflies << "\nFloat colorMap.simpleExposure = 1.5\n";
    const Outcome outcome = runEditor({"--config", "DenoisingSettings.conf", "--element", "*", "n1.lxr", "Output.lxr"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, kNormalsSkipped);

    const ChannelImage input = loadOutput("n1.lxr");
    const ChannelImage output = loadOutput("Output.lxr");
    auto expected = test::channelNames(input);
    for (const std::string element : {"Denoised", "DenoisedFill", "DenoisedKey", "DenoisedSpot"}) {
        for (const char* c : {"R", "G", "B"}) expected.push_back(element + "." + c);
    }
    expected.push_back("Denoised.A");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(sortedChannels(output), expected);
    EXPECT_EQ(output.getAttribute<std::string>(names::elements)->value,
              input.getAttribute<std::string>(names::elements)->value);
    EXPECT_EQ(storedProperty(output, PropertyId::colorMapSimpleExposure), Property(1.5f));

    // An element that denoising skips is still saved alone.
    const Outcome normals = runEditor({"-s", kFireflies, "-e", "Normals", "n1.lxr", "Normals.lxr"});
    EXPECT_EQ(normals.status, 0);
    EXPECT_EQ(normals.err, kNormalsSkipped);
    EXPECT_EQ(fileChannels("Normals.lxr"), (std::vector<std::string>{"Normals.B", "Normals.G", "Normals.R"}));
}

TEST(EditorRun, FullModeDenoisesAndWithoutARequiredFeatureSkipsEveryElement) {
    const std::string full = "Int denoise.filterType = Full";
    const Outcome beauty = runEditor({"-s", full, "-e", "BEAUTY", "n1.lxr", "Full.lxr"});
    EXPECT_EQ(beauty.status, 0);
    EXPECT_EQ(beauty.out + beauty.err, "");
    EXPECT_EQ(sortedChannels(loadOutput("Full.lxr")),
              (std::vector<std::string>{"A", "B", "Denoised.A", "Denoised.B", "Denoised.G", "Denoised.R", "G", "R"}));

    const Outcome skipped = runEditor({"-s", full, "nonormals.lxr", "Skipped.lxr"});
    EXPECT_EQ(skipped.status, 0);
    std::string warnings;
    for (const char* element : {"BEAUTY", "Fill", "Key", "Normals", "Spot"}) {
        warnings += "Render element " + std::string(element) +
                    " cannot be denoised (required auxiliary denoising data are not gathered for it). Skipping the "
                    "element.\n";
    }
    EXPECT_EQ(skipped.err, warnings);
    for (const std::string& channel : fileChannels("Skipped.lxr")) {
        EXPECT_FALSE(channel.starts_with("Denoised")) << channel;
    }
}

TEST(EditorRun, MergingNodesGivesTheWeightedMeanAndAMergedFileMergesAgain) {
    // Examples 5 and 6 of --list-examples.
    const Outcome three = runEditor({"n1.lxr", "n2.lxr", "n3.lxr", "Output.lxr"});
    EXPECT_EQ(three.status, 0);
    EXPECT_EQ(three.out + three.err, "");
    const ChannelImage merged = loadOutput("Output.lxr");
    EXPECT_EQ(merged.getAttribute<int>(names::statsPasses)->value, 24);

    const Outcome weighted =
        runEditor({"--weights", "84;%LUMORA_FB_WEIGHTS;117", "n1.lxr", "n2.lxr", "n3.lxr", "W.lxr"});
    EXPECT_EQ(weighted.status, 0);
    EXPECT_EQ(weighted.err, "");
    const ChannelImage in1 = loadOutput("n1.lxr"), in2 = loadOutput("n2.lxr"), in3 = loadOutput("n3.lxr");
    const ChannelImage mean = loadOutput("W.lxr");
    for (const auto& [x, y] : std::vector<std::pair<int, int>>{{0, 0}, {31, 17}, {63, 35}}) {
        const float w2 = in2.getChannel<float>(names::weights)->at(x, y);
        for (const char* c : {"R", "Key.G", "SqrBeauty.B"}) {
            const float expected =
                (84.f * in1.getChannel<float>(c)->at(x, y) + w2 * in2.getChannel<float>(c)->at(x, y) +
                 117.f * in3.getChannel<float>(c)->at(x, y)) /
                (84.f + w2 + 117.f);
            EXPECT_NEAR(mean.getChannel<float>(c)->at(x, y), expected, 1e-5f * std::max(1.f, std::fabs(expected)))
                << c << " at " << x << "," << y;
        }
    }

    // Merging the merge of two nodes with the third equals merging all three at once, with no
    // metadata warning: the written file agrees with the renders it came from.
    ASSERT_EQ(runEditor({"n1.lxr", "n2.lxr", "N12.lxr"}).status, 0);
    const Outcome again = runEditor({"N12.lxr", "n3.lxr", "Again.lxr"});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.err, "");
    const ChannelImage twice = loadOutput("Again.lxr");
    EXPECT_EQ(sortedChannels(twice), sortedChannels(merged));
    EXPECT_EQ(twice.getAttribute<int>(names::statsPasses)->value, 24);
    for (const char* c : {"R", "A", "Fill.B", "LUMORA_FB_WEIGHTS"}) {
        const auto& a = twice.getChannel<float>(c)->data;
        const auto& b = merged.getChannel<float>(c)->data;
        for (std::size_t i = 0; i < a.size(); ++i) {
            ASSERT_NEAR(a[i], b[i], 1e-5f * std::max(1.f, std::fabs(b[i]))) << c << " value " << i;
        }
    }
}

TEST(EditorRun, CommandLineValuesOverrideStoredOnesAndDifferingInputsWarn) {
    // Without denoising no element is skipped, so nothing warns.
    const Outcome kept = runEditor({"gamma2.lxr", "Kept.lxr"});
    EXPECT_EQ(kept.status, 0);
    EXPECT_EQ(kept.out + kept.err, "");
    EXPECT_EQ(storedProperty(loadOutput("Kept.lxr"), PropertyId::colorMapGamma), Property(2.f));

    const Outcome overridden = runEditor({"--set", "Float colorMap.gamma = 1.5", "gamma2.lxr", "Set.lxr"});
    EXPECT_EQ(overridden.status, 0);
    EXPECT_EQ(storedProperty(loadOutput("Set.lxr"), PropertyId::colorMapGamma), Property(1.5f));

    const Outcome merged = runEditor({"n1.lxr", "gamma2.lxr", "Differ.lxr"});
    EXPECT_EQ(merged.status, 0);
    EXPECT_EQ(merged.err,
              "One or more postprocessing properties differed among the merged images. Using properties from the "
              "first image.\n");
    EXPECT_EQ(storedProperty(loadOutput("Differ.lxr"), PropertyId::colorMapGamma),
              PropertyDescriptor::get(PropertyId::colorMapGamma)->defaultValue);
}

}  // namespace
}  // namespace lumora
