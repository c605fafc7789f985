// The bloom/glare layer: when it is computed, for which elements, and how it is added.

#include <gtest/gtest.h>

#include "lumora/effects/bloom_glare.hpp"
#include "lumora/pipeline/bloom_glare_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

constexpr int kWidth = 24;
constexpr int kHeight = 16;
const Bucket kRect{{0, 0}, {kWidth, kHeight}};
const ElementInfo kMain{"", ElementLayout::Rgba, 0};
const ElementInfo kInteractive{kBloomAndGlareInteractive, ElementLayout::Rgb, ElementFlag::Virtual};
const ElementInfo kDiffuse{"Diffuse", ElementLayout::Rgb, 0};

Bitmap<Float4> withSpot(float value) {
    Bitmap<Float4> picture(kWidth, kHeight, Float4(0.2f, 0.3f, 0.4f, 0.5f));
    picture(10, 7) = Float4(value, value, 0.5f * value, 0.5f);
    return picture;
}

class BloomGlareOperatorTest : public ::testing::Test {
protected:
    BloomGlareOperatorTest() : source(kRect) {
        source.elements = {kMain, kDiffuse};
        source.colour[""] = withSpot(40.f);
        source.colour["Diffuse"] = withSpot(40.f);
        settings.set(PropertyId::bloomGlareEnabled, Property(true));
        effect.setDependency(0, &source);
        effect.setImageInfo(&source);
        effect.setSettings(&settings);
        blend.setDependency(0, &source);
        blend.setDependency(1, &effect);
        effect.setProgressTextCallback(texts.callback());
    }

    Bitmap<Float4> expectedLayer() {
        Bitmap<Float4> layer = source.colour[""];
        EXPECT_TRUE(applyBloomGlare(0, layer, readBloomGlareSettings(settings)));
        return layer;
    }

    test::FakeSource source;
    Settings settings;
    BloomGlareOperator effect;
    BlendBloomGlareOperator blend;
    test::MessageLog texts;
};

TEST_F(BloomGlareOperatorTest, DisabledWithoutIntensityOrStoppedTheLayerIsBlackAndNothingIsAdded) {
    for (const int condition : {0, 1, 2}) {
        SCOPED_TRACE(condition);
        settings.set(PropertyId::bloomGlareEnabled, Property(condition != 0));
        settings.set(PropertyId::bloomGlareBloomIntensity, Property(condition == 1 ? 0.f : 1.f));
        settings.set(PropertyId::bloomGlareGlareIntensity, Property(condition == 1 ? 0.f : 1.f));
        if (condition == 2) effect.stop();
        const auto picture = blend.compute(kMain, kRect, 1.f, IOperator::ComputeUpdate);
        ASSERT_TRUE(picture);
        test::expectPixels(*picture, source.colour[""]);
        const auto layer = blend.compute(kInteractive, kRect, 2.f, IOperator::ComputeUpdate);
        ASSERT_TRUE(layer);
        test::expectPixels(*layer, Bitmap<Float4>(kWidth / 2, kHeight / 2));
    }
    EXPECT_EQ(blend.getElements().back(), kInteractive);
}

TEST_F(BloomGlareOperatorTest, AnUpToDateRequestAddsTheLayerSilentlyAndKeepsAlpha) {
    const Bitmap<Float4> layer = expectedLayer();
    const auto picture = blend.compute(kMain, kRect, 1.f, IOperator::ComputeUpdate);
    ASSERT_TRUE(picture);
    Bitmap<Float4> expected = source.colour[""];
    const Float4 colourOnly(1.f, 1.f, 1.f, 0.f);
    for (std::size_t i = 0; i < expected.size(); ++i) expected.data()[i] += layer.data()[i] * colourOnly;
    test::expectPixels(*picture, expected);
    // The interactive element shows the main image's layer; a part of it at scale 1 is cropped.
    const auto alone = blend.compute(kInteractive, Bucket{{4, 2}, {20, 14}}, 1.f, IOperator::ComputeUpdate);
    ASSERT_TRUE(alone);
    EXPECT_EQ((*alone)(6, 5).x(), layer(10, 7).x());
    EXPECT_TRUE(texts.texts().empty());
}

TEST_F(BloomGlareOperatorTest, ElementsThatCannotCarryTheEffectStayUnchanged) {
    ASSERT_TRUE(blend.compute(kMain, kRect, 1.f, IOperator::ComputeUpdate));
    const int calls = source.calls("");
    const auto diffuse = blend.compute(kDiffuse, kRect, 1.f, IOperator::ComputeUpdate);
    ASSERT_TRUE(diffuse);
    test::expectPixels(*diffuse, source.colour["Diffuse"]);
    // The main image's layer is still the cached one.
    ASSERT_TRUE(blend.compute(kMain, kRect, 1.f, IOperator::ComputeUpdate));
    EXPECT_EQ(source.calls(""), calls + 1);
    EXPECT_TRUE(isBloomGlareEligible({"Key", ElementLayout::Rgb, ElementFlag::LightSelect}));
    EXPECT_FALSE(isBloomGlareEligible({"", ElementLayout::Rgb, ElementFlag::NoBloom | ElementFlag::NoGlare}));
    EXPECT_FALSE(isBloomGlareEligible({"", ElementLayout::Mono, 0}));
}

TEST_F(BloomGlareOperatorTest, AStaleLayerIsRecomputedInTheBackground) {
    ASSERT_TRUE(effect.compute(kMain, kRect, 1.f, IOperator::ComputeUpdate));
    source.colour[""] = withSpot(80.f);
    source.time = 2;
    EXPECT_FALSE(effect.compute(kMain, kRect, 1.f, 0));
    ASSERT_TRUE(effect.wait());
    const auto layer = effect.compute(kMain, kRect, 1.f, 0);
    ASSERT_TRUE(layer);
    test::expectPixels(*layer, expectedLayer());
    EXPECT_EQ(texts.texts(), (std::vector<std::string>{"Bloom and Glare progress", ""}));
}

}  // namespace
}  // namespace lumora
