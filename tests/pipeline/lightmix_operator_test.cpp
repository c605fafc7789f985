// LightMix: which layers take part, with which multipliers, and the colour transform pair.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <mutex>

#include "lumora/image/channel_image.hpp"
#include "lumora/pipeline/lightmix_operator.hpp"
#include "lumora/foundation/color_space.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

constexpr int kWidth = 7;
constexpr int kHeight = 5;
const Bucket kRect{{0, 0}, {kWidth, kHeight}};

// A light select whose pixels are distinct per element, pixel and channel.
void addLightSelect(test::FakeSource& load, const std::string& name, float base) {
    load.elements.push_back({name, ElementLayout::Rgb, ElementFlag::LightSelect});
    Bitmap<Float4> picture(kWidth, kHeight);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const float v = base + 0.01f * static_cast<float>(x + kWidth * y);
            picture(x, y) = Float4(v, 2.f * v, 0.5f * v, 1.f);
        }
    }
    load.colour[name] = std::move(picture);
}

class LightMixTest : public ::testing::Test {
protected:
    LightMixTest() : mix(&lock) {
        load.elements = {{"", ElementLayout::Rgba, ElementFlag::DenoisingData}};
        addLightSelect(load, "Key", 0.1f);
        addLightSelect(load, "Fill", 0.3f);
        addLightSelect(load, "Rim", 0.7f);
        mix.setDependency(0, &load);
        mix.setImageInfo(&load);
        mix.setSettings(&settings);
    }

    std::optional<Bitmap<Float4>> computeMix() {
        return mix.compute({kLightMixInteractive, ElementLayout::Rgb, ElementFlag::Virtual}, kRect, 1.f, 0);
    }

    // weights[i] * colour[i] applied to each light select, summed.
    void expectMixOf(const std::vector<std::pair<std::string, Vec3>>& terms) {
        const auto result = computeMix();
        ASSERT_TRUE(result.has_value());
        ASSERT_EQ(result->width() * 100 + result->height(), kWidth * 100 + kHeight);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                Float4 expected(0.f);
                for (const auto& [name, m] : terms) expected += Float4(m.x, m.y, m.z, 0.f) * load.colour[name](x, y);
                const Float4 actual = (*result)(x, y);
                for (int c = 0; c < 3; ++c) {
                    EXPECT_NEAR(actual[c], expected[c], 2e-6f * std::max(1.f, std::fabs(expected[c])))
                        << "pixel (" << x << ", " << y << ") channel " << c;
                }
            }
        }
    }

    std::mutex lock;
    test::FakeSource load{kRect};
    Settings settings;
    LightMixOperator mix;
};

TEST_F(LightMixTest, OffersTheVirtualElementWithTheRecordsEffectsOnlyForVisibleNamedLightSelects) {
    const auto elements = mix.getElements();
    ASSERT_EQ(elements.size(), 5u);
    EXPECT_EQ(elements.back(), (ElementInfo{kLightMixInteractive, ElementLayout::Rgb, ElementFlag::Virtual}));

    // The layer list is rebuilt only when the element list's time stamp changes.
    addLightSelect(load, "Sun", 0.2f);
    EXPECT_EQ(mix.lightMixSourceElements().size(), 3u);
    load.time = 2;
    const auto layers = mix.lightMixSourceElements();
    ASSERT_EQ(layers.size(), 4u);
    EXPECT_EQ(layers[3].name, "Sun");

    // The virtual element takes no bloom and no glare unless the LightMix record asks for them.
    const std::uint32_t bloom = static_cast<std::uint32_t>(RenderElementFlag::BloomEffect);
    const std::uint32_t glare = static_cast<std::uint32_t>(RenderElementFlag::GlareEffect);
    const std::vector<std::pair<std::uint32_t, std::uint32_t>> effects{
        {0, ElementFlag::NoBloom | ElementFlag::NoGlare}, {bloom, ElementFlag::NoGlare}, {glare, ElementFlag::NoBloom},
        {bloom | glare, 0}};
    for (const auto& [recordFlags, expected] : effects) {
        load.records = {RenderElementInfo("My mix", RenderElementType::LightMix, recordFlags)};
        EXPECT_EQ(mix.getElements().back().flags, ElementFlag::Virtual | expected) << "record flags " << recordFlags;
    }

    // Hidden light selects, unnamed ones, single channels and plain colour elements are no layers.
    load.elements = {{"", ElementLayout::Rgba, ElementFlag::LightSelect},
                     {"Hidden", ElementLayout::Rgb, ElementFlag::LightSelect | ElementFlag::Hidden},
                     {"Mask", ElementLayout::Mono, ElementFlag::LightSelect},
                     {"Diffuse", ElementLayout::Rgb, 0}};
    load.time = 3;
    EXPECT_EQ(mix.getElements(), load.elements);
    EXPECT_TRUE(mix.lightMixSourceElements().empty());
}

