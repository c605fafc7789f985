// The load operator: its messages, the merge checks, NaN cleaning, the settings it copies out of
// the input and the pixels it serves.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

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

TEST_F(LoadOperatorTest, ASingleRegionRenderNeedsNoWeightsAndIsServedRelativeToItsDataWindow) {
    // Value = 100 * channel + 10 * y + x over a 5 x 3 data window at (2, 3) of an 8 x 6 image.
    ChannelImage image = makeImage(5, 3, {"R", "G", "B", "A", "Key.R", "Key.G", "Key.B", "Z"},
                                   [](std::size_t c, int x, int y) { return 100.f * float(c) + 10.f * float(y) + float(x); });
    image.setAttribute<Bucket>(names::displayWindow, Bucket{{0, 0}, {8, 6}});
    image.setAttribute<Bucket>(names::dataWindow, Bucket{{2, 3}, {7, 6}});
    files["region.lxr"] = files["region"] = image;
    runLoad({}, {"region"});
    EXPECT_EQ(load.getSuggestedOutput(), fs::path("region_Post.lxr"));
    runLoad({}, {"region.lxr"});
    EXPECT_TRUE(errors.texts().empty());
    EXPECT_EQ(load.getLoadedPaths(), std::vector<fs::path>{"region.lxr"});
    EXPECT_EQ(load.getSuggestedOutput(), fs::path("region_Post.lxr"));
    EXPECT_EQ(load.getImageRect(), (Bucket{{0, 0}, {8, 6}}));
    EXPECT_EQ(load.getRegion(), (Bucket{{2, 3}, {7, 6}}));
    EXPECT_EQ(wholeRegion(load), (Bucket{{0, 0}, {5, 3}}));

    const ElementInfo beauty{"", ElementLayout::Rgba, 0};
    const auto full = load.compute(beauty, wholeRegion(load), 1.f, 0);
    ASSERT_TRUE(full);
    EXPECT_EQ(test::lanes((*full)(4, 2)), (std::vector<float>{24.f, 124.f, 224.f, 324.f}));
    const auto scaled = load.compute({"Key", ElementLayout::Rgb, 0}, {{1, 1}, {4, 3}}, 2.f, 0);
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled->width() * 10 + scaled->height(), 11);  // trunc(3 / 2) x trunc(2 / 2)
    EXPECT_EQ(test::lanes((*scaled)(0, 0)), (std::vector<float>{411.f, 511.f, 611.f, 1.f}));  // colour without alpha
    const auto mono = load.computeMono({"Z", ElementLayout::Mono, 0}, {{0, 1}, {5, 3}}, 1.f, 0);
    ASSERT_TRUE(mono);
    EXPECT_EQ((*mono)(3, 1), 723.f);
    EXPECT_FALSE(load.compute({"Z", ElementLayout::Mono, 0}, wholeRegion(load), 1.f, 0));
    EXPECT_FALSE(load.compute({"Nope", ElementLayout::Rgb, 0}, wholeRegion(load), 1.f, 0));
    EXPECT_FALSE(load.computeMono({"Nope", ElementLayout::Mono, 0}, wholeRegion(load), 1.f, 0));
    EXPECT_FALSE(load.compute(beauty, {{0, 0}, {6, 3}}, 1.f, 0));
    EXPECT_FALSE(load.compute(beauty, {{2, 0}, {2, 3}}, 1.f, 0));
}

TEST_F(LoadOperatorTest, EveryFailureIsReportedOnceAndKeepsThePreviousImage) {
    files["a.lxr"] = makeImage(8, 4, kRender);
    files["big.lxr"] = makeImage(9, 4, kRender);
    files["noweights.lxr"] = makeImage(8, 4, {"R", "G", "B"});
    files["virtualmono.lxr"] = makeImage(8, 4, {"R", "G", "B", "Bloom and Glare Interactive"});
    files["first.lxr"] = makeImage(3, 3, {"R", "G", "B"});
    files["torn.lxr"] = makeImage(8, 4, kRender);
    files["torn.lxr"].channels()["Key.R"] = std::make_unique<Channel<float>>("Key.R", 8, 3);
    runLoad({}, {"first.lxr"});
    const auto firstTime = load.getElementsTimestamp();
    const auto constant = WeightDescriptor::constant(1.f);

    // The editor's own runs check the texts; here each failure, wherever it happens, must leave
    // the image of the last good load in place.
    const std::vector<std::pair<std::vector<WeightDescriptor>, std::vector<fs::path>>> cases{
        {{}, {}}, {{constant, constant}, {"a.lxr", "a.lxr", "a.lxr"}}, {{}, {"a.lxr", "big.lxr"}},
        {{WeightDescriptor::channel("W2")}, {"a.lxr", "a.lxr"}}, {{constant}, {"virtualmono.lxr", "virtualmono.lxr"}},
        {{}, {"a.lxr", "nothere.lxr"}}};
    for (const auto& [weights, paths] : cases) {
        SCOPED_TRACE(testing::PrintToString(paths));
        test::MessageLog log;
        load.setErrorCallback(log.callback());
        runLoad(weights, paths);
        EXPECT_EQ(log.texts().size(), 1u);
        EXPECT_EQ(load.getElementsTimestamp(), firstTime);
        EXPECT_EQ(load.getLoadedPaths(), std::vector<fs::path>{"first.lxr"});
    }

    // A failure inside the merge names the input it comes from.
    test::MessageLog torn;
    load.setErrorCallback(torn.callback());
    runLoad({}, {"a.lxr", "a.lxr", "torn.lxr", "a.lxr"});
    EXPECT_EQ(torn.texts(), std::vector<std::string>{"Cannot operate with image file \"torn.lxr\". Channel \"Key.R\" of the "
                                                     "image to be merged does not match the size of its data window."});
    EXPECT_EQ(load.getLoadedPaths(), std::vector<fs::path>{"first.lxr"});

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
    EXPECT_EQ(warnings.texts().size(), 1u) << "the merge's warning about the input that is no LXR";
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
            EXPECT_FALSE(std::signbit(data[0]) || std::signbit(data[1])) << name;
            EXPECT_EQ(std::vector<float>(data.begin(), data.end()), (std::vector<float>{0.f, 0.f, inf, -inf, -2.5f, 0.f}))
                << name;
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
