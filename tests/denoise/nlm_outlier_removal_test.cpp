#include <gtest/gtest.h>

#include <cmath>
#include <span>
#include <vector>

#include "lumora/denoise/nlm_outlier_removal.hpp"
#include "synthetic_render.hpp"

namespace lumora {
namespace {

using testing::describe;
using testing::sameBits;

// Columns 0-4 hold `left`, columns 5-9 `right`: the 3 x 3 patches of p = (2, 2) and q = (7, 2)
// are uniform and inside the image.
struct TwoHalves {
    static constexpr std::ptrdiff_t p = 22, q = 27;
    Bitmap<Float4> colour{10, 5}, variance{10, 5};

    TwoHalves(Float4 left, Float4 right, float varianceLeft, float varianceRight) {
        for (int y = 0; y < 5; ++y) {
            for (int x = 0; x < 10; ++x) {
                colour(x, y) = x < 5 ? left : right;
                variance(x, y) = Float4(x < 5 ? varianceLeft : varianceRight);
            }
        }
    }
    // The interior and the border form agree, and the weight fills all four lanes.
    static float weight(const NlmFilterBase& filter) {
        Float4 interior, border;
        filter.weightInterior(interior, p, q);
        filter.weightBorder(border, p, q, PatchClip::of(1, 2, 2, 7, 2, 10, 5));
        EXPECT_TRUE(sameBits(interior, border) && sameBits(interior, Float4(interior.x()))) << describe(interior);
        return interior.x();
    }
};

TEST(NlmColourWeight, FollowsTheVarianceNormalisedPatchDistance) {
    struct Case {
        const char* what;
        float k, epsilon, h, varianceLeft, varianceRight;
        double distance;
    };
    // Colours 0.7 and 0.2: a squared difference of 0.25.
    const Case cases[] = {
        {"zero variance: the floor alone normalises", 1.f, 0.01f, 0.1f, 0.f, 0.f, 0.25 / 0.01},
        {"noise explains the whole difference", 1.f, 0.01f, 1.f, 0.2f, 0.2f, 0.0},
        {"noise explains part of it", 1.f, 0.01f, 1.f, 0.05f, 0.01f, (0.25 - 0.06) / 0.07},
        {"the neighbour's variance is capped at 1000 times the centre's", 0.f, 0.f, 1.f, 1e-3f, 10.f, 0.25 / 1.001},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        // The fourth lane differs wildly and must not count.
        const TwoHalves image(Float4(0.7f, 0.7f, 0.7f, 50.f), Float4(0.2f, 0.2f, 0.2f, -50.f), c.varianceLeft,
                              c.varianceRight);
        const NlmOutlierRemoval filter(image.colour, image.variance, NlmParams{c.k, c.epsilon, nullptr, 1.f, c.h}, 5.f);
        const double expected = std::exp(-double(c.h) * c.distance);
        EXPECT_NEAR(TwoHalves::weight(filter), expected, 1e-5 * expected + 1e-30);
    }

    // Equal patches with equal variances weigh exactly 1, however uneven the patch.
    TwoHalves periodic(Float4(0.f), Float4(0.f), 0.f, 0.f);
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 10; ++x) {
            periodic.colour(x, y) = Float4(0.1f * float(x % 5), 0.3f * float(y), 0.2f, 1.f);
            periodic.variance(x, y) = Float4(0.01f * float(1 + x % 5));
        }
    }
    for (float k : {0.f, 1.f, 2.f}) {
        EXPECT_EQ(TwoHalves::weight(NlmOutlierRemoval(periodic.colour, periodic.variance, {k, 0.01f, nullptr, 1.f, 2.f}, 5.f)),
                  1.f);
    }
}

class OneFeature : public NlmFeatureOwner {
public:
    OneFeature(float neighbour, float gradient, bool active)
        : mean_(50, Float4(1.f)), variance_(50, Float4(0.f)), gradient_(50, Float4(gradient)) {
        mean_[TwoHalves::q] = Float4(neighbour);
        feature_ = {mean_.data(), variance_.data(), gradient_.data(), Float4(1.f), Float4(0.5f), Float4(1.f),
                    active ? NlmFeature::kActive : 0u};
    }
    std::span<const NlmFeature> nlmFeatures() const override { return {&feature_, 1}; }

private:
    std::vector<Float4> mean_, variance_, gradient_;
    NlmFeature feature_;
};

TEST(NlmColourWeight, FeaturesCanOnlyLowerIt) {
    struct Case {
        const char* what;
        OneFeature feature;
        float featureScale;
        double expected;
    };
    // Feature values 1 and 0 with the floor 0.5.
    const Case cases[] = {
        {"distance over the floor", OneFeature(0.f, 0.f, true), 1.f, std::exp(-2.0)},
        {"the floor grows with the feature scale", OneFeature(0.f, 0.f, true), 4.f, std::exp(-0.5)},
        {"a steep gradient raises the floor", OneFeature(0.f, 4.f, true), 1.f, std::exp(-0.25)},
        {"an inactive feature is ignored", OneFeature(0.f, 0.f, false), 1.f, 1.0},
    };
    const TwoHalves image(Float4(0.5f), Float4(0.5f), 0.01f, 0.01f);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const NlmOutlierRemoval filter(image.colour, image.variance, {1.f, 0.01f, &c.feature, c.featureScale, 1.f}, 5.f);
        EXPECT_NEAR(TwoHalves::weight(filter), c.expected, 1e-6);
    }
}

}  // namespace
}  // namespace lumora
