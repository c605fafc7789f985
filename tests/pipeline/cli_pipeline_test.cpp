// The console pipeline driven in-process through its view of the command line.

#include <gtest/gtest.h>

#include "cli/run_program.hpp"
#include "foundation/thrown_message.hpp"
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

// A runtime over one sample render, with the given overrides and output.
FakeRuntime runtimeFor(const fs::path& input, const fs::path& output, std::vector<std::pair<int, Property>> overrides) {
    FakeRuntime runtime;
    runtime.inputs = {input};
    runtime.output = output;
    runtime.overrides = std::move(overrides);
    return runtime;
}

TEST(CliPipelineRun, SizesAndLowersTheSchedulerAndThrowsTheFirstFailure) {
    // The editor's runs check the overrides and the messages; here what a process cannot show.
    const fs::path folder = test::processFolder("cli_pipeline");
    auto image = test::makeImage(6, 4, {"R", "G", "B"});
    test::markAsLxr(image);
    ASSERT_TRUE(ExrSaver().save(image, folder / "in.lxr"));
    Settings settings;
    FakeRuntime runtime = runtimeFor(folder / "in.lxr", folder / "out.lxr", {{PropertyId::systemNumThreads, Property(1)}});
    Pipeline::CliPipeline(&settings).run(runtime);
    EXPECT_EQ(scheduler::workerCount(), 1);
    EXPECT_EQ(scheduler::workerThreadsPriority(), -2);
    scheduler::setWorkerCount(0);
    EXPECT_TRUE(runtime.messages.empty());
    EXPECT_TRUE(fs::exists(runtime.output));

    // The pipeline can be destroyed right after a failing run.
    runtime.inputs = {folder / "absent.lxr"};
    EXPECT_EQ(test::thrownMessage([&] { Pipeline::CliPipeline(&settings).run(runtime); }),
              ExrLoader().load(folder / "absent.lxr").error());
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
        {PropertyId::colorMapSimpleExposure, Property(1.5f)}, {PropertyId::colorMapGamma, Property(1.8f)}};
    Settings settings;
    FakeRuntime runtime = runtimeFor(folder / "in.lxr", folder / "mix.exr", overrides);
    runtime.selector = IOperator::ElementSelector{"LightMix Interactive"};
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
    const ElementInfo element{"LightMix Interactive", ElementLayout::Rgb, ElementFlag::Virtual};
    const auto expected = map.compute(element, wholeRegion(load), 1.f, 2);
    const auto unmapped = mix.compute(element, wholeRegion(load), 1.f, 2);
    ASSERT_TRUE(expected && unmapped);
    int changed = 0;
    for (int c = 0; c < 3; ++c) {
        const auto* channel = saved->getChannel<float>(std::string(1, "RGB"[c]));
        ASSERT_NE(channel, nullptr) << c;
        for (std::size_t i = 0; i < expected->size(); ++i) {
            const float want = expected->data()[i][c];
            // The file holds half floats.
            ASSERT_NEAR(channel->data[i], want, 1e-3f * std::max(1.f, std::abs(want))) << "pixel " << i;
            changed += std::abs(want - unmapped->data()[i][c]) > 0.01f;
        }
    }
    EXPECT_GT(changed, expected->width() * expected->height()) << "the mapping should change most values";
}

}  // namespace
}  // namespace lumora
