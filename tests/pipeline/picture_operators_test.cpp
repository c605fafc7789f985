// The last operators of the picture chain: sharpen/blur over regions and zoom. The editor's picture
// runs check the mono-to-colour step.

#include <gtest/gtest.h>

#include "lumora/effects/sharpen_blur_filter.hpp"
#include "lumora/pipeline/sharpen_blur_operator.hpp"
#include "lumora/pipeline/zoom_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

const ElementInfo kMain{"", ElementLayout::Rgba, 0};

Bitmap<Float4> pattern(int width, int height) {
    Bitmap<Float4> picture(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            picture(x, y) = Float4(static_cast<float>((x * 7 + y * 3) % 10) * 0.2f, static_cast<float>(y % 3),
                                   static_cast<float>(x % 4) * 0.5f, 1.f);
        }
    }
    return picture;
}

// Serves any part of the pattern at any scale.
void servePattern(test::FakeSource& source) {
    source.anyPart = true;
    source.elements = {kMain};
    source.colour[""] = pattern(source.rect.width(), source.rect.height());
}

class SharpenBlurOperatorTest : public ::testing::Test {
protected:
    SharpenBlurOperatorTest() {
        servePattern(source);
        settings.set(PropertyId::sharpeningBlurringEnable, Property(true));
        settings.set(PropertyId::sharpeningAmount, Property(0.8f));
        settings.set(PropertyId::sharpeningRadius, Property(5.f));
        settings.set(PropertyId::blurringRadius, Property(6.f));
        op.setDependency(0, &source);
        op.setSettings(&settings);
    }

    test::FakeSource source{{{0, 0}, {70, 50}}};
    Settings settings;
    SharpenBlurOperator op;
};

TEST_F(SharpenBlurOperatorTest, ARegionComesOutAsThosePixelsOfTheWholeFilteredPicture) {
    const auto whole = op.compute(kMain, source.getRegion(), 1.f, 0);
    ASSERT_TRUE(whole);
    SharpenBlurFilter filter;
    filter.configure(true, 0.8f, 5.f, 6.f);
    Bitmap<Float4> direct = pattern(70, 50);
    filter.apply(0, direct, 1);
    test::expectPixels(*whole, direct);
    for (const Bucket region : {Bucket{{25, 18}, {47, 31}}, Bucket{{0, 0}, {9, 40}}, Bucket{{60, 3}, {70, 50}}}) {
        const auto part = op.compute(kMain, region, 1.f, 0);
        ASSERT_TRUE(part);
        ASSERT_EQ(part->width() * 100 + part->height(), region.width() * 100 + region.height());
        test::expectPixels(*part, *whole, region.min, 1e-5f);
    }
}

TEST_F(SharpenBlurOperatorTest, DisabledFilterAndMarkedElementsPassThrough) {
    const Bitmap<Float4> original = pattern(70, 50);
    const Bucket region{{10, 10}, {30, 20}};
    const auto marked = op.compute({"", ElementLayout::Rgba, ElementFlag::NoSharpenBlur}, region, 1.f, 0);
    ASSERT_TRUE(marked);
    test::expectPixels(*marked, original, region.min);
    settings.set(PropertyId::sharpeningBlurringEnable, Property(false));
    const auto disabled = op.compute(kMain, region, 1.f, 0);
    ASSERT_TRUE(disabled);
    test::expectPixels(*disabled, original, region.min);
}

TEST(ZoomOperator, MagnifiesByWholeBlocksAndForwardsReductions) {
    test::FakeSource source({{0, 0}, {5, 3}});
    servePattern(source);
    ZoomOperator op;
    op.setDependency(0, &source);
    for (const auto& [scale, f] : {std::pair{0.25f, 4}, std::pair{0.3f, 3}}) {
        const auto zoomed = op.compute(kMain, source.getRegion(), scale, 0);
        ASSERT_TRUE(zoomed);
        EXPECT_EQ(source.lastScale, 1.f);
        ASSERT_EQ(zoomed->width() * 100 + zoomed->height(), 500 * f + 3 * f);
        for (int y = 0; y < zoomed->height(); ++y) {
            for (int x = 0; x < zoomed->width(); ++x) {
                ASSERT_EQ((*zoomed)(x, y).x(), pattern(5, 3)(x / f, y / f).x()) << scale << " " << x << "," << y;
            }
        }
    }
    const auto reduced = op.compute(kMain, source.getRegion(), 2.f, 0);
    ASSERT_TRUE(reduced);
    EXPECT_EQ(source.lastScale, 2.f);
    EXPECT_EQ(reduced->width(), 2);
}

}  // namespace
}  // namespace lumora
