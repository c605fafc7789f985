#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "lumora/effects/extended_box.hpp"
#include "lumora/effects/sharpen_blur_filter.hpp"
#include "lumora/foundation/hash.hpp"

namespace lumora {
namespace {

Bitmap<Float4> pattern(int width, int height) {
    Bitmap<Float4> image(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image(x, y) = Float4(static_cast<float>((x * 5 + y * 3) % 7) * 0.3f, static_cast<float>(y % 4),
                                 static_cast<float>(x % 3) * 2.f, 1.f);
        }
    }
    return image;
}

TEST(BoxParameters, FourPassesHaveTheVarianceOfTheRadius) {
    for (const float radius : {1.33f, 4.f, 10.f}) {
        const BoxParameters box = BoxParameters::fromRadius(radius, 1, 500, 400);
        ASSERT_FALSE(box.isIdentity());
        const double beta = static_cast<double>(box.edgeWeight) + box.innerRemainder;
        EXPECT_NEAR(2. * box.edgeWeight + (2 * box.k + 1) * beta, 1., 1e-6) << radius;
        // The impulse response of four passes along a long line.
        std::vector<Float4> line(201), scratch(201);
        line[100] = Float4(1.f);
        for (int pass = 0; pass < 4; ++pass) {
            extendedBoxPass(line.data(), scratch.data(), 201, box);
            std::swap(line, scratch);
        }
        double variance = 0.;
        for (int i = 0; i < 201; ++i) variance += line[static_cast<std::size_t>(i)].x() * (i - 100.) * (i - 100.);
        const double r = radius + 0.5;
        EXPECT_NEAR(variance, r * r / 9., 1e-3 * r * r) << radius;
    }
    EXPECT_EQ(BoxParameters::fromRadius(30.f, 1, 500, 9).k, 3);  // w limited by (9 - 3) / 2
    EXPECT_EQ(BoxParameters::fromRadius(30.f, 1, 500, 2).extent, 2);
}

TEST(ExtendedBoxPass, EqualsTheWeightedSumWithClampedIndices) {
    const BoxParameters box = BoxParameters::fromRadius(6.f, 1, 100, 100);
    ASSERT_EQ(box.k, 1);
    constexpr int n = 7;
    std::vector<Float4> in(n), out(n);
    for (int i = 0; i < n; ++i) in[static_cast<std::size_t>(i)] = Float4(static_cast<float>(i * i), 1.f, -1.f, 2.f);
    extendedBoxPass(in.data(), out.data(), n, box);
    const auto at = [&](int j) { return static_cast<double>(in[static_cast<std::size_t>(std::clamp(j, 0, n - 1))].x()); };
    const double beta = static_cast<double>(box.edgeWeight) + box.innerRemainder;
    for (int i = 0; i < n; ++i) {
        const double expected = beta * (at(i - 1) + at(i) + at(i + 1)) + box.edgeWeight * (at(i - 2) + at(i + 2));
        EXPECT_NEAR(out[static_cast<std::size_t>(i)].x(), expected, 1e-5) << i;
        EXPECT_NEAR(out[static_cast<std::size_t>(i)].y(), 1.f, 1e-6f) << i;
    }
}

// The box blur's groups of lines, the borders' clamping and the bright-pixel clamp of the
// sharpening are pinned by the results' bits, for sizes that leave lines over after the groups.
TEST(SharpenBlurFilter, ResultIsPinnedToTheBitWhateverTheThreads) {
    SharpenBlurFilter filter;
    filter.configure(true, 1.f, 2.f, 1.33f);
    std::vector<std::uint64_t> fingerprints;
    for (const auto& [width, height] : {std::pair{61, 47}, {6, 11}}) {
        for (const unsigned flags : {0u, SharpenBlurFilter::Parallel}) {
            Bitmap<Float4> image = pattern(width, height);
            image(3, 4) = Float4(7.f, 0.f, 3.f, 1.f);
            filter.apply(flags, image, 1);
            fingerprints.push_back(utils::hash(image.data(), image.size() * sizeof(Float4)));
        }
    }
    const std::uint64_t large = 0x2edfc744fadd6b04u, small = 0xcb841b110f5ee71du;
    EXPECT_EQ(fingerprints, (std::vector<std::uint64_t>{large, large, small, small}));
}

// The margins themselves are checked by the operator's test of regions against the whole picture.
TEST(SharpenBlurFilter, WorksOnlyWhenThereIsWorkAndABlurKeepsAConstantImage) {
    SharpenBlurFilter filter;
    filter.configure(true, 0.f, 2.f, 0.f);
    EXPECT_FALSE(filter.isEnabled());
    EXPECT_EQ(filter.requiredMargin({100, 100}, 1), 0);
    filter.configure(false, 1.f, 2.f, 3.f);
    EXPECT_FALSE(filter.isEnabled());
    filter.configure(true, 0.f, 0.f, 7.f);
    EXPECT_TRUE(filter.isEnabled());
    Bitmap<Float4> image(37, 23, Float4(0.7f, 3.f, 0.f, 1.f));
    filter.apply(0, image, 1);
    for (std::size_t i = 0; i < image.size(); ++i) {
        ASSERT_NEAR(image.data()[i].x(), 0.7f, 1e-6f);
        ASSERT_NEAR(image.data()[i].y(), 3.f, 1e-6f);
    }
    // Images narrower than three pixels are left alone.
    filter.configure(true, 2.f, 3.f, 5.f);
    const Bitmap<Float4> thin = pattern(40, 2);
    image = thin;
    filter.apply(SharpenBlurFilter::Parallel, image, 1);
    EXPECT_EQ(std::memcmp(image.data(), thin.data(), thin.size() * sizeof(Float4)), 0);
}

TEST(SharpenBlurFilter, BrightPixelsSharpenAsIfTheyWereOneAndNothingGoesNegative) {
    SharpenBlurFilter filter;
    filter.configure(true, 5.f, 1.f, 0.f);
    const auto sharpened = [&](float peak) {
        Bitmap<Float4> image(9, 9, Float4(0.05f));
        image(4, 4) = Float4(peak);
        filter.apply(SharpenBlurFilter::Parallel, image, 1);
        return image;
    };
    const Bitmap<Float4> four = sharpened(4.f);
    const Bitmap<Float4> one = sharpened(1.f);
    EXPECT_NEAR(four(4, 4).x() - one(4, 4).x(), 3.f, 1e-5f);
    EXPECT_GT(four(4, 4).x(), 4.f);
    for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < 9; ++x) {
            if (x == 4 && y == 4) continue;
            EXPECT_EQ(four(x, y).x(), one(x, y).x()) << x << "," << y;
            EXPECT_GE(four(x, y).x(), 0.f);
        }
    }
    EXPECT_EQ(four(4, 3).x(), 0.f);  // the dark neighbour would go below 0
}

}  // namespace
}  // namespace lumora
