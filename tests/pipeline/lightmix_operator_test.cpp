// LightMix: which layers take part, with which multipliers, and the colour transform pair.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <mutex>

#include "lumora/image/channel_image.hpp"
#include "lumora/pipeline/lightmix_operator.hpp"
#include "lumora/pipeline/wide_gamut.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {
namespace {

constexpr int kWidth = 7;
constexpr int kHeight = 5;
const Bucket kRect{{0, 0}, {kWidth, kHeight}};

// The load as LightMix sees it: an element list with a time stamp, render element records and
// colour pictures; it counts the compute calls per element.
class FakeLoad final : public IOperator, public IImageInfoProvider {
public:
    std::int64_t getTimestamp() const override { return time; }
    std::vector<ElementInfo> getElements() const override { return elements; }
    Bucket getImageRect() const override { return kRect; }
    Bucket getRegion() const override { return kRect; }
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned) override {
        std::lock_guard lock(mutex);
        ++computeCalls[element.name];
        const auto it = pictures.find(element.name);
        if (it == pictures.end() || region != kRect || scale != 1.f) return std::nullopt;
        return it->second;
    }
    std::optional<Bitmap<float>> computeMono(const ElementInfo&, const Bucket&, float, unsigned) override {
        return std::nullopt;
    }

    std::optional<RenderElementInfo> findRenderElementInfo(const std::string& displayName) const override {
        return lumora::findRenderElementInfo(records, displayName);
    }
    std::vector<ElementInfo> getElementInfos() const override { return elements; }
    std::int64_t getElementsTimestamp() const override { return time; }

    // A light select whose pixels are distinct per element, pixel and channel.
    void addLightSelect(const std::string& name, float base) {
        elements.push_back({name, ElementLayout::Rgb, ElementFlag::LightSelect});
        Bitmap<Float4> picture(kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const float v = base + 0.01f * static_cast<float>(x + kWidth * y);
                picture(x, y) = Float4(v, 2.f * v, 0.5f * v, 1.f);
            }
        }
        pictures[name] = std::move(picture);
    }
    int calls(const std::string& name) {
        std::lock_guard lock(mutex);
        return computeCalls[name];
    }

    std::vector<ElementInfo> elements{{"", ElementLayout::Rgba, ElementFlag::DenoisingData}};
    std::vector<RenderElementInfo> records;
    std::map<std::string, Bitmap<Float4>> pictures;
    std::int64_t time = 1;

private:
    std::mutex mutex;
    std::map<std::string, int> computeCalls;
};

class LightMixTest : public ::testing::Test {
protected:
    LightMixTest() : mix(&lock) {
        load.addLightSelect("Key", 0.1f);
        load.addLightSelect("Fill", 0.3f);
        load.addLightSelect("Rim", 0.7f);
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
        ASSERT_EQ(result->width(), kWidth);
        ASSERT_EQ(result->height(), kHeight);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                float expected[3] = {0.f, 0.f, 0.f};
                for (const auto& [name, m] : terms) {
                    const Float4 p = load.pictures[name](x, y);
                    expected[0] += m.x * p.x();
                    expected[1] += m.y * p.y();
                    expected[2] += m.z * p.z();
                }
                const Float4 actual = (*result)(x, y);
                for (int c = 0; c < 3; ++c) {
                    EXPECT_NEAR(actual[c], expected[c], 2e-6f * std::max(1.f, std::fabs(expected[c])))
                        << "pixel (" << x << ", " << y << ") channel " << c;
                }
            }
        }
    }

    std::mutex lock;
    FakeLoad load;
    Settings settings;
    LightMixOperator mix;
};

bool offers(const std::vector<ElementInfo>& elements, const std::string& name) {
    return std::ranges::any_of(elements, [&](const ElementInfo& e) { return e.name == name; });
}

TEST_F(LightMixTest, OffersTheVirtualElementOnlyWhenThereAreVisibleNamedLightSelects) {
    const auto elements = mix.getElements();
    ASSERT_EQ(elements.size(), 5u);
    EXPECT_EQ(elements.back(), (ElementInfo{kLightMixInteractive, ElementLayout::Rgb, ElementFlag::Virtual}));

    // Hidden light selects, unnamed ones, single channels and plain colour elements are no layers.
    FakeLoad other;
    other.elements = {{"", ElementLayout::Rgba, ElementFlag::LightSelect},
                      {"Hidden", ElementLayout::Rgb, ElementFlag::LightSelect | ElementFlag::Hidden},
                      {"Mask", ElementLayout::Mono, ElementFlag::LightSelect},
                      {"Diffuse", ElementLayout::Rgb, 0}};
    std::mutex otherLock;
    LightMixOperator noLayers(&otherLock);
    noLayers.setDependency(0, &other);
    noLayers.setImageInfo(&other);
    EXPECT_FALSE(offers(noLayers.getElements(), kLightMixInteractive));
    EXPECT_TRUE(noLayers.lightMixSourceElements().empty());

    other.elements.clear();
    other.time = 2;
    EXPECT_TRUE(noLayers.getElements().empty());
}

