// The colour-mapping chain stage by stage, the white balance and the tone curves.

#include <gtest/gtest.h>

#include <cmath>

#include "lumora/colormap/color_mapping.hpp"
#include "lumora/foundation/color_adaptation.hpp"
#include "lumora/foundation/curve.hpp"

namespace lumora {
namespace {

ColorMappingSettings defaults() {
    ColorMappingSettings s;
    s.imageWidth = 100.f;
    s.imageHeight = 50.f;
    return s;
}

Float4 map(const ColorMappingSettings& s, Float4 pixel, float x = 0.f, float y = 0.f) {
    return ColorMapping(s).apply(pixel, x, y);
}

// The chain with gamma 1 shows the linear result of the stages before the encoding.
ColorMappingSettings linear() {
    ColorMappingSettings s = defaults();
    s.gamma = 1.f;
    return s;
}

TEST(ColorMapping, DefaultChainIsReinhardIdentityThenGamma) {
    const Float4 out = map(defaults(), Float4(0.5f, 0.f, 2.f, 1.f));
    EXPECT_NEAR(out[0], 0.7297f, 1e-4f);
    EXPECT_EQ(out[1], 0.f);
    EXPECT_NEAR(out[2], std::pow(2.f, 1.f / 2.2f), 1e-5f);  // above 1 stays above 1
    // Exposure: +1 stop doubles; the photographic form from ISO, shutter and f-stop.
    ColorMappingSettings s = linear();
    s.simpleExposure = 1.f;
    EXPECT_FLOAT_EQ(map(s, Float4(0.25f))[0], 0.5f);
    s.usePhotographic = true;
    EXPECT_FLOAT_EQ(ColorMapping(s).exposure(), 683.f * 0.65f * 100.f * (1.f / 50.f) / (78.f * 16.f * 16.f));
}

TEST(ColorMapping, HighlightCompressionAndFilmicFollowTheirFormulas) {
    ColorMappingSettings s = linear();
    s.highlightCompression = 2.f;  // k = 1/4
    EXPECT_FLOAT_EQ(map(s, Float4(3.f))[0], 3.f * (1.f + 0.75f) / 4.f);
    s = linear();
    s.richShadows = 1.f;
    s.filmicHighlights = 1.f;  // w = 1: the filmic curve itself
    const float y = 0.4f;
    EXPECT_NEAR(map(s, Float4(y))[0], (1.0003055f * y * y + 0.0021391737f * y) / (y * y + 0.43034402f * y + 0.036029063f),
                1e-6f);
}

TEST(ColorMapping, ContrastKeepsItsFixedPointsAndSpreadsAroundTheMiddle) {
    ColorMappingSettings s = linear();
    // {contrast, value, +1 above the value, -1 below, 0 exactly it}; 0.2140 is about 0.5 encoded.
    const float cases[][3] = {{2.f, 0.6f, 1}, {2.f, 0.05f, -1}, {0.5f, 0.6f, -1}, {0.5f, 0.05f, 1}, {1.f, 0.3f, 0},
                              {2.f, 0.f, 0},  {2.f, 0.000001f, 0}, {0.5f, 0.99999899f, 0}, {0.5f, 1.5f, 0}};
    for (const auto& [contrast, v, direction] : cases) {
        s.contrast = contrast;
        const float out = map(s, Float4(v))[0];
        EXPECT_EQ(out > v ? 1.f : out < v ? -1.f : 0.f, direction) << contrast << " " << v << " -> " << out;
    }
    for (float contrast : {2.f, 0.5f}) {
        s.contrast = contrast;
        EXPECT_NEAR(map(s, Float4(0.2140f))[0], 0.2140f, 2e-3f) << contrast;
    }
}

TEST(ColorMapping, SaturationMovesTheMinimumAndLeavesGreysAlone) {
    ColorMappingSettings s = linear();
    s.highlightCompression = 1.f;
    s.saturation = -1.f;
    const Float4 grey = map(s, Float4(1.f, 0.5f, 0.f, 1.f));
    for (int c = 0; c < 3; ++c) EXPECT_FLOAT_EQ(grey[c], 1.f) << c;
    s.saturation = 1.f;
    const Float4 full = map(s, Float4(0.2f, 0.8f, 0.5f, 1.f));
    EXPECT_EQ(full[0], 0.f);
    EXPECT_FLOAT_EQ(full[1], 0.8f);
    // The middle channel keeps its relative place, through the 12-bit reciprocal.
    EXPECT_NEAR(full[2], 0.3f * 0.8f / 0.6f, 0.4f / 4096.f);
    const Float4 nearGrey = map(s, Float4(0.4f, 0.4f, 0.4002f, 1.f));  // within the grey tolerance
    EXPECT_EQ(nearGrey[0], 0.4f);
    EXPECT_EQ(nearGrey[2], 0.4002f);
}

TEST(ColorMapping, NegativesAreClampedAndDisabledMappingKeepsExposureAndGamma) {
    const Float4 out = map(defaults(), Float4(-1.f, -0.5f, -3.f, 0.f));
    for (int c = 0; c < 3; ++c) EXPECT_EQ(out[c], 0.f);
    ColorMappingSettings s = defaults();
    s.enabled = false;
    s.simpleExposure = 1.f;
    s.contrast = 3.f;
    s.saturation = -1.f;
    s.highlightCompression = 0.5f;
    s.tint = {0.5f, 0.5f, 0.5f};
    s.colorTemp = 3000.f;
    s.vignetteIntensity = 1.f;
    const Float4 off = map(s, Float4(0.25f, 0.1f, 0.f, 1.f), 0.f, 0.f);
    EXPECT_NEAR(off[0], std::pow(0.5f, 1.f / 2.2f), 1e-6f);
    EXPECT_NEAR(off[1], std::pow(0.2f, 1.f / 2.2f), 1e-6f);
}

TEST(ColorMapping, WhiteBalanceTintAndTheCompatibilitySwitch) {
    ColorMappingSettings s = linear();
    EXPECT_EQ(ColorMapping(s).whiteBalance()[0], 1.f);
    EXPECT_EQ(ColorMapping(s).whiteBalance()[2], 1.f);
    s.colorTemp = 3000.f;
    const Float4 wb = ColorMapping(s).whiteBalance();
    EXPECT_GT(wb[2], wb[0]);  // warm light: blue is lifted against red
    s.gamma = 2.f;
    s.tint = {0.5f, 1.f, 1.f};
    s.colorTemp15Hack = true;
    const ColorMapping hack(s);
    EXPECT_EQ(hack.whiteBalance()[1], 1.f);
    EXPECT_FLOAT_EQ(hack.tintPow()[0], std::pow(0.5f * wb[0], 2.f));
    EXPECT_FLOAT_EQ(hack.tintPow()[2], std::pow(wb[2], 2.f));
    // After the encoding the tint acts as a plain multiplier.
    s.colorTemp15Hack = false;
    s.colorTemp = 6500.f;
    EXPECT_FLOAT_EQ(map(s, Float4(0.25f))[0], 0.5f * 0.5f);
}

TEST(ColorAdaptation, EqualTemperaturesAreNeutralAndWarmLightIsCorrected) {
    for (float t : {2000.f, 6500.f, 99999.f}) EXPECT_EQ(colorAdaptation(t, t), (Rgb{1.f, 1.f, 1.f})) << t;
    // Going there and back is neutral, and the correction grows with the distance.
    float lastRatio = 0.f;
    for (float t : {5500.f, 4000.f, 3000.f, 2000.f}) {
        const Rgb there = colorAdaptation(t, 6500.f);
        const Rgb back = colorAdaptation(6500.f, t);
        EXPECT_NEAR(there.r * back.r, 1.f, 1e-6f);
        EXPECT_NEAR(there.b * back.b, 1.f, 1e-6f);
        EXPECT_GT(there.b / there.r, lastRatio);
        lastRatio = there.b / there.r;
    }
    const Rgb cold = colorAdaptation(15000.f, 6500.f);
    EXPECT_GT(cold.r, cold.b);
}

TEST(Curve, KindsInterpolateTheNodesAndStayFlatOutside) {
    const std::vector<Curve::Node> nodes{{0.2f, 0.1f}, {0.5f, 0.7f}, {0.8f, 0.75f}, {0.9f, 1.f}};
    for (int k = 0; k < 4; ++k) {
        const Curve c(nodes, static_cast<Curve::Kind>(k));
        for (const auto& n : nodes) EXPECT_NEAR(c(n.x), n.y, 1e-6f) << k;
        EXPECT_EQ(c(-5.f), 0.1f);
        EXPECT_EQ(c(0.95f), 1.f);
    }
    // The default kind does not overshoot between rising nodes.
    const Curve monotone(nodes, Curve::Kind::PiecewiseCubic);
    for (float x = 0.2f; x < 0.9f; x += 0.01f) EXPECT_LE(monotone(x), monotone(x + 0.01f) + 1e-6f) << x;
    const Curve linear(std::vector<Curve::Node>{{1.f, 0.5f}, {0.f, 0.f}}, Curve::Kind::PiecewiseLinear);
    EXPECT_FLOAT_EQ(linear(0.6f), 0.3f);  // unsorted nodes are sorted
    EXPECT_EQ(Curve()(0.37f), 0.37f);
    EXPECT_EQ(Curve(std::vector<Curve::Node>{{0.5f, 0.2f}}, Curve::Kind::PiecewiseCubic)(0.9f), 0.2f);
}

TEST(ColorMapping, CurvesWorkOnGammaEncodedValuesAfterEverythingElse) {
    ColorMappingSettings s = defaults();
    s.curvesEnable = true;
    EXPECT_EQ(map(s, Float4(0.3f))[0], map(defaults(), Float4(0.3f))[0]);  // empty lists: identity
    s.curveNodes[0] = {{0.f, 0.f}, {1.f, 0.5f}};
    s.curveKinds[0] = Curve::Kind::PiecewiseLinear;
    const float encoded = std::pow(0.218f, 1.f / 2.2f);
    EXPECT_NEAR(map(s, Float4(0.218f))[0], 0.5f * encoded, 1e-6f);
    s.curveNodes[2] = {{0.f, 1.f}, {1.f, 1.f}};  // green: constant 1, then halved by master
    const Float4 out = map(s, Float4(0.218f));
    EXPECT_FLOAT_EQ(out[1], 0.5f);
    EXPECT_NEAR(out[2], 0.5f * encoded, 1e-6f);
}

TEST(ColorMapping, VignetteDarkensTowardTheCornersAndFollowsTheRegionOrigin) {
    ColorMappingSettings s = linear();
    s.vignetteIntensity = 0.6f;
    s.vignetteFalloff = 0.5f;
    const float centre = map(s, Float4(0.5f), 50.f, 25.f)[0];
    const float edge = map(s, Float4(0.5f), 95.f, 25.f)[0];
    const float corner = map(s, Float4(0.5f), 0.f, 0.f)[0];
    EXPECT_EQ(centre, 0.5f);
    EXPECT_LT(edge, centre);
    EXPECT_LT(corner, edge);
    // A region at (40, 20) sees pixel (55, 5) where the whole image sees (95, 25).
    ColorMappingSettings region = s;
    region.regionX = 40.f;
    region.regionY = 20.f;
    EXPECT_EQ(map(region, Float4(0.5f), 55.f, 5.f)[0], edge);
    region.regionKind = 2;  // kinds above 1 have no vignette
    EXPECT_EQ(map(region, Float4(0.5f), 0.f, 0.f)[0], 0.5f);
}

}  // namespace
}  // namespace lumora
