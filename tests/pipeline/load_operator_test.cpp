// The load operator: its messages, the merge checks, NaN cleaning, the settings it copies out of
// the input and the pixels it serves.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

#include "lumora/foundation/application_context.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/image/property_attributes.hpp"
#include "lumora/pipeline/load_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;
using test::makeImage;

const std::vector<std::string> kRender{"LUMORA_FB_WEIGHTS", "R", "G", "B", "Key.R", "Key.G", "Key.B"};

class LoadOperatorTest : public testing::Test {
protected:
    void SetUp() override {
        load.setSettings(&settings);
        load.setErrorCallback(errors.callback());
        load.setWarningCallback(warnings.callback());
        load.setImageLoader([this](const fs::path& path) -> std::expected<ChannelImage, std::string> {
            const auto it = files.find(path.string());
            if (it == files.end()) return std::unexpected("Cannot open \"" + path.string() + "\".");
            return it->second;
        });
    }

    void runLoad(std::vector<WeightDescriptor> weights, std::vector<fs::path> paths) {
        load.setInputs(std::move(weights), std::move(paths));
        ASSERT_TRUE(load.wait());
    }

    Settings settings;
    std::map<std::string, ChannelImage> files;
    test::MessageLog errors;
    test::MessageLog warnings;
    LoadOperator load;
};

TEST_F(LoadOperatorTest, ASingleInputIsLoadedWithoutNeedingAWeightChannel) {
    files["render.lxr"] = makeImage(4, 2, {"R", "G", "B"});
    runLoad({}, {"render.lxr"});
    EXPECT_TRUE(errors.texts().empty());
    EXPECT_EQ(load.getImageRect(), (Bucket{{0, 0}, {4, 2}}));
    EXPECT_EQ(load.getElements().size(), 1u);
    EXPECT_EQ(load.getLoadedPaths(), std::vector<fs::path>{"render.lxr"});
    EXPECT_EQ(load.getSuggestedOutput(), fs::path("render_Post.lxr"));

    files["render"] = files["render.lxr"];
    runLoad({}, {"render"});
    EXPECT_EQ(load.getSuggestedOutput(), fs::path("render_Post.lxr"));
}

TEST_F(LoadOperatorTest, ARegionRenderTellsTheFullImageFromTheRegionAndComputesRelativeToIt) {
    ChannelImage image = makeImage(3, 2, {"R", "G", "B"}, [](std::size_t, int x, int y) { return float(10 * y + x); });
    image.setAttribute<Bucket>(names::displayWindow, Bucket{{0, 0}, {8, 6}});
    image.setAttribute<Bucket>(names::dataWindow, Bucket{{4, 3}, {7, 5}});
    files["region.lxr"] = image;
    runLoad({}, {"region.lxr"});
    EXPECT_EQ(load.getImageRect(), (Bucket{{0, 0}, {8, 6}}));
    EXPECT_EQ(load.getRegion(), (Bucket{{4, 3}, {7, 5}}));
    EXPECT_EQ(wholeRegion(load), (Bucket{{0, 0}, {3, 2}}));
    const auto pixels = load.compute({"", ElementLayout::Rgb, 0}, wholeRegion(load), 1.f, 0);
    ASSERT_TRUE(pixels);
    EXPECT_EQ((*pixels)(2, 1)[0], 12.f);
}

