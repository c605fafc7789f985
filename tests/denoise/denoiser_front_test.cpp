#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lumora/denoise/create_denoiser.hpp"
#include "lumora/denoise/denoising_mode.hpp"
#include "lumora/denoise/hot_pixels_denoiser.hpp"
#include "lumora/denoise/nlm_denoiser.hpp"

namespace lumora {
namespace {

using enum FeatureType;

TEST(DenoisingMode, FeaturesAndFlagsOfEachMode) {
    EXPECT_TRUE(getDenoisingFeatures(DenoisingMode::Fireflies).empty());
    EXPECT_EQ(getDenoisingFeatures(DenoisingMode::Gather), (std::vector<FeatureType>{VisibleDiffuse, VisibleNormals, Hybrid, HairIds}));
    EXPECT_EQ(getDenoisingFeatures(DenoisingMode::NvidiaAiDenoiser), (std::vector<FeatureType>{VisibleDiffuse, OptixNormals}));
    EXPECT_FALSE(getDenoisingModeFlags(DenoisingMode::Gather).has(DenoisingFlag::Filter));
    EXPECT_TRUE(getDenoisingModeFlags(DenoisingMode::Full).has(DenoisingFlag::FeatureVariance));
    EXPECT_FALSE(getDenoisingModeFlags(DenoisingMode::NvidiaAiDenoiser).has(DenoisingFlag::FeatureVariance));
    // The element names the features are read from; a swap would load the wrong images.
    EXPECT_STREQ(getFeatureElementName(VisibleDiffuse), "VisibleDiffuse");
    EXPECT_STREQ(getFeatureElementName(VisibleNormals), "VisibleNormals");
}

struct SilentLogger : Logger {
    void error(const std::string&) override {}
};

TEST(CreateDenoiser, GivesTheDenoiserOfTheModeAndKeepsNoLogger) {
    auto logger = std::make_shared<SilentLogger>();
    EXPECT_EQ(createDenoiser(DenoisingMode::None, logger, {}), nullptr);
    EXPECT_EQ(createDenoiser(DenoisingMode::Gather, logger, {}), nullptr);
    EXPECT_NE(dynamic_cast<HotPixelsDenoiser*>(createDenoiser(DenoisingMode::Fireflies, logger, {}).get()), nullptr);
    EXPECT_NE(dynamic_cast<NlmDenoiser*>(createDenoiser(DenoisingMode::Full, logger, {}).get()), nullptr);
    EXPECT_EQ(logger.use_count(), 1);
}

DenoisingData dataWithFeatures(const std::vector<FeatureType>& types) {
    DenoisingData data;
    data.passes = Bitmap<float>(3, 2, 16.f);
    for (FeatureType type : types) {
        // The pixel value tells the features apart after the move.
        const Float4 tag(float(type) + 1.f);
        data.features[type] = FeatureImages{type, Bitmap<Float4>(3, 2, tag), Bitmap<Float4>(3, 2, tag * tag)};
    }
    return data;
}

TEST(DenoiserBase, TakesOverTheFeaturesInItsOwnOrder) {
    DenoisingData data = dataWithFeatures({VisibleNormals, VisibleDiffuse, Hybrid, HairIds, OptixNormals});
    HotPixelsDenoiser denoiser(data);
    const auto& records = denoiser.featureRecords();
    ASSERT_EQ(records.size(), 4u);
    const std::vector<std::pair<FeatureType, std::string>> expected{
        {VisibleDiffuse, "visibleDiffuse"}, {VisibleNormals, "visibleNormals"}, {Hybrid, "hybrid"}, {HairIds, "hairIds"}};
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].descriptor.type, expected[i].first);
        EXPECT_EQ(records[i].descriptor.name, expected[i].second);
        EXPECT_EQ(records[i].mean(2, 1).x(), float(expected[i].first) + 1.f);
        EXPECT_TRUE(data.features.at(expected[i].first).mean.empty());
    }
    EXPECT_TRUE(data.passes.empty() && denoiser.passes().width() == 3);
    // The GPU denoiser's normals are not a record and stay where they were.
    EXPECT_FALSE(data.features.at(OptixNormals).mean.empty());

    DenoisingData withoutHair = dataWithFeatures({VisibleNormals, VisibleDiffuse, Hybrid});
    EXPECT_EQ(HotPixelsDenoiser(withoutHair).featureRecords().size(), 3u);
}

}  // namespace
}  // namespace lumora