TEST_F(LightMixTest, MixSumsTheLayersTimesIntensityAndTintAndShortArraysLeaveLayersOnInWhite) {
    expectMixOf({{"Key", {1.f, 1.f, 1.f}}, {"Fill", {1.f, 1.f, 1.f}}, {"Rim", {1.f, 1.f, 1.f}}});
    EXPECT_EQ((*computeMix())(3, 2).w(), 0.f) << "the layers add colour only";
    struct Case {
        std::vector<bool> enabled;
        std::vector<float> intensities;
        std::vector<Vec3> colours;
        std::vector<std::pair<std::string, Vec3>> terms;
    };
    const std::vector<Case> cases{
        {{true}, {2.f, 0.5f}, {{1.f, 1.f, 1.f}},
         {{"Key", {2.f, 2.f, 2.f}}, {"Fill", {0.5f, 0.5f, 0.5f}}, {"Rim", {1.f, 1.f, 1.f}}}},
        // Tints act in the wide space; a grey layer comes back as exactly the tint's colour.
        {{true, false, false}, {3.f}, {{1.f, 0.5f, 0.2f}}, {{"Key", {3.f, 1.5f, 0.6f}}}},
    };
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const float v = 0.5f + 0.1f * static_cast<float>(x);
            load.colour["Key"](x, y) = Float4(v, v, v, 1.f);
        }
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.intensities));
        settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray(c.enabled));
        settings.set(PropertyId::colorMapLightmixIntensities, Property::floatArray(c.intensities));
        settings.set(PropertyId::colorMapLightmixColors, Property::vec3Array(c.colours));
        expectMixOf(c.terms);
    }
}

TEST_F(LightMixTest, LayersThatDoNotCountAreNeverComputedAndAMissingOneThatCountsFailsTheMix) {
    settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray({true, true, false}));
    settings.set(PropertyId::colorMapLightmixIntensities, Property::floatArray({1.f, 0.f, 3.f}));
    expectMixOf({{"Key", {1.f, 1.f, 1.f}}});
    EXPECT_GT(load.calls("Key"), 0);
    EXPECT_EQ(load.calls("Fill"), 0) << "intensity 0";
    EXPECT_EQ(load.calls("Rim"), 0) << "switched off";

    // Nothing left to mix: zeros, alpha included.
    settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray({false, false, false}));
    const auto black = computeMix();
    ASSERT_TRUE(black.has_value());
    EXPECT_EQ((*black)(0, 0).sum3() + (*black)(0, 0).w(), 0.f);

    // A missing layer that counts makes the mix unavailable; other elements pass through.
    settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray({true, true, true}));
    settings.set(PropertyId::colorMapLightmixIntensities, Property::floatArray({1.f, 1.f, 1.f}));
    load.colour.erase("Fill");
    EXPECT_FALSE(computeMix().has_value());
    const auto key = mix.compute({"Key", ElementLayout::Rgb, ElementFlag::LightSelect}, kRect, 1.f, 0);
    ASSERT_TRUE(key.has_value());
    EXPECT_EQ((*key)(1, 1).y(), load.colour["Key"](1, 1).y());
    EXPECT_FALSE(mix.compute({kLightMixInteractive, ElementLayout::Rgb, ElementFlag::Virtual},
                             Bucket{{3, 3}, {3, 4}}, 1.f, 0)
                     .has_value());
}

TEST(WideGamut, WidePrimariesLieAtTheAdobeWideGamutChromaticities) {
    // The published linear sRGB -> XYZ matrix; the row scaling only scales the columns of the
    // inverse, so each column is a wide primary up to its brightness.
    const double srgbToXyz[3][3] = {
        {0.4124564, 0.3575761, 0.1804375}, {0.2126729, 0.7151522, 0.0721750}, {0.0193339, 0.1191920, 0.9503041}};
    const double primaries[3][2] = {{0.7347, 0.2653}, {0.1152, 0.8264}, {0.1566, 0.0177}};
    for (int p = 0; p < 3; ++p) {
        double xyz[3] = {0.0, 0.0, 0.0};
        for (int r = 0; r < 3; ++r) {
            for (int k = 0; k < 3; ++k) xyz[r] += srgbToXyz[r][k] * double(linWideRgbToLinRgb().rows[k][p]);
        }
        const double sum = xyz[0] + xyz[1] + xyz[2];
        EXPECT_NEAR(xyz[0] / sum, primaries[p][0], 2e-4) << "primary " << p;
        EXPECT_NEAR(xyz[1] / sum, primaries[p][1], 2e-4) << "primary " << p;
    }
}

}  // namespace
}  // namespace lumora
