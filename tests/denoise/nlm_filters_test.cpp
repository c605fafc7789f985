#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include "lumora/denoise/nlm_filter.hpp"
#include "lumora/denoise/nlm_sure_filter.hpp"
#include "lumora/denoise/nlm_tri_filter.hpp"
#include "lumora/denoise/nlm_window.hpp"
#include "synthetic_render.hpp"

namespace lumora {
namespace {

using testing::describe;

Bitmap<Float4> randomImage(int width, int height, unsigned seed, float lo, float hi) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(lo, hi);
    Bitmap<Float4> image(width, height);
    for (std::size_t i = 0; i < image.size(); ++i) {
        image.data()[i] = Float4(value(random), value(random), value(random), value(random));
    }
    return image;
}

// The distances shared over a tile are those of each pixel's own clipped patch, and the feature
// exponents those of each pair at the offset's own floor scale: with the plain kernels and the
// two-pixel ones; with features whose quotients are mostly negative (large variance), often zero
// (few levels) or positive, so that each of them decides some exponents; and with a feature flat
// on the left, where whole groups of pixels agree, and whose cleared fourth lane makes every
// exponent at least 0, stored as 0 where it is not above 0.
template <int Window, int Patch>
void expectSharedDistancesMatchDirectOnes() {
    const int width = 23, height = 19;
    const Bitmap<Float4> colour = randomImage(width, height, 1, 0.f, 1.f);
    const Bitmap<Float4> variance = randomImage(width, height, 2, 0.001f, 0.01f);
    const Bitmap<Float4> large = randomImage(width, height, 3, 0.2f, 0.5f);
    Bitmap<Float4> levels = randomImage(width, height, 4, 0.f, 2.f);
    for (std::size_t i = 0; i < levels.size(); ++i) levels.data()[i] = floor(levels.data()[i]) * Float4(0.5f);
    Bitmap<Float4> flatLeft = colour;
    Bitmap<Float4> clearedVariance = variance;
    for (int y = 0; y < height; ++y) std::fill_n(flatLeft.row(y), 14, Float4(0.3f));
    for (Bitmap<Float4>* image : {&flatLeft, &clearedVariance}) {
        for (std::size_t i = 0; i < image->size(); ++i) image->data()[i] = image->data()[i] * Float4(1.f, 1.f, 1.f, 0.f);
    }
    const nlm::ColourTerms terms{Float4(1.f), Float4(0.0001f)};
    const nlm::PatchSource src{colour.data(), variance.data(), width, height, terms};
    const auto feature = [&](const Bitmap<Float4>& mean, const Bitmap<Float4>& var, float weight) {
        NlmFeature f{mean.data(), var.data(), variance.data(), Float4(weight), Float4(0.002f), Float4(1.f),
                     NlmFeature::kActive};
        f.positiveNormaliser = true;
        return f;
    };
    const std::array mixed{feature(colour, large, 1.f), feature(levels, variance, 0.5f),
                           feature(colour, variance, 2.f)};
    std::array flat{feature(flatLeft, clearedVariance, 1.f)};
    flat[0].zeroLane = true;
    std::array<float, Window * Window> floorScale;
    for (std::size_t i = 0; i < floorScale.size(); ++i) floorScale[i] = 1.f + float(i);
    nlm::WindowScratch scratch;
    int visits = 0, zeros = 0;
    const bool wide = nlm::wideKernels();
    for (const std::span<const NlmFeature> features : {std::span<const NlmFeature>(mixed), {flat}}) {
    for (const bool on : {false, true}) {
        nlm::setWideKernels(on);
        for (const nlm::Tile tile : {nlm::Tile{0, 9, 0, 7}, nlm::Tile{9, 23, 7, 19}, nlm::Tile{0, 23, 7, 19}}) {
            const float* distances = nlm::tileDistances<Window, Patch>(src, tile, scratch);
            const float* exponents =
                nlm::tileFeatureExponents<Window>(features, floorScale.data(), width, height, tile, scratch);
            for (int y = tile.y0; y < tile.y1; ++y) {
                for (int x = tile.x0; x < tile.x1; ++x) {
                    const int local = (y - tile.y0) * tile.width() + x - tile.x0;
                    const auto range = nlm::OffsetRange::of(Window / 2, x, y, width, height);
                    nlm::forEachOffset<Window>(distances, std::size_t(tile.area()), local, range,
                                               [&](int dx, int dy, float d) {
                        ++visits;
                        ASSERT_TRUE(x + dx >= 0 && x + dx < width && y + dy >= 0 && y + dy < height);
                        const PatchClip clip = PatchClip::of(Patch / 2, x, y, x + dx, y + dy, width, height);
                        const float direct =
                            nlm::colourDistanceBorder<Patch>(colour.data(), variance.data(), width, y * width + x,
                                                             (y + dy) * width + x + dx, clip, terms);
                        ASSERT_NEAR(d, direct, 1e-5f * direct + 1e-7f)
                            << "pixel (" << x << ", " << y << ") offset (" << dx << ", " << dy << ")";
                        const std::size_t o = nlm::offsetIndex<Window>(dx, dy);
                        const float m = nlm::featureExponent(features, y * width + x, (y + dy) * width + x + dx,
                                                             floorScale[o]);
                        zeros += m <= 0.f;
                        const float expected = features.data() == flat.data() && m <= 0.f ? 0.f : m;
                        ASSERT_TRUE(testing::sameBits(Float4(exponents[o * std::size_t(tile.area()) + std::size_t(local)]),
                                                      Float4(expected)));
                    });
                }
            }
        }
    }
    }
    nlm::setWideKernels(wide);
    EXPECT_GT(zeros, visits / 10);
    EXPECT_LT(zeros, visits * 9 / 10);
}

TEST(NlmWindow, SharedPatchDistancesAreThoseOfTheClippedPatches) {
    expectSharedDistancesMatchDirectOnes<7, 3>();
    expectSharedDistancesMatchDirectOnes<13, 7>();
    expectSharedDistancesMatchDirectOnes<11, 5>();
}

TEST(NlmWindow, AFeatureZeroEverywhereWeighsAsItsPixelsWould) {
    const Bitmap<Float4> zeros(2, 1);
    NlmFeature computed{zeros.data(), zeros.data(), zeros.data(), Float4(3.f), Float4(0.01f), Float4(1.f),
                        NlmFeature::kActive};
    NlmFeature shortcut = computed;
    shortcut.zero = true;
    const float expected = nlm::featureExponent({&computed, 1}, 0, 1, 2.f);
    EXPECT_EQ(expected, 0.f);
    EXPECT_TRUE(testing::sameBits(Float4(nlm::featureExponent({&shortcut, 1}, 0, 1, 2.f)), Float4(expected)));
}

TEST(NlmVectorFilter, ZeroVarianceGivesTheWeightOfTheSquaredDifferenceOverEpsilon) {
    // One row a, b, a: the centre's neighbours share two patch positions with it.
    const float a = 0.3f, b = 0.5f, epsilon = 0.04f, h = 1.5f;
    Bitmap<Float4> colour(3, 1, Float4(a));
    colour(1, 0) = Float4(b);
    const Bitmap<Float4> variance(3, 1);
    TaskContext context;
    BatchFilter batch(context);
    const auto out = NlmVectorFilter<7, 3>(colour, variance, NlmWindowParams::of(1.f, epsilon, h)).run(batch, colour);
    ASSERT_TRUE(out);
    const float distance = 2.f * (a - b) * (a - b) / epsilon * 0.111111112f;
    const float w = std::exp(-h * distance);
    EXPECT_NEAR((*out)(1, 0).x(), (b + 2.f * w * a) / (1.f + 2.f * w), 1e-5f);
}

TEST(NlmTriFilter, EqualPatchesWeighOneAndBlackOrQuietPixelsAreLeftAlone) {
    const int size = 25;
    Bitmap<Float4> colour(size, size, Float4(0.5f, 0.4f, 0.3f, 1.f));
    Bitmap<Float4> variance(size, size, Float4(0.01f));
    colour(3, 3) = Float4(0.f);
    variance(3, 3) = Float4(1.f);
    colour(17, 4) = Float4(2.f, 2.f, 2.f, 1.f);
    variance(17, 4) = Float4(1e-5f);  // too quiet for its brightness
    TaskContext context;
    BatchFilter batch(context);
    const auto fine = NlmTriFilter<13, 7>(colour, variance, NlmWindowParams::of(2.f, 0.f, 1.f),
                                          Float4(6.25f, 2.04f, 0.44f, 0.f))
                          .run(batch);
    ASSERT_TRUE(fine);
    // Every window position of an interior pixel far from the odd ones weighs exactly 1.
    EXPECT_EQ(fine->weightSum(12, 15), 169.f);
    for (const auto& [x, y] : {std::pair{3, 3}, std::pair{17, 4}}) {
        EXPECT_EQ(fine->weightSum(x, y), 1000.f);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_TRUE(testing::sameBits(fine->value[i](x, y), colour(x, y))) << describe(fine->value[i](x, y));
            EXPECT_TRUE(testing::sameBits(fine->divergence[i](x, y), colour(x, y)));
        }
    }
    // A flat region stays flat; the divergence is that of the 1 % growth of every value.
    for (std::size_t i = 0; i < 3; ++i) {
        const Float4 f = fine->value[i](12, 15);
        EXPECT_NEAR(f.x(), 0.5f, 1e-6f) << describe(f);
        EXPECT_NEAR(fine->divergence[i](12, 15).x(), 0.5f / 0.4f, 1e-2f);
    }

