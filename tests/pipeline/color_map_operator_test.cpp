// The colour-map operator: which elements it maps and where a region sits in the image.

#include <gtest/gtest.h>

#include "lumora/pipeline/color_map_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {
namespace {

// Serves any part of one stored picture of its region; the region may sit anywhere in the image.
class Source final : public IOperator {
public:
    Source(Bucket image, Bucket region) : image_(image), region_(region), picture_(region.width(), region.height()) {
        for (int y = 0; y < picture_.height(); ++y) {
            for (int x = 0; x < picture_.width(); ++x) picture_(x, y) = Float4(0.5f, 0.25f, float(x % 7) * 0.1f, 1.f);
        }
    }
    std::int64_t getTimestamp() const override { return 1; }
    std::vector<ElementInfo> getElements() const override {
        return {{"", ElementLayout::Rgba, 0}, {"Normals", ElementLayout::Rgb, ElementFlag::RawData}};
    }
    Bucket getImageRect() const override { return image_; }
    Bucket getRegion() const override { return region_; }
    std::optional<Bitmap<Float4>> compute(const ElementInfo&, const Bucket& rect, float scale, unsigned) override {
        if (scale != 1.f || !Bucket{Pixel::ZERO, region_.size()}.contains(rect)) return std::nullopt;
        return picture_.crop(rect);
    }
    std::optional<Bitmap<float>> computeMono(const ElementInfo&, const Bucket&, float, unsigned) override {
        return Bitmap<float>(1, 1, 3.f);
    }

private:
    Bucket image_, region_;
    Bitmap<Float4> picture_;
};

class ColorMapOperatorTest : public testing::Test {
protected:
    ColorMapOperatorTest() {
        settings.set(PropertyId::vignetteIntensity, Property(0.8f));
        settings.set(PropertyId::vignetteFalloff, Property(0.3f));
    }
    Settings settings;
};

TEST_F(ColorMapOperatorTest, MapsColourElementsButNotRawDataOrSingleChannels) {
    Source source({{0, 0}, {8, 4}}, {{0, 0}, {8, 4}});
    settings.set(PropertyId::vignetteIntensity, Property(0.f));
    ColorMapOperator<ColorMapping> op(&source, &settings);
    const auto beauty = op.compute({"", ElementLayout::Rgba, 0}, {{0, 0}, {8, 4}}, 1.f, IOperator::ComputeUpdate);
    ASSERT_TRUE(beauty);
    EXPECT_NEAR((*beauty)(3, 2)[0], 0.7297f, 1e-4f);
    const auto normals = op.compute({"Normals", ElementLayout::Rgb, 0}, {{0, 0}, {8, 4}}, 1.f, 0);
    ASSERT_TRUE(normals);
    EXPECT_EQ((*normals)(3, 2)[0], 0.5f);
    EXPECT_EQ((*op.computeMono({"Z", ElementLayout::Mono, 0}, {{0, 0}, {1, 1}}, 1.f, 0))(0, 0), 3.f);
    EXPECT_FALSE(op.compute({"", ElementLayout::Rgba, 0}, {{0, 0}, {9, 4}}, 1.f, 0));
}

TEST_F(ColorMapOperatorTest, ARegionGetsThePixelsTheWholeImageHasThere) {
    Source whole({{0, 0}, {64, 40}}, {{0, 0}, {64, 40}});
    ColorMapOperator<ColorMapping> full(&whole, &settings);
    const auto reference = full.compute({"", ElementLayout::Rgba, 0}, {{0, 0}, {64, 40}}, 1.f, 0);
    ASSERT_TRUE(reference);
    EXPECT_LT((*reference)(0, 0)[0], (*reference)(32, 20)[0]);  // the vignette is there

    // A request for part of the image, and a region render whose data window sits inside.
    const auto part = full.compute({"", ElementLayout::Rgba, 0}, {{21, 13}, {60, 37}}, 1.f, 0);
    Source region({{0, 0}, {64, 40}}, {{14, 6}, {64, 40}});
    ColorMapOperator<ColorMapping> cropped(&region, &settings);
    const auto rendered = cropped.compute({"", ElementLayout::Rgba, 0}, {{7, 7}, {46, 31}}, 1.f, 0);
    ASSERT_TRUE(part && rendered);
    for (int y = 0; y < part->height(); ++y) {
        for (int x = 0; x < part->width(); ++x) {
            const int rx = x + 21, ry = y + 13;
            const float expected = (*reference)(rx, ry)[0];
            ASSERT_EQ((*part)(x, y)[0], expected) << rx << "," << ry;
            // The region's own pattern starts at its origin; red is uniform, so it compares.
            ASSERT_EQ((*rendered)(x, y)[0], expected) << rx << "," << ry;
        }
    }
}

TEST_F(ColorMapOperatorTest, ATableThatFailsIsReportedOnceAndTheMappingGoesOn) {
    Source source({{0, 0}, {4, 4}}, {{0, 0}, {4, 4}});
    settings.set(PropertyId::colorMapLutEnable, Property(true));
    settings.set(PropertyId::colorMapLutPath, Property(std::string("/nonexistent/grade.cube")));
    ColorMapOperator<ColorMapping> op(&source, &settings);
    std::vector<std::string> warnings;
    op.setWarningOutput([&](const std::string& w) { warnings.push_back(w); });
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(op.compute({"", ElementLayout::Rgba, 0}, {{0, 0}, {4, 4}}, 1.f, 0));
    EXPECT_EQ(warnings, std::vector<std::string>{"LUT: File not found or cannot be opened (/nonexistent/grade.cube)"});
}

}  // namespace
}  // namespace lumora
