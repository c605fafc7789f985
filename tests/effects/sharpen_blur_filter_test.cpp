#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <vector>

#include "lumora/effects/extended_box.hpp"
#include "lumora/effects/sharpen_blur_filter.hpp"

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

bool sameBits(const Float4& a, const Float4& b) {
    for (int c = 0; c < 4; ++c) {
        if (std::bit_cast<std::uint32_t>(a[c]) != std::bit_cast<std::uint32_t>(b[c])) return false;
    }
    return true;
}

// The blur filters several lines side by side; every line must get exactly the values of a plain
// pass over it alone, including the lines left over after the groups and the borders' clamping.
TEST(ExtendedBoxBlur, EqualsPassesOverEachRowThenEachColumn) {
    for (const auto& [width, height, radius] : {std::tuple{13, 9, 6.f}, {6, 11, 2.f}, {23, 7, 1.33f}}) {
        const Bitmap<Float4> image = pattern(width, height);
        const BoxParameters box = BoxParameters::fromRadius(radius, 1, width, height);
        for (const bool clamp : {false, true}) {
            Bitmap<Float4> expected = image;
            std::vector<Float4> line, scratch;
            const auto fourPasses = [&](int n) {
                scratch.resize(line.size());
                for (int pass = 0; pass < 4; ++pass) {
                    extendedBoxPass(line.data(), scratch.data(), n, box);
                    std::swap(line, scratch);
                }
            };
            for (int y = 0; y < height; ++y) {
                line.assign(expected.row(y), expected.row(y) + width);
                if (clamp) {
                    for (Float4& p : line) p = min(p, Float4(1.f));
                }
                fourPasses(width);
                std::copy(line.begin(), line.end(), expected.row(y));
            }
            for (int x = 0; x < width; ++x) {
                line.resize(static_cast<std::size_t>(height));
                for (int y = 0; y < height; ++y) line[static_cast<std::size_t>(y)] = expected(x, y);
                fourPasses(height);
                for (int y = 0; y < height; ++y) expected(x, y) = line[static_cast<std::size_t>(y)];
            }
            Bitmap<Float4> inPlace = image;
            extendedBoxBlur(inPlace.view(), inPlace.view(), box, clamp);
            const Bitmap<Float4> copied = extendedBoxBlur(image, box, clamp);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    ASSERT_TRUE(sameBits(copied(x, y), expected(x, y))) << width << "x" << height << " " << x << "," << y;
                    ASSERT_TRUE(sameBits(inPlace(x, y), expected(x, y))) << width << "x" << height << " " << x << "," << y;
                }
            }
        }
    }
}

TEST(SharpenBlurFilter, ConfigureEnablesOnlyWhenThereIsWork) {
    SharpenBlurFilter filter;
    EXPECT_TRUE(std::isnan(filter.blurRadius));
    filter.configure(true, 0.f, 2.f, 0.f);
    EXPECT_FALSE(filter.isEnabled());
    EXPECT_EQ(filter.requiredMargin({100, 100}, 1), 0);
    filter.configure(false, 1.f, 2.f, 3.f);
    EXPECT_FALSE(filter.isEnabled());
    filter.configure(true, 1.f, 0.f, 5.f);
    EXPECT_TRUE(filter.isEnabled());
    EXPECT_EQ(filter.sharpenStrength, 2.f);
    // Blur radius 5: r = 5.5, k = 1, margin 4k + 4; at scale 3 r = 2.17, k = 0, rounded up to 6.
    EXPECT_EQ(filter.requiredMargin({100, 100}, 1), 8);
    EXPECT_EQ(filter.requiredMargin({100, 100}, 3), 6);
    filter.configure(true, 1.f, 5.f, 5.f);
    EXPECT_EQ(filter.requiredMargin({100, 100}, 1), 16);
    EXPECT_EQ(filter.requiredMargin({100, 2}, 1), 0);
}

TEST(SharpenBlurFilter, ConstantImageStaysConstantUnderTheBlur) {
    SharpenBlurFilter filter;
    filter.configure(true, 0.f, 0.f, 7.f);
    Bitmap<Float4> image(37, 23, Float4(0.7f, 3.f, 0.f, 1.f));
    filter.apply(0, image, 1);
    for (std::size_t i = 0; i < image.size(); ++i) {
        ASSERT_NEAR(image.data()[i].x(), 0.7f, 1e-6f);
        ASSERT_NEAR(image.data()[i].y(), 3.f, 1e-6f);
        ASSERT_NEAR(image.data()[i].w(), 1.f, 1e-6f);
    }
}

TEST(SharpenBlurFilter, ImagesNarrowerThanThreePixelsAreLeftAlone) {
    SharpenBlurFilter filter;
    filter.configure(true, 2.f, 3.f, 5.f);
    const Bitmap<Float4> thin = pattern(40, 2);
    Bitmap<Float4> image = thin;
    filter.apply(SharpenBlurFilter::Parallel, image, 1);
    for (std::size_t i = 0; i < image.size(); ++i) {
        for (int c = 0; c < 4; ++c) ASSERT_EQ(image.data()[i][c], thin.data()[i][c]);
    }
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

TEST(SharpenBlurFilter, ResultDoesNotDependOnThreads) {
    SharpenBlurFilter filter;
    filter.configure(true, 1.f, 2.f, 1.5f);
    Bitmap<Float4> serial = pattern(61, 47), parallel = serial;
    filter.apply(0, serial, 1);
    filter.apply(SharpenBlurFilter::Parallel, parallel, 1);
    for (std::size_t i = 0; i < serial.size(); ++i) {
        for (int c = 0; c < 4; ++c) ASSERT_EQ(serial.data()[i][c], parallel.data()[i][c]);
    }
}

}  // namespace
}  // namespace lumora