TEST_F(LoadOperatorTest, EveryFailureIsReportedAsAWholeMessageAndKeepsThePreviousImage) {
    files["a.lxr"] = makeImage(8, 4, kRender);
    files["big.lxr"] = makeImage(9, 4, kRender);
    files["noweights.lxr"] = makeImage(8, 4, {"R", "G", "B"});
    files["virtualmono.lxr"] = makeImage(8, 4, {"R", "G", "B", "Bloom and Glare Interactive"});
    files["first.lxr"] = makeImage(3, 3, {"R", "G", "B"});
    runLoad({}, {"first.lxr"});
    const auto firstTime = load.getElementsTimestamp();
    const std::string executable = utils::getExecutableFilePath().filename().string();
    const auto constant = WeightDescriptor::constant(1.f);

    // The editor's own runs check these texts; here each failure, wherever it happens, must leave
    // the image of the last good load in place.
    struct Case {
        std::vector<WeightDescriptor> weights;
        std::vector<fs::path> paths;
        std::string message;
    };
    const std::vector<Case> cases{
        {{}, {}, "At least one input image path is expected."},
        {{constant, constant},
         {"a.lxr", "a.lxr", "a.lxr"},
         "Number of specified weights is mismatched with number of input images.\n\nYou can either set no weight at "
         "all which will lead to a default (%LUMORA_FB_WEIGHTS) for all input images, or set only one weight to "
         "actually change the default, or set same number of weights as the number of input images."},
        {{WeightDescriptor::channel("W2")}, {"a.lxr", "a.lxr"}, test::missingWeightsMessage("a.lxr", "W2", executable)},
        {{},
         {"a.lxr", "big.lxr"},
         "Image \"big.lxr\" does not fit within the merged output image.\n\nThe first image loaded for merging defines "
         "the dimensions of the output image. All other images to be merged have to fit within those dimensions, "
         "otherwise they are not compatible for the merging."},
        {{constant},
         {"virtualmono.lxr", "virtualmono.lxr"},
         "Render element \"Bloom and Glare Interactive\" is expected to be virtual and computed in real time. It shall "
         "not be physically stored."},
        {{}, {"a.lxr", "nothere.lxr"}, "Cannot open \"nothere.lxr\"."},
    };

    setApplicationContext(std::make_shared<ApplicationContext>(ApplicationType::CommandLineInterface, ".", Palette{}));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        test::MessageLog log;
        load.setErrorCallback(log.callback());
        runLoad(c.weights, c.paths);
        EXPECT_EQ(log.texts(), std::vector<std::string>{c.message});
        EXPECT_EQ(load.getElementsTimestamp(), firstTime);
        EXPECT_EQ(load.getLoadedPaths(), std::vector<fs::path>{"first.lxr"});
    }
    setApplicationContext(nullptr);

    // Outside the command-line editor the message has no hint about its arguments.
    load.setErrorCallback(errors.callback());
    runLoad({}, {"a.lxr", "noweights.lxr"});
    EXPECT_EQ(errors.texts(), std::vector<std::string>{test::missingWeightsMessage("noweights.lxr", "LUMORA_FB_WEIGHTS")});
}

TEST_F(LoadOperatorTest, OneWeightAppliesToEveryInputAndMergeWarningsReachTheWarningCallback) {
    auto a = makeImage(2, 1, {"R", "G", "B"}, [](std::size_t, int, int) { return 1.f; });
    auto b = makeImage(2, 1, {"R", "G", "B"}, [](std::size_t, int, int) { return 4.f; });
    test::markAsLxr(a);
    files["a.lxr"] = std::move(a);
    files["b.exr"] = std::move(b);
    runLoad({WeightDescriptor::constant(2.f)}, {"a.lxr", "b.exr", "b.exr"});
    EXPECT_TRUE(errors.texts().empty());
    EXPECT_EQ(warnings.texts(), std::vector<std::string>{
                                    "One or more of the merged images have not been recognized as LXR images. The "
                                    "resulting postprocessing properties and/or render statistics of the merged image "
                                    "may be incorrect."});
    load.withImage([](const ChannelImage& image) {
        EXPECT_FLOAT_EQ(image.getChannel<float>("R")->at(1, 0), 3.f);
        EXPECT_FLOAT_EQ(image.getChannel<float>("LUMORA_FB_WEIGHTS")->at(1, 0), 6.f);
    });
}

TEST_F(LoadOperatorTest, NaNsBecomePositiveZeroInEveryFloatChannelWhileInfinitiesStay) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const std::vector<float> values{nan, -nan, inf, -inf, -2.5f, 0.f};
    auto image = makeImage(6, 1, {"R", "G", "B", "LUMORA_FB_WEIGHTS", "SqrBeauty.R"},
                           [&](std::size_t, int x, int) { return values[static_cast<std::size_t>(x)]; });
    auto ids = std::make_unique<Channel<unsigned>>("Ids", 6, 1);
    ids->data = {0xffffffffu, 0x7fc00000u, 1, 2, 3, 4};
    image.addChannel(std::move(ids));
    files["nan.exr"] = std::move(image);
    runLoad({}, {"nan.exr"});

    load.withImage([&](const ChannelImage& loaded) {
        for (const char* name : {"R", "G", "B", "LUMORA_FB_WEIGHTS", "SqrBeauty.R"}) {
            const auto& data = loaded.getChannel<float>(name)->data;
            for (int x : {0, 1}) {
                EXPECT_EQ(data[static_cast<std::size_t>(x)], 0.f) << name;
                EXPECT_FALSE(std::signbit(data[static_cast<std::size_t>(x)])) << name;
            }
            EXPECT_EQ(data[2], inf);
            EXPECT_EQ(data[3], -inf);
            EXPECT_EQ(data[4], -2.5f);
        }
        EXPECT_EQ(loaded.getChannel<unsigned>("Ids")->data,
                  (std::vector<unsigned>{0xffffffffu, 0x7fc00000u, 1, 2, 3, 4}));
    });
}

