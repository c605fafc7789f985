#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "lumora/effects/bloom_and_glare_operator.hpp"
#include "lumora/effects/bloom_glare.hpp"
#include "lumora/effects/image_rotation.hpp"
#include "lumora/effects/level_blur.hpp"
#include "lumora/effects/pixel_storage.hpp"
#include "lumora/foundation/hash.hpp"

namespace lumora {
namespace {

Bitmap<Float4> spot(int width, int height, int x, int y, float value) {
    Bitmap<Float4> image(width, height);
    image(x, y) = Float4(value, value, value, 1.f);
    return image;
}

float maxAbsDifference(const Bitmap<Float4>& a, const Bitmap<Float4>& b) {
    float worst = 0.f;
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (int c = 0; c < 4; ++c) worst = std::max(worst, std::fabs(a.data()[i][c] - b.data()[i][c]));
    }
    return worst;
}

TEST(BoxPass, IsTheZeroPaddedBoxOfWidth2rPlus1) {
    std::vector<Float4> in(9), out(9);
    for (int i = 0; i < 9; ++i) in[static_cast<std::size_t>(i)] = Float4(static_cast<float>(i * i + 1));
    for (int r : {0, 1, 3}) {
        boxPass(in.data(), out.data(), 9, r);
        for (int i = 0; i < 9; ++i) {
            float expected = 0.f;
            for (int j = std::max(0, i - r); j <= std::min(8, i + r); ++j) expected += in[static_cast<std::size_t>(j)].x();
            EXPECT_NEAR(out[static_cast<std::size_t>(i)].x(), expected / static_cast<float>(2 * r + 1), 1e-5f)
                << "r " << r << " i " << i;
        }
    }
}

TEST(BlurLevels, RadiiGrowAndClampPerAxisAndHuesStepBy80Degrees) {
    const auto levels = makeBlurLevels(2048, 1024, {0.5f, 0.f, 0.3f, 1.21f});
    EXPECT_EQ(std::pair(levels[0].rx, levels[0].ry), std::pair(2, 1));
    EXPECT_EQ(std::pair(levels[8].rx, levels[8].ry), std::pair(512, 256));
    EXPECT_EQ(makeBlurLevels(600, 100, {1.f, 0.f, 0.f, 1.f})[8].ry, 49);  // 100 / 2 - 1
    EXPECT_EQ(levels[0].mix, 0.f);
    EXPECT_EQ(levels[1].mix, 0.3f);
    EXPECT_FLOAT_EQ(levels[2].weight, 1.21f * 1.21f);
    EXPECT_EQ(levels[2].color, (Rgb{0.f, 0.f, 1.f}));  // hue 240
    EXPECT_EQ(hueColor(0.f), (Rgb{1.f, 0.f, 0.f}));
    EXPECT_EQ(hueColor(60.f), (Rgb{1.f, 1.f, 0.f}));
    EXPECT_EQ(hueColor(330.f), (Rgb{1.f, 0.f, 0.5f}));
    for (const BlurLevel& level : makeBlurLevels(1, 1, {1.f, 0.f, 0.f, 1.f})) EXPECT_EQ(level.ry, 0);
}

TEST(Rotation, BufferHoldsTheTurnedImageAndAZeroTurnShiftsByHalfAPixel) {
    EXPECT_EQ(rotatedBufferSize(40, 20, 0.f), (Pixel{44, 24}));
    EXPECT_EQ(rotatedBufferSize(41, 21, 0.f), (Pixel{45, 25}));  // corner positions rounded, not offsets
    EXPECT_EQ(rotatedBufferSize(40, 20, 90.f), (Pixel{24, 44}));
    EXPECT_EQ(rotatedBufferSize(40, 20, 45.f), (Pixel{46, 46}));

    Bitmap<Float4> image(5, 4);
    for (int i = 0; i < 20; ++i) image(i % 5, i / 5) = Float4(static_cast<float>(10 * (i / 5) + i % 5));
    const Bitmap<Float4> shifted = rotateImage<FloatPixels>(image, 0.f, 9, 8, false);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 9; ++x) {
            // The centre of (x, y) samples the source at (x - 1.5, y - 1.5): the mean of four pixels;
            // sources on the last row or column, and outside, give zero.
            const bool inside = x >= 2 && x < 6 && y >= 2 && y < 5;
            EXPECT_EQ(shifted(x, y).x(), inside ? image(x - 2, y - 2).x() + 5.5f : 0.f) << x << "," << y;
        }
    }
}

Bitmap<Float4> noise(int width, int height) {
    Bitmap<Float4> image(width, height);
    std::uint32_t seed = 7u;
    for (std::size_t i = 0; i < image.size(); ++i) {
        float v[4];
        for (float& lane : v) {
            seed = seed * 1664525u + 1013904223u;
            lane = static_cast<float>(seed >> 8) / 16777216.f * ((seed & 0x80u) != 0 ? 20.f : 1.f);
        }
        image.data()[i] = Float4(v[0], v[1], v[2], v[3]);
    }
    return image;
}

// The blur levels, their tints and the rotated streaks are pinned by the result's bits; the size
// leaves lines over after the level blur's groups of lines. The value changes only with the
// algorithm, never with the threads.
TEST(BloomGlare, ResultIsPinnedToTheBitWhateverTheThreads) {
    PostProcessData::BloomGlare settings;
    settings.streakCount = 3;
    settings.rotation = 33.f;
    settings.colorIntensity = 0.3f;
    for (const unsigned flags : {0u, ImageOperatorsFlag::Parallel}) {
        Bitmap<Float4> image = noise(97, 61);
        ASSERT_TRUE(applyBloomGlare(flags, image, settings));
        EXPECT_EQ(utils::hash(image.data(), image.size() * sizeof(Float4)), 0x96a97f0a84028003u) << flags;
    }
}

