// Runs the built editor on sample renders, as users and render-farm scripts do, and checks the
// files it writes, everything it prints and its exit status.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>

#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_saver.hpp"
#include "lumora/image/property_attributes.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "pipeline/pipeline_test_support.hpp"
#include "sample_render/render.hpp"

extern char** environ;

namespace lumora {
namespace {

namespace fs = std::filesystem;

const fs::path& folder() {
    static const fs::path path = test::scratchFolder("editor_run");
    return path;
}

void save(const ChannelImage& image, const std::string& name) {
    const auto saved = ExrSaver().save(image, folder() / name);
    ASSERT_TRUE(saved) << saved.error();
}

ChannelImage render(int width, int height, int passes, std::uint32_t seed, std::vector<std::string> settings = {},
                    bool denoisingData = true) {
    sample::RenderOptions options;
    options.width = width;
    options.height = height;
    options.passes = passes;
    options.seed = seed;
    options.settingsLines = std::move(settings);
    options.denoisingData = denoisingData;
    return sample::renderLxr(options);
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
        {"noweights.lxr",
         [] {
             auto image = render(64, 36, 8, 8);
             image.channels().erase(names::weights);
             return image;
         }},
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
            save(maker->second(), argument);
            made[argument] = true;
        }
    }
}

std::string readText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the editor in the scratch folder; the inputs named among the arguments are made first and
// the output (the last argument) is removed first.
Outcome runEditor(const std::vector<std::string>& arguments) {
    prepare(arguments);
    if (!arguments.empty()) fs::remove(folder() / arguments.back());
    const fs::path outPath = folder() / "stdout.txt";
    const fs::path errPath = folder() / "stderr.txt";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addchdir_np(&actions, folder().c_str());

    std::vector<std::string> argv{LUMORA_EDITOR_EXE};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& argument : argv) pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    Outcome outcome;
    pid_t pid = 0;
    if (posix_spawn(&pid, LUMORA_EDITOR_EXE, &actions, nullptr, pointers.data(), environ) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    outcome.out = readText(outPath);
    outcome.err = readText(errPath);
    return outcome;
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

std::string errorReport(const std::string& message) {
    return "\nError: " + message +
           "\n\nPlease read the help for the editor. The appropriate part of the help can be printed out by using one "
           "of the --help, --list-properties, or --list-examples arguments.\n";
}

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
    std::string warnings;
    std::string message;
};

void PrintTo(const FailureCase& c, std::ostream* out) { *out << c.name; }

class EditorFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(EditorFailure, IsReportedAsAWholeMessageWithStatusOneAndWritesNothing) {
    const Outcome outcome = runEditor(GetParam().arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, GetParam().warnings + errorReport(GetParam().message));
    EXPECT_FALSE(fs::exists(folder() / GetParam().arguments.back()));
}

const std::string kMissingWeights =
    "\", expected to contain pixel weights.\n\nFor each pixel to be merged its weight is required. For this purpose "
    "mergeable images store a special weight channel defining a weight of each pixel of the image. By default Lumora "
    "Renderer names this channel \"LUMORA_FB_WEIGHTS\".\n\nIf the weight channel exists but with a different name "
    "than the expected default, please explicitly specify the channel name - see help (lumora-image-editor -h) for "
    "how to do this. The other available option is to specify a constant weight for all pixels.";