TEST_F(LoadOperatorTest, EveryPostProcessingPropertyTakesTheStoredValueOrItsDefault) {
    const auto* exposure = PropertyDescriptor::get(PropertyId::colorMapSimpleExposure);
    const auto* gamma = PropertyDescriptor::get(PropertyId::colorMapGamma);
    const auto* contrast = PropertyDescriptor::get(PropertyId::colorMapContrast);
    const auto* intensities = PropertyDescriptor::get(PropertyId::colorMapLightmixIntensities);
    // Left over from an earlier run: must not survive the load.
    settings.set(gamma->id, Property(3.f));
    settings.set(contrast->id, Property(1.5f));

    auto image = makeImage(2, 2, {"R", "G", "B"});
    storePropertyAttribute(image, *exposure, Property(1.25f));
    storePropertyAttribute(image, *intensities, Property::floatArray({0.5f, 2.f}));
    image.setAttribute<std::string>(getPropertyExrName(*contrast), "not a float");
    files["stored.lxr"] = std::move(image);
    runLoad({}, {"stored.lxr"});

    EXPECT_EQ(settings.get(exposure->id), Property(1.25f));
    EXPECT_EQ(settings.get(intensities->id), Property::floatArray({0.5f, 2.f}));
    EXPECT_EQ(settings.get(gamma->id), gamma->defaultValue);
    EXPECT_EQ(settings.get(contrast->id), contrast->defaultValue);
}

TEST_F(LoadOperatorTest, ComputeServesColourAndSingleChannelElementsOverScaledRegions) {
    // Value = 100 * channel + 10 * y + x.
    files["grid.exr"] =
        makeImage(5, 3, {"R", "G", "B", "A", "Key.R", "Key.G", "Key.B", "Z"},
                  [](std::size_t c, int x, int y) { return 100.f * float(c) + 10.f * float(y) + float(x); });
    runLoad({}, {"grid.exr"});

    const ElementInfo beauty{"", ElementLayout::Rgba, 0};
    const auto full = load.compute(beauty, {{0, 0}, {5, 3}}, 1.f, 0);
    ASSERT_TRUE(full);
    ASSERT_EQ(full->width(), 5);
    ASSERT_EQ(full->height(), 3);
    EXPECT_EQ((*full)(4, 2)[0], 24.f);
    EXPECT_EQ((*full)(4, 2)[1], 124.f);
    EXPECT_EQ((*full)(4, 2)[2], 224.f);
    EXPECT_EQ((*full)(4, 2)[3], 324.f);

    const auto scaled = load.compute({"Key", ElementLayout::Rgb, 0}, {{1, 1}, {4, 3}}, 2.f, 0);
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled->width(), 1);  // trunc(3 / 2)
    EXPECT_EQ(scaled->height(), 1);
    EXPECT_EQ((*scaled)(0, 0)[0], 411.f);
    EXPECT_EQ((*scaled)(0, 0)[3], 1.f);  // colour without alpha

    const auto mono = load.computeMono({"Z", ElementLayout::Mono, 0}, {{0, 1}, {5, 3}}, 1.f, 0);
    ASSERT_TRUE(mono);
    EXPECT_EQ((*mono)(3, 1), 723.f);

    EXPECT_FALSE(load.compute({"Z", ElementLayout::Mono, 0}, {{0, 0}, {5, 3}}, 1.f, 0));
    EXPECT_FALSE(load.compute({"Nope", ElementLayout::Rgb, 0}, {{0, 0}, {5, 3}}, 1.f, 0));
    EXPECT_FALSE(load.computeMono({"Nope", ElementLayout::Mono, 0}, {{0, 0}, {5, 3}}, 1.f, 0));
    EXPECT_FALSE(load.compute(beauty, {{0, 0}, {6, 3}}, 1.f, 0));
    EXPECT_FALSE(load.compute(beauty, {{2, 0}, {2, 3}}, 1.f, 0));
}

TEST_F(LoadOperatorTest, MarkingElementsToBeDenoisedReplacesTheMarksAndRenewsTheTimestamp) {
    files["r.lxr"] = makeImage(2, 2, {"R", "G", "B", "Key.R", "Key.G", "Key.B", "Fill.R", "Fill.G", "Fill.B"});
    runLoad({}, {"r.lxr"});
    const auto marked = [&] {
        std::vector<std::string> names;
        for (const auto& e : load.getElementInfos()) {
            if (e.has(ElementFlag::ToBeDenoised)) names.push_back(e.name);
        }
        return names;
    };
    const auto before = load.getTimestamp();
    load.markToBeDenoised({"", "Key"});
    EXPECT_EQ(marked(), (std::vector<std::string>{"", "Key"}));
    EXPECT_GT(load.getTimestamp(), before);
    load.markToBeDenoised({"Fill"});
    EXPECT_EQ(marked(), std::vector<std::string>{"Fill"});
}

}  // namespace
}  // namespace lumora
