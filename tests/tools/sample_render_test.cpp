// The sample renderer as later tests rely on it: a complete LXR, light selects that add up to the
// beauty, region renders that merge into the full render, and Monte Carlo convergence.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "foundation/thrown_message.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "lumora/image/accumulator.hpp"
#include "sample_render/render.hpp"

namespace lumora::sample {
namespace {

RenderOptions small(int passes, std::uint32_t seed = 1) {
    RenderOptions options;
    options.width = 32, options.height = 18, options.passes = passes, options.seed = seed;
    return options;
}

const Channel<float>& channel(const ChannelImage& image, const std::string& name) {
    const auto* c = image.getChannel<float>(name);
    if (!c) throw Exception("missing channel " + name);
    return *c;
}

// Compares every float channel of two images value by value; the message names the channel and
// the pixel of the first difference.
void expectSameChannels(const ChannelImage& actual, const ChannelImage& expected, float relativeTolerance) {
    ASSERT_EQ(actual.listFloatChannelNames(), expected.listFloatChannelNames());
    for (const std::string& name : expected.listFloatChannelNames()) {
        const auto& a = channel(actual, name);
        const auto& e = channel(expected, name);
        ASSERT_EQ(a.data.size(), e.data.size()) << name;
        for (std::size_t i = 0; i < e.data.size(); ++i) {
            const float tolerance = relativeTolerance * std::max(1.f, std::fabs(e.data[i]));
            if (std::fabs(a.data[i] - e.data[i]) > tolerance) {
                FAIL() << name << " at pixel (" << i % static_cast<std::size_t>(e.width) << ", "
                       << i / static_cast<std::size_t>(e.width) << "): " << a.data[i] << " instead of " << e.data[i];
            }
        }
    }
}

TEST(SampleRender, IsAnLxrWithEveryElementRecordAndAttribute) {
    // The editor's runs read these renders back from files.
    const ChannelImage image = renderLxr(small(4));
    EXPECT_TRUE(isLumoraExr(image));
    EXPECT_EQ(image.getAttribute<Bucket>(names::displayWindow)->value, (Bucket{{0, 0}, {32, 18}}));
    EXPECT_EQ(image.getAttribute<Bucket>(names::dataWindow)->value, (Bucket{{0, 0}, {32, 18}}));
    EXPECT_EQ(image.getAttribute<float>(names::gamma)->value, 1.f);
    EXPECT_EQ(image.getAttribute<int>(names::statsPasses)->value, 4);
    // A camera ray, shadow rays and bounces: more than one ray per sample on average.
    EXPECT_GT(image.getAttribute<float>(names::statsRaysPerSample)->value, 1.f);

    // Every colour element but the raw normals comes with its squared companion.
    std::set<std::string> expectedChannels{"R", "G", "B", "A", "SqrBeauty.R", "SqrBeauty.G", "SqrBeauty.B",
                                           "Normals.R", "Normals.G", "Normals.B", "LUMORA_FB_WEIGHTS", "ZDepth"};
    for (const char* e : {"Key", "Fill", "Spot", "VisibleDiffuse", "VisibleNormals", "OptixNormals", "Hybrid"}) {
        for (const std::string c : {".R", ".G", ".B"}) expectedChannels.insert({e + c, "Sqr" + (e + c)});
    }
    const auto names = image.listFloatChannelNames();
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expectedChannels);