    const auto black = NlmFilter<7, 3>(colour, variance, NlmWindowParams::of(1.f, 0.f, 1.f)).run(batch, colour);
    ASSERT_TRUE(black);
    EXPECT_TRUE(testing::sameBits((*black)(3, 3), Float4(0.f)));
}

TEST(NlmSureFilter, ChoosesTheSmallestEstimateAndSplitsTies) {
    struct Case {
        Float4 sure, d0, d1, expected;
    };
    const Float4 d(0.5f);
    const Case cases[] = {
        {Float4(1.f, 1.f, 1.f, 0.f), d, d, Float4(1.f, 1.f, 0.f, 0.f)},   // all tied: 0 and 1 share
        {Float4(-1.f, 2.f, 3.f, 0.f), d, d, Float4(1.f, 0.f, 0.f, 0.f)},  // by magnitude
        {Float4(3.f, 2.f, 1.f, 0.f), d, d, Float4(0.f, 0.f, 1.f, 0.f)},
        {Float4(1.f, 2.f, 2.f, 0.f), d, Float4(0.4f), Float4(0.f, 1.f, 0.f, 0.f)},  // 0 ruled out, 1 wins ties
    };
    for (const Case& c : cases) {
        const Float4 mask = NlmSureFilter::select(c.sure, c.d0, c.d1);
        EXPECT_TRUE(testing::sameBits(mask, c.expected)) << describe(c.sure) << " -> " << describe(mask);
    }

    TriCandidates candidates;
    const Float4 values[3] = {Float4(1.f), Float4(3.f), Float4(100.f)};
    for (std::size_t i = 0; i < 3; ++i) {
        candidates.value[i] = Bitmap<Float4>(1, 1, values[i]);
        candidates.divergence[i] = Bitmap<Float4>(1, 1, d);
    }
    const Bitmap<Float4> blended =
        NlmSureFilter::blend(Bitmap<Float4>(1, 1, Float4(1.f, 1.f, 0.f, 0.f)), candidates);
    EXPECT_NEAR(blended(0, 0).x(), 2.f, 1e-5f);

    // SURE: squared error plus the variance times (2 D - 1), over the colour lanes.
    const Float4 sure = NlmSureFilter::estimate({Float4(1.f), Float4(2.f), Float4(1.f, 1.f, 1.f, 9.f)},
                                                {Float4(0.f), Float4(1.f), Float4(0.5f)}, Float4(1.f), Float4(0.1f));
    EXPECT_NEAR(sure.x(), -0.3f, 1e-6f);
    EXPECT_NEAR(sure.y(), 3.3f, 1e-6f);
    EXPECT_EQ(sure.z(), 0.f);
}

}  // namespace
}  // namespace lumora