INSTANTIATE_TEST_SUITE_P(
    Load, EditorFailure,
    testing::Values(
        FailureCase{"NoInputs", {"out.lxr"}, "", "At least one input image path is expected."},
        FailureCase{"MismatchedWeights",
                    {"-w", "1;2;3", "n1.lxr", "n2.lxr", "out.lxr"},
                    "",
                    "Number of specified weights is mismatched with number of input images.\n\nYou can either set no "
                    "weight at all which will lead to a default (%LUMORA_FB_WEIGHTS) for all input images, or set only "
                    "one weight to actually change the default, or set same number of weights as the number of input "
                    "images."},
        FailureCase{"MissingDefaultWeightChannel",
                    {"n1.lxr", "noweights.lxr", "out.lxr"},
                    "",
                    "Image \"noweights.lxr\" is missing channel \"LUMORA_FB_WEIGHTS" + kMissingWeights},
        FailureCase{"MissingNamedWeightChannel",
                    {"--weights", "%Passes", "n1.lxr", "n2.lxr", "out.lxr"},
                    "",
                    "Image \"n1.lxr\" is missing channel \"Passes" + kMissingWeights},
        FailureCase{"DoesNotFit",
                    {"n1.lxr", "big.lxr", "out.lxr"},
                    "",
                    "Image \"big.lxr\" does not fit within the merged output image.\n\nThe first image loaded for "
                    "merging defines the dimensions of the output image. All other images to be merged have to fit "
                    "within those dimensions, otherwise they are not compatible for the merging."},
        FailureCase{"StoredVirtualElement",
                    {"virtual.lxr", "out.lxr"},
                    "",
                    "Render element \"LightMix Interactive\" is expected to be virtual and computed in real time. It "
                    "shall not be physically stored."},
        FailureCase{"UnreadableInput",
                    {"n1.lxr", "missing.lxr", "out.lxr"},
                    "",
                    "Cannot operate with image file \"missing.lxr\". No such file or directory."}),
    [](const testing::TestParamInfo<FailureCase>& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Denoise, EditorFailure,
    testing::Values(
        // Example 7 of --list-examples with an element that the inputs do not have.
        FailureCase{
            "UnknownElement",
            {"--set", kFireflies, "--element", "some element name", "n1.lxr", "n2.lxr", "n3.lxr", "OutputElement.lxr"},
            "",
            "Render element some element name does not exist, or cannot be considered for denoising (it is "
            "hidden, or it is not an RGB element)."},
        FailureCase{"HiddenElement",
                    {"-s", kFireflies, "-e", "SqrBeauty", "n1.lxr", "out.lxr"},
                    "",
                    "Render element SqrBeauty does not exist, or cannot be considered for denoising (it is hidden, or "
                    "it is not an RGB element)."},
        FailureCase{"SinglePassRender",
                    {"-s", kFireflies, "onepass.lxr", "out.lxr"},
                    kNormalsSkipped,
                    "No part of the image has been rendered with at least 2 passes."},
        FailureCase{"NoWeightChannel",
                    {"-s", kFireflies, "noweights.lxr", "out.lxr"},
                    kNormalsSkipped,
                    "The image is missing \"LUMORA_FB_WEIGHTS\" render element."},
        FailureCase{"NoDenoisableLightSelects",
                    {"-s", kFireflies, "-e", "LightMix Interactive", "nodata.lxr", "out.lxr"},
                    "",
                    "There are not selected any denoisable render elements to be denoised. You need to select some "
                    "first."}),
    [](const testing::TestParamInfo<FailureCase>& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Save, EditorFailure,
    testing::Values(
        FailureCase{"UnknownElement",
                    {"-e", "some element name", "n1.lxr", "out.lxr"},
                    "",
                    "Render element \"some element name\" cannot be saved to Lumora EXR.\nThe element either does not "
                    "exist, or saving such element alone is not supported."},
        FailureCase{"HiddenElement",
                    {"-e", "LUMORA_FB_WEIGHTS", "n1.lxr", "out.lxr"},
                    "",
                    "Render element \"LUMORA_FB_WEIGHTS\" cannot be saved to Lumora EXR.\nThe element either does not "
                    "exist, or saving such element alone is not supported."},
        FailureCase{"VirtualElement",
                    {"-e", "LightMix Interactive", "n1.lxr", "out.lxr"},
                    "",
                    "Render element \"LightMix Interactive\" cannot be saved to Lumora EXR.\nThe element either does "
                    "not exist, or saving such element alone is not supported."},
        FailureCase{"UnwritablePath",
                    {"n1.lxr", "nodir/out.lxr"},
                    "",
                    "Cannot operate with image file \"nodir/out.lxr\". No such file or directory."},
        FailureCase{"PictureFormat",
                    {"n1.lxr", "out.png"},
                    "",
                    "Saving to the \"png\" format is not available in this build yet; use an .lxr output."},
        FailureCase{"NoExtension",
                    {"n1.lxr", "out"},
                    "",
                    "Well-formed output image path having a file extension is expected."}),
    [](const testing::TestParamInfo<FailureCase>& info) { return info.param.name; });

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
    const Outcome kept = runEditor({"gamma2.lxr", "Kept.lxr"});
    EXPECT_EQ(kept.status, 0);
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

TEST(EditorRun, WithoutDenoisingAnUnknownElementFailsOnlyWhenSaving) {
    const Outcome outcome = runEditor({"-e", "Nope", "nodata.lxr", "out.lxr"});
    EXPECT_EQ(outcome.err, errorReport("Render element \"Nope\" cannot be saved to Lumora EXR.\nThe element either "
                                       "does not exist, or saving such element alone is not supported."));
    // Without denoising no element is skipped, so nothing warns.
    const Outcome all = runEditor({"nodata.lxr", "out.lxr"});
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.err, "");
}

}  // namespace
}  // namespace lumora