TEST_F(LightMixTest, LayerListFollowsTheElementListTimeStamp) {
    EXPECT_EQ(mix.lightMixSourceElements().size(), 3u);
    load.addLightSelect("Sun", 0.2f);
    EXPECT_EQ(mix.lightMixSourceElements().size(), 3u) << "the list is rebuilt only when the image changes";
    load.time = 2;
    const auto layers = mix.lightMixSourceElements();
    ASSERT_EQ(layers.size(), 4u);
    EXPECT_EQ(layers[3].name, "Sun");
}

TEST_F(LightMixTest, VirtualElementTakesNoBloomAndNoGlareFromTheRecord) {
    struct Case {
        RenderElementFlags recordFlags;
        std::uint32_t expected;
    };
    const std::uint32_t bloom = static_cast<std::uint32_t>(RenderElementFlag::BloomEffect);
    const std::uint32_t glare = static_cast<std::uint32_t>(RenderElementFlag::GlareEffect);
    for (const Case& c : {Case{0, ElementFlag::NoBloom | ElementFlag::NoGlare}, Case{bloom, ElementFlag::NoGlare},
                          Case{glare, ElementFlag::NoBloom}, Case{bloom | glare, 0}}) {
        load.records = {RenderElementInfo("My mix", RenderElementType::LightMix, c.recordFlags)};
        EXPECT_EQ(mix.getElements().back().flags, ElementFlag::Virtual | c.expected) << "record flags " << c.recordFlags;
    }
}

TEST_F(LightMixTest, AllLayersAtOneEqualTheSumOfTheLightSelects) {
    const Vec3 one{1.f, 1.f, 1.f};
    expectMixOf({{"Key", one}, {"Fill", one}, {"Rim", one}});
    const auto result = computeMix();
    EXPECT_EQ((*result)(3, 2).w(), 1.f);
}

TEST_F(LightMixTest, ShortArraysLeaveTheRemainingLayersOnAtIntensityOneInWhite) {
    settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray({true}));
    settings.set(PropertyId::colorMapLightmixIntensities, Property::floatArray({2.f, 0.5f}));
    settings.set(PropertyId::colorMapLightmixColors, Property::vec3Array({{1.f, 1.f, 1.f}}));
    expectMixOf({{"Key", {2.f, 2.f, 2.f}}, {"Fill", {0.5f, 0.5f, 0.5f}}, {"Rim", {1.f, 1.f, 1.f}}});
}

TEST_F(LightMixTest, GreyLightTintedByAColourGivesThatColour) {
    // Tints act in the wide space; a grey layer comes back as exactly the tint's colour.
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const float v = 0.5f + 0.1f * static_cast<float>(x);
            load.pictures["Key"](x, y) = Float4(v, v, v, 1.f);
        }
    }
    settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray({true, false, false}));
    settings.set(PropertyId::colorMapLightmixIntensities, Property::floatArray({3.f}));
    settings.set(PropertyId::colorMapLightmixColors, Property::vec3Array({{1.f, 0.5f, 0.2f}}));
    expectMixOf({{"Key", {3.f, 1.5f, 0.6f}}});
}

TEST_F(LightMixTest, LayersThatDoNotCountAreNeverComputed) {
    settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray({true, true, false}));
    settings.set(PropertyId::colorMapLightmixIntensities, Property::floatArray({1.f, 0.f, 3.f}));
    expectMixOf({{"Key", {1.f, 1.f, 1.f}}});
    EXPECT_GT(load.calls("Key"), 0);
    EXPECT_EQ(load.calls("Fill"), 0) << "intensity 0";
    EXPECT_EQ(load.calls("Rim"), 0) << "switched off";

    // Nothing left to mix: black.
    settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray({false, false, false}));
    const auto black = computeMix();
    ASSERT_TRUE(black.has_value());
    EXPECT_EQ((*black)(0, 0).sum3(), 0.f);
}

TEST_F(LightMixTest, MissingLayerMakesTheMixUnavailableAndOtherElementsPassThrough) {
    load.pictures.erase("Fill");
    EXPECT_FALSE(computeMix().has_value());
    const auto key = mix.compute({"Key", ElementLayout::Rgb, ElementFlag::LightSelect}, kRect, 1.f, 0);
    ASSERT_TRUE(key.has_value());
    EXPECT_EQ((*key)(1, 1).y(), load.pictures["Key"](1, 1).y());
    EXPECT_FALSE(mix.compute({kLightMixInteractive, ElementLayout::Rgb, ElementFlag::Virtual},
                             Bucket{{3, 3}, {3, 4}}, 1.f, 0)
                     .has_value());
}

TEST(WideGamut, WhiteGivesTheUnitMultiplierAndTheInverseUndoesTheTransform) {
    const Float4 unit = linRgbToLinWideRgb().apply(Float4(1.f, 1.f, 1.f, 0.f)) * lightMixNormalization();
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(unit[c], 1.f, 1e-6f) << c;

    const Float4 colour(0.3f, 1.7f, 0.05f, 0.25f);
    const Float4 back = linWideRgbToLinRgb().apply(linRgbToLinWideRgb().apply(colour));
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(back[c], colour[c], 1e-6f) << c;

    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            double sum = 0.0;
            for (int k = 0; k < 3; ++k) {
                sum += double(linRgbToLinWideRgb().rows[r][k]) * double(linWideRgbToLinRgb().rows[k][c]);
            }
            EXPECT_NEAR(sum, r == c ? 1.0 : 0.0, 1e-6) << r << "," << c;
        }
    }
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
