// The console pipeline driven in-process through its view of the command line.

#include <gtest/gtest.h>

#include "cli/run_program.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_saver.hpp"
#include "lumora/pipeline/cli_pipeline.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "pipeline/pipeline_test_support.hpp"

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

}  // namespace
}  // namespace lumora
