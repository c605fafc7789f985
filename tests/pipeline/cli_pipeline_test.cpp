// The console pipeline driven in-process through its view of the command line.

#include <gtest/gtest.h>

#include "cli/run_program.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_saver.hpp"
#include "lumora/pipeline/cli_pipeline.hpp"
#include "lumora/pipeline/color_map_operator.hpp"
#include "lumora/pipeline/lightmix_operator.hpp"
#include "lumora/pipeline/load_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "pipeline/pipeline_test_support.hpp"
#include "sample_render/render.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

class FakeRuntime final : public Performer::IRuntime {
public:
    std::span<const fs::path> getInputs() const override { return inputs; }
    std::span<const WeightDescriptor> getWeights() const override { return weights; }
    const IOperator::ElementSelector& getElementSelector() const override { return selector; }
    void applySettingsOverrides(Settings& target) const override {
        for (const auto& [id, value] : overrides) target.set(id, value);
    }
    const fs::path& getOutput() const override { return output; }
    void printMessage(const std::string& text) override { messages.push_back(text); }

    std::vector<fs::path> inputs;
    std::vector<WeightDescriptor> weights;
    IOperator::ElementSelector selector;
    std::vector<std::pair<int, Property>> overrides;
    fs::path output;
    std::vector<std::string> messages;
};

TEST(LumoraExrFileName, IsTheLxrExtensionInAnyLetterCase) {
    for (const char* name : {"out.lxr", "dir.png/Out.LxR"}) EXPECT_TRUE(isLumoraExrFileName(name)) << name;
    for (const char* name : {"out.exr", "out.lxr.png", "lxr", ".lxr"}) EXPECT_FALSE(isLumoraExrFileName(name)) << name;
}

TEST(CliPipelineRun, AppliesTheOverridesAfterLoadingAndSizesAndLowersTheScheduler) {
    const fs::path folder = test::processFolder("cli_pipeline");
    auto image = test::makeImage(6, 4, {"R", "G", "B", "Key.R", "Key.G", "Key.B"});
    test::markAsLxr(image);
    ASSERT_TRUE(ExrSaver().save(image, folder / "in.lxr"));

    Settings settings;
    FakeRuntime runtime;
    runtime.inputs = {folder / "in.lxr"};
    runtime.output = folder / "out.lxr";
    runtime.overrides = {{PropertyId::systemNumThreads, Property(1)}, {PropertyId::colorMapGamma, Property(1.25f)}};
    {
        Pipeline::CliPipeline pipeline(&settings);
        pipeline.run(runtime);
    }
    EXPECT_EQ(scheduler::workerCount(), 1);
    EXPECT_EQ(scheduler::workerThreadsPriority(), -2);
    scheduler::setWorkerCount(0);
    EXPECT_TRUE(runtime.messages.empty());
    EXPECT_EQ(settings.get(PropertyId::colorMapGamma), Property(1.25f));

    const auto saved = ExrLoader().load(runtime.output);
    ASSERT_TRUE(saved) << saved.error();
    EXPECT_EQ(test::channelNames(*saved), test::channelNames(image));

    // A failing run throws the operator's message and the pipeline can be destroyed right after.
    runtime.inputs = {folder / "absent.lxr"};
    Pipeline::CliPipeline failing(&settings);
    try {
        failing.run(runtime);
        ADD_FAILURE() << "no exception";
    } catch (const Exception& e) {
        EXPECT_EQ(e.message(), ExrLoader().load(folder / "absent.lxr").error());
    }
}

TEST(CliPipelineRun, WithoutBloomAndGlareAPictureIsTheColourMappedLightMix) {
    const fs::path folder = test::processFolder("cli_pipeline_mix");
    sample::RenderOptions options;
    options.width = 24, options.height = 16, options.passes = 4, options.seed = 3;
    ASSERT_TRUE(ExrSaver().save(sample::renderLxr(options), folder / "in.lxr"));

    // A mix that differs from the beauty, and a mapping that changes every value.
    const std::vector<std::pair<int, Property>> overrides{
        {PropertyId::bloomGlareEnabled, Property(false)},
        {PropertyId::colorMapLightmixIntensities, Property::floatArray({0.5f, 3.f, 1.f})},
        {PropertyId::colorMapSimpleExposure, Property(1.5f)},
        {PropertyId::colorMapGamma, Property(1.8f)},
    };
    Settings settings;
    FakeRuntime runtime;
    runtime.inputs = {folder / "in.lxr"};
    runtime.selector = IOperator::ElementSelector{"LightMix Interactive"};
    runtime.output = folder / "mix.exr";
    runtime.overrides = overrides;
    Pipeline::CliPipeline(&settings).run(runtime);
    const auto saved = ExrLoader().load(runtime.output);
    ASSERT_TRUE(saved) << saved.error();

    // The same light mix and mapping, chained by hand.
    Settings own;
    LoadOperator load;
    load.setSettings(&own);
    load.setInputs({}, {folder / "in.lxr"});
    ASSERT_TRUE(load.wait());
    for (const auto& [id, value] : overrides) own.set(id, value);
    std::mutex lock;
    LightMixOperator mix(&lock);
    mix.setDependency(0, &load);
    mix.setImageInfo(&load);
    mix.setSettings(&own);
    ColorMapOperator<ColorMapping> map(&mix, &own);
    const Bucket region = load.getRegion();
    const ElementInfo element{"LightMix Interactive", ElementLayout::Rgb, ElementFlag::Virtual};
    const Bucket whole{{0, 0}, {region.width(), region.height()}};
    const auto expected = map.compute(element, whole, 1.f, 2);
    const auto unmapped = mix.compute(element, whole, 1.f, 2);
    ASSERT_TRUE(expected && unmapped);
    const char* channels[] = {"R", "G", "B"};
    int changed = 0;
    for (int c = 0; c < 3; ++c) {
        const auto* channel = saved->getChannel<float>(channels[c]);
        ASSERT_NE(channel, nullptr) << channels[c];
        for (int y = 0; y < region.height(); ++y) {
            for (int x = 0; x < region.width(); ++x) {
                const float want = (*expected)(x, y)[c];
                // The file holds half floats.
                ASSERT_NEAR(channel->at(x, y), want, 1e-3f * std::max(1.f, std::abs(want))) << x << "," << y;
                changed += std::abs(want - (*unmapped)(x, y)[c]) > 0.01f;
            }
        }
    }
    EXPECT_GT(changed, region.width() * region.height()) << "the mapping should change most values";
}

}  // namespace
}  // namespace lumora