    // Thirteen records; the colour ones can be mapped, denoised and take bloom and glare.
    const auto& records = image.getRenderElementInfos();
    ASSERT_EQ(records.size(), 13u);
    EXPECT_EQ(serialize(records[0]), "Beauty|Beauty|ColorMapped+Denoised+BloomEffect+GlareEffect");
    EXPECT_EQ(serialize(records[3]), "Fill|LightSelect|ColorMapped+Denoised+BloomEffect+GlareEffect");
    EXPECT_EQ(serialize(records[5]), "LightMix|LightMix|ColorMapped+Virtual+BloomEffect+GlareEffect");
    EXPECT_EQ(serialize(records[12]), "Normals|Normals|");
    // The stored settings are read back by the editor's runs, which merge renders that agree and
    // renders that differ.
}

// Per pixel: the light selects sum to the beauty, alpha is a coverage in [0, 1], the squared
// companions are at least the squared means, and the weights are the pass counts.
void expectConsistentPixels(const ChannelImage& image, int minPasses, int maxPasses) {
    const auto& weights = channel(image, names::weights);
    const auto& alpha = channel(image, "A");
    for (const char* c : {"R", "G", "B"}) {
        const auto& beauty = channel(image, c);
        const auto& squares = channel(image, std::string("SqrBeauty.") + c);
        for (std::size_t i = 0; i < beauty.data.size(); ++i) {
            float sum = 0.f;
            for (const char* light : {"Key", "Fill", "Spot"}) sum += channel(image, std::string(light) + "." + c).data[i];
            const float b = beauty.data[i];
            ASSERT_NEAR(sum, b, 1e-5f * std::max(1.f, b)) << c << " at " << i;
            ASSERT_GE(squares.data[i], b * b * (1.f - 1e-5f)) << c << " at " << i;
            ASSERT_TRUE(alpha.data[i] >= 0.f && alpha.data[i] <= 1.f) << i;
            ASSERT_TRUE(weights.data[i] >= float(minPasses) && weights.data[i] <= float(maxPasses)) << i;
        }
    }
}

TEST(SampleRender, LightSelectsAddUpToTheBeautyInEveryPixel) {
    const ChannelImage image = renderLxr(small(8));
    expectConsistentPixels(image, 8, 8);

    // The upper right corner looks out of the room onto the black background; the bottom centre
    // is floor.
    const auto& alpha = channel(image, "A");
    EXPECT_EQ(alpha.at(31, 0), 0.f);
    EXPECT_EQ(channel(image, "R").at(31, 0), 0.f);
    EXPECT_EQ(alpha.at(16, 17), 1.f);
    EXPECT_GT(channel(image, "Key.R").at(16, 17), 0.f);

    // The floor's features: an upward normal, a depth inside the room matching the hybrid
    // feature's normalised depth.
    EXPECT_NEAR(channel(image, "VisibleNormals.G").at(16, 17), 1.f, 1e-6f);
    const float depth = channel(image, "ZDepth").at(16, 17);
    EXPECT_TRUE(depth > 1.f && depth < 12.f) << depth;
    EXPECT_NEAR(channel(image, "Hybrid.R").at(16, 17), depth / 12.f, 1e-5f);
    for (const char* feature : {"VisibleDiffuse.R", "VisibleNormals.R", "Hybrid.G", "ZDepth"}) {
        EXPECT_EQ(channel(image, feature).at(31, 0), 0.f) << feature << " on the background";
    }
}

TEST(SampleRender, AdaptivePassesFollowTheNoise) {
    RenderOptions options = small(16);
    options.adaptive = true;
    const ChannelImage image = renderLxr(options);
    expectConsistentPixels(image, 8, 24);

    const auto& weights = channel(image, names::weights);
    const auto& alpha = channel(image, "A");
    double coveredPasses = 0.0;
    int covered = 0;
    for (std::size_t i = 0; i < weights.data.size(); ++i) {
        if (alpha.data[i] == 0.f) {
            EXPECT_EQ(weights.data[i], 8.f) << "a black background pixel needs no more passes";
        } else if (alpha.data[i] == 1.f) {
            coveredPasses += weights.data[i];
            ++covered;
        }
    }
    EXPECT_GT(coveredPasses / covered, 8.5);
    EXPECT_EQ(*std::ranges::max_element(weights.data), 24.f);
}

TEST(SampleRender, RendersDoNotDependOnTheThreadCountButOnTheSeed) {
    scheduler::setWorkerCount(1);
    const ChannelImage single = renderLxr(small(3));
    scheduler::setWorkerCount(2);
    const ChannelImage parallel = renderLxr(small(3));
    scheduler::setWorkerCount(0);
    expectSameChannels(parallel, single, 0.f);

    const ChannelImage otherSeed = renderLxr(small(3, 2));
    const auto& a = channel(single, "Key.G");
    const auto& b = channel(otherSeed, "Key.G");
    std::size_t different = 0;
    for (std::size_t i = 0; i < a.data.size(); ++i) different += a.data[i] != b.data[i] ? 1 : 0;
    EXPECT_GT(different, a.data.size() / 2);
}

// Adaptive passes too depend on the pixel alone, not on the region it is rendered in.
TEST(SampleRender, RegionRendersMergeIntoTheFullRender) {
    RenderOptions options = small(6, 3);
    options.adaptive = true;
    const ChannelImage full = renderLxr(options);

    Accumulator accumulator(names::weights, {});
    for (const Bucket& region : {Bucket{{0, 0}, {32, 7}}, Bucket{{0, 7}, {13, 18}}, Bucket{{13, 7}, {32, 18}}}) {
        options.region = region;
        const ChannelImage part = renderLxr(options);
        EXPECT_EQ(part.getAttribute<Bucket>(names::dataWindow)->value, region);
        accumulator.add(part, WeightDescriptor::channel(names::weights));
    }
    const ChannelImage merged = accumulator.finish();
    EXPECT_EQ(merged.getAttribute<Bucket>(names::dataWindow)->value, (Bucket{{0, 0}, {32, 18}}));
    expectSameChannels(merged, full, 1e-5f);
}

// The mean that the squared companion promises: (Sqr - mean^2) / (passes - 1) is the variance of
// the mean, so independent renders must scatter by that much.
TEST(SampleRender, SquaredCompanionPredictsTheScatterOfIndependentRenders) {
    constexpr int renders = 24;
    constexpr int passes = 8;
    std::vector<ChannelImage> images;
    for (int r = 0; r < renders; ++r) images.push_back(renderLxr(small(passes, 500 + static_cast<std::uint32_t>(r))));
    double observed = 0.0, predicted = 0.0;
    const std::size_t pixels = channel(images[0], "Key.G").data.size();
    for (std::size_t i = 0; i < pixels; ++i) {
        double sum = 0.0, sumSquares = 0.0, predictedHere = 0.0;
        for (const ChannelImage& image : images) {
            const double mean = channel(image, "Key.G").data[i];
            sum += mean;
            sumSquares += mean * mean;
            predictedHere += (channel(image, "SqrKey.G").data[i] - mean * mean) / (passes - 1);
        }
        const double average = sum / renders;
        observed += (sumSquares / renders - average * average) * renders / (renders - 1);
        predicted += predictedHere / renders;
    }
    EXPECT_NEAR(observed / predicted, 1.0, 0.2);
}

// Only the light-sampling and BSDF-sampling densities make the single strategies agree with their
// combination; a wrong density shows as a difference in the mean.
TEST(SampleRender, SamplingStrategiesAgreeInTheMean) {
    const RenderOptions options = small(128, 7);
    auto meanOf = [&](Strategy strategy, const char* element) {
        const ChannelImage image = renderLxr(options, strategy);
        double sum = 0.0;
        for (const char* c : {"R", "G", "B"}) {
            for (const float v : channel(image, std::string(element) + "." + c).data) sum += v;
        }
        return sum;
    };
    for (const char* element : {"Key", "Fill"}) {
        const double mis = meanOf(Strategy::Mis, element);
        EXPECT_NEAR(meanOf(Strategy::LightOnly, element) / mis, 1.0, 0.03) << element;
        EXPECT_NEAR(meanOf(Strategy::BsdfOnly, element) / mis, 1.0, 0.03) << element;
    }
}

TEST(SampleRender, SettingsLinesAreCheckedAsTheEditorWould) {
    const std::vector<std::pair<std::string, std::string>> refused{
        {"int system.numThreads = 2",
         "Property system.numThreads is not a post-processing property, so a render does not store it."},
        {"int colorMap.simpleExposure = 2", "Property colorMap.simpleExposure is invalid. Value has wrong type."}};
    for (const auto& [line, message] : refused) {
        Settings settings;
        EXPECT_EQ(test::thrownMessage([&] { applySettingsLines({line}, settings); }), message);
    }
}

}  // namespace
}  // namespace lumora::sample
