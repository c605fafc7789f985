// Views and crops of bitmaps, the region-sampling rule and the plain bitmap operators.

#include <gtest/gtest.h>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/bitmap_operator.hpp"
#include "lumora/foundation/region_sampling.hpp"

namespace lumora {
namespace {

Bitmap<float> numbered(int width, int height) {
    Bitmap<float> b(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) b(x, y) = float(10 * y + x);
    }
    return b;
}

TEST(Bitmap, ViewsAndCropsAddressTheSamePixelsAndClipAndMovesLeaveNothingBehind) {
    Bitmap<float> b = numbered(5, 4);
    const BitmapView<float> v = b.view().subview({{1, 2}, {4, 4}});
    EXPECT_EQ(v.width() * 10 + v.height(), 32);
    EXPECT_EQ(v(0, 0), 21.f);
    EXPECT_EQ(v.subview({{1, 1}, {9, 9}})(0, 0), 32.f);  // a view of a view, clipped
    v(2, 1) = -1.f;
    EXPECT_EQ(b(3, 3), -1.f);

    const Bitmap<float> c = b.crop({{3, 1}, {8, 3}});
    ASSERT_EQ(c.width() * 10 + c.height(), 22);
    EXPECT_EQ(c(0, 0), 13.f);
    EXPECT_EQ(c(1, 1), 24.f);
    EXPECT_TRUE(b.crop({{4, 4}, {2, 2}}).empty());
    EXPECT_TRUE(b.view().subview({{-3, -3}, {-1, -1}}).empty());

    // A moved-from bitmap is empty, its size included.
    Bitmap<float> moved(std::move(b));
    EXPECT_EQ(moved(3, 3), -1.f);
    EXPECT_TRUE(b.empty() && b.width() == 0 && b.height() == 0);
    b = std::move(moved);
    EXPECT_TRUE(moved.empty() && moved.width() == 0 && b.size() == 20u);
}

TEST(RegionSampling, ExtentRoundsAsAskedAndSourcesStayInTheRegion) {
    EXPECT_EQ(sampledExtent(7, 2.f, SampledExtent::RoundDown), 3);
    EXPECT_EQ(sampledExtent(7, 2.f, SampledExtent::RoundUp), 4);
    EXPECT_EQ(sampledExtent(6, 0.5f, SampledExtent::RoundDown), 12);
    for (float bad : {0.f, -1.f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        EXPECT_FALSE(sampledExtent(6, bad, SampledExtent::RoundUp)) << bad;
    }
    EXPECT_FALSE(sampledExtent(1 << 30, 1e-6f, SampledExtent::RoundDown));
    // The exact product 6.99999988 rounds to 7 in float: the pixel a scale of 0.7 means.
    EXPECT_EQ(sampledSource(10, 0.7f, 100), 7);
    EXPECT_EQ(sampledSource(3, 2.f, 7), 6);
    EXPECT_EQ(sampledSource(3, 2.5f, 7), 6);  // clamped to the last pixel
}

TEST(BitmapOperator, EachMemberUpdatesTheVisitedPixelsOnly) {
    Bitmap<Float4> source(4, 4);
    Bitmap<float> alpha(4, 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            source(x, y) = Float4(float(x), float(y), 1.f, 2.f);
            alpha(x, y) = float(10 * y + x);
        }
    }
    const Float4 start(1.f, 1.f, 1.f, 1.f);
    const auto run = [&](const IBitmapOperator& op, const Bucket& rect, int step) {
        Bitmap<Float4> d(3, 3, start);
        op.apply(rect, step, d.view(), step);
        return d;
    };
    // A step of 2 over 4 x 4 pixels visits (0,0), (2,0), (0,2), (2,2) into (0,0) .. (1,1).
    const Bitmap<Float4> splat = run(SplattingOperator(source.view(), 0.5f), {{0, 0}, {4, 4}}, 2);
    // The last two are not visited.
    EXPECT_EQ((std::vector<float>{splat(1, 1)[0], splat(1, 1)[1], splat(0, 1)[3], splat(2, 0)[0], splat(0, 2)[0]}),
              (std::vector<float>{2.f, 2.f, 2.f, 1.f, 1.f}));

    const Bitmap<Float4> copy = run(BlendOperator(source.view(), 1.f), {{1, 1}, {3, 2}}, 1);
    EXPECT_EQ(copy(1, 0)[0], 2.f);
    EXPECT_EQ(copy(1, 0)[3], 2.f);
    const Bitmap<Float4> kept = run(BlendOperator(source.view(), 0.f), {{0, 0}, {3, 3}}, 1);
    EXPECT_EQ(kept(2, 2)[1], 1.f);
    const Bitmap<Float4> half = run(BlendOperator(source.view(), 0.25f), {{2, 2}, {3, 3}}, 1);
    EXPECT_EQ(half(0, 0)[0], 0.75f + 0.5f);

    const Bitmap<Float4> withAlpha = run(IncludeAlphaOperator(alpha.view()), {{1, 2}, {3, 4}}, 1);
    EXPECT_EQ((std::vector<float>{withAlpha(1, 1)[3], withAlpha(1, 1)[0], withAlpha(2, 2)[3]}),
              (std::vector<float>{32.f, 1.f, 1.f}));

    for (const Bucket empty : {Bucket{{2, 2}, {2, 4}}, Bucket{{3, 3}, {1, 4}}}) {
        const Bitmap<Float4> same = run(SplattingOperator(source.view(), 1.f), empty, 1);
        for (std::size_t i = 0; i < same.size(); ++i) EXPECT_EQ(same.data()[i][0], 1.f) << i;
    }
}

}  // namespace
}  // namespace lumora