TEST(BloomGlare, NothingAboveTheThresholdGivesABlackLayerAndZeroIntensitiesDoNothing) {
    PostProcessData::BloomGlare high, off;
    high.threshold = 6.f;
    off.bloomIntensity = off.glareIntensity = 0.f;
    const Bitmap<Float4> before = spot(32, 24, 10, 10, 5.f);
    Bitmap<Float4> black = before, same = before;
    ASSERT_TRUE(applyBloomGlare(ImageOperatorsFlag::Parallel, black, high));
    EXPECT_EQ(maxAbsDifference(black, Bitmap<Float4>(32, 24)), 0.f);
    ASSERT_TRUE(applyBloomGlare(0, same, off));
    EXPECT_EQ(maxAbsDifference(same, before), 0.f);
    Bitmap<Float4> one(1, 1, Float4(100.f));  // every level skipped
    ASSERT_TRUE(applyBloomGlare(0, one, {}));
    EXPECT_EQ(one(0, 0).x(), 0.f);
}

TEST(BloomGlare, OneStreakAtRotationZeroIsHorizontal) {
    Bitmap<Float4> image = spot(64, 48, 30, 20, 101.f);
    PostProcessData::BloomGlare settings;
    settings.bloomIntensity = 0.f;
    settings.streakCount = 1;
    settings.rotation = 0.f;
    ASSERT_TRUE(applyBloomGlare(0, image, settings));
    // Light reaches 20 pixels along the row but not 4 rows up or down; each of the two turns
    // samples half a pixel off, so the streak runs along the row above the light.
    EXPECT_GT(image(50, 19).x(), 0.f);
    EXPECT_GT(image(10, 19).x(), 0.f);
    EXPECT_EQ(image(30, 15).x(), 0.f);
    EXPECT_LT(image(30, 23).x(), 1e-9f);
    EXPECT_GT(image(30, 19).x(), image(30, 20).x());
    EXPECT_EQ(image(30, 18).x(), image(30, 20).x());
}

TEST(BloomGlare, BloomKeepsTheLightsEnergyAndIsSymmetric) {
    Bitmap<Float4> image = spot(33, 33, 16, 16, 1001.f);
    PostProcessData::BloomGlare settings;
    settings.glareIntensity = 0.f;
    settings.colorIntensity = 0.f;
    ASSERT_TRUE(applyBloomGlare(0, image, settings));
    // Levels 0-4 have radius 0 at this size; the kernels of 5-8 stay inside the image.
    double total = 0.;
    for (std::size_t i = 0; i < image.size(); ++i) total += image.data()[i].x();
    double weights = 0.;
    for (int k = 5; k < 9; ++k) weights += std::pow(1.21, k);
    EXPECT_NEAR(total, 0.001 * 1000. * weights, 1e-4 * total);
    for (int d = 1; d < 16; ++d) {
        EXPECT_NEAR(image(16 - d, 16).x(), image(16 + d, 16).x(), 1e-5f) << d;
        EXPECT_NEAR(image(16, 16 - d).y(), image(16 + d, 16).z(), 1e-5f) << d;
    }
}

TEST(BloomGlare, HalfFloatLevelsStayClose) {
    Bitmap<Float4> floats(96, 64);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) floats(x, y) = Float4(static_cast<float>((x * 7 + y * 13) % 11), 2.f, 0.5f, 1.f);
    }
    PostProcessData::BloomGlare settings;
    Bitmap<Float4> halves = floats;
    ASSERT_TRUE(applyBloomGlare(ImageOperatorsFlag::Parallel, floats, settings));
    settings.halfFloat = true;
    ASSERT_TRUE(applyBloomGlare(ImageOperatorsFlag::Parallel, halves, settings));
    if (supportsHalfConversion()) {
        EXPECT_GT(maxAbsDifference(floats, halves), 0.f);
    }
    EXPECT_LT(maxAbsDifference(floats, halves), 0.01f);
}

TEST(BloomGlare, CancellationEndsWithoutResult) {
    Bitmap<Float4> image = spot(40, 40, 20, 20, 9.f);
    int calls = 0;
    EXPECT_FALSE(applyBloomGlare(0, image, {}, [&](float) { return ++calls > 3; }));
    EXPECT_EQ(calls, 4);
}

TEST(BloomAndGlareOperator, AddsTheEffectPixelOfEachVisitedPosition) {
    Bitmap<Float4> effect(4, 4);
    for (int i = 0; i < 16; ++i) effect(i % 4, i / 4) = Float4(static_cast<float>(10 * (i / 4) + i % 4));
    Bitmap<Float4> target(2, 2, Float4(1.f));
    BloomAndGlareOperator(effect).apply(Bucket{{1, 0}, {4, 4}}, 2, target.view(), 2);
    EXPECT_EQ(target(0, 0).w(), 2.f);   // (1, 0)
    EXPECT_EQ(target(1, 0).x(), 4.f);   // (3, 0)
    EXPECT_EQ(target(0, 1).y(), 22.f);  // (1, 2)
    EXPECT_EQ(target(1, 1).z(), 24.f);  // (3, 2)
}

}  // namespace
}  // namespace lumora
