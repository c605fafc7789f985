// The colour-map operator: where a region sits in the image, and a table that fails. The editor's
// picture runs check which elements it maps; the colour-mapping tests check the values.

#include <gtest/gtest.h>

#include "lumora/pipeline/color_map_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

const ElementInfo kBeauty{"", ElementLayout::Rgba, 0};

// Makes a source serve any part of a picture of its region, which may sit anywhere in the image.
// Red is uniform, blue a pattern that starts at the region's origin.
void paint(test::FakeSource& source, Bucket image) {
    source.anyPart = true;
    source.image = image;
    source.elements = {kBeauty};
    Bitmap<Float4>& picture = source.colour[""] = Bitmap<Float4>(source.rect.width(), source.rect.height());
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) picture(x, y) = Float4(0.5f, 0.25f, float(x % 7) * 0.1f, 1.f);
    }
}

TEST(ColorMapOperator, ARegionGetsThePixelsTheWholeImageHasThere) {
    Settings settings;
    settings.set(PropertyId::vignetteIntensity, Property(0.8f));
    settings.set(PropertyId::vignetteFalloff, Property(0.3f));
    test::FakeSource whole({{0, 0}, {64, 40}});
    paint(whole, whole.rect);
    ColorMapOperator<ColorMapping> full(&whole, &settings);
    const auto reference = full.compute(kBeauty, {{0, 0}, {64, 40}}, 1.f, 0);
    ASSERT_TRUE(reference);
    EXPECT_LT((*reference)(0, 0)[0], (*reference)(32, 20)[0]);  // the vignette is there

    // A request for part of the image, and a region render whose data window sits inside.
    const auto part = full.compute(kBeauty, {{21, 13}, {60, 37}}, 1.f, 0);
    test::FakeSource region({{14, 6}, {64, 40}});
    paint(region, whole.rect);
    ColorMapOperator<ColorMapping> cropped(&region, &settings);
    const auto rendered = cropped.compute(kBeauty, {{7, 7}, {46, 31}}, 1.f, 0);
    ASSERT_TRUE(part && rendered);
    test::expectPixels(*part, *reference, Pixel{21, 13});
    test::expectPixels(*rendered, *reference, Pixel{21, 13});
}

TEST(ColorMapOperator, ATableThatFailsIsReportedOnceAndTheMappingGoesOn) {
    Settings settings;
    settings.set(PropertyId::colorMapLutEnable, Property(true));
    settings.set(PropertyId::colorMapLutPath, Property(std::string("/nonexistent/grade.cube")));
    test::FakeSource small({{0, 0}, {4, 4}});
    paint(small, small.rect);
    ColorMapOperator<ColorMapping> op(&small, &settings);
    std::vector<std::string> warnings;
    op.setWarningOutput([&](const std::string& w) { warnings.push_back(w); });
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(op.compute(kBeauty, {{0, 0}, {4, 4}}, 1.f, 0));
    EXPECT_EQ(warnings, std::vector<std::string>{"LUT: File not found or cannot be opened (/nonexistent/grade.cube)"});
}

}  // namespace
}  // namespace lumora
