// The asynchronous job protocol and the element filters that every operator is built on.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "lumora/pipeline/async_mixin.hpp"
#include "lumora/pipeline/operator.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

using namespace std::chrono_literals;

// A job that calls onRun inside every run and reports an error at the end of it.
class ProbeOperator final : public AsyncMixin<ProgressMixin<IOperator>> {
public:
    ~ProbeOperator() override { stopWorker(); }

    void request() { start("Probe"); }
    int runs() const { return runs_.load(); }
    const std::string& name() const { return taskName(); }

    std::int64_t getTimestamp() const override { return 0; }
    std::vector<ElementInfo> getElements() const override { return {}; }
    Bucket getImageRect() const override { return {}; }
    Bucket getRegion() const override { return {}; }
    std::optional<Bitmap<Float4>> compute(const ElementInfo&, const Bucket&, float, unsigned) override { return {}; }
    std::optional<Bitmap<float>> computeMono(const ElementInfo&, const Bucket&, float, unsigned) override { return {}; }

    std::function<void(int)> onRun;

protected:
    void run() override {
        const int run = ++runs_;
        if (onRun) onRun(run);
        reportError("run " + std::to_string(run) + " failed");
    }

private:
    std::atomic<int> runs_{0};
};

// Makes the first run of a probe signal `entered` and then wait for `release`. The run waits on
// its own copy of the future, as the gate may go before the probe's worker has left the run.
struct FirstRunGate {
    explicit FirstRunGate(ProbeOperator& probe) {
        probe.onRun = [this, released = release.get_future().share()](int run) {
            if (run != 1) return;
            entered.set_value();
            released.wait();
        };
    }
    std::promise<void> entered, release;
};

TEST(AsyncOperator, RequestsThatArriveDuringARunMergeIntoOneFurtherRunAndStopEndsTheWait) {
    ProbeOperator probe;
    FirstRunGate gate(probe);
    probe.request();
    gate.entered.get_future().wait();
    probe.request();
    probe.request();
    gate.release.set_value();
    EXPECT_TRUE(probe.wait());
    EXPECT_EQ(probe.runs(), 2);
    EXPECT_EQ(probe.name(), "Pipeline_Probe");

    // A wait after a stop reports the stop.
    ProbeOperator stopped;
    FirstRunGate held(stopped);
    stopped.request();
    held.entered.get_future().wait();
    stopped.request();
    stopped.stop();
    EXPECT_FALSE(stopped.wait());
    held.release.set_value();
}

TEST(AsyncOperator, WaitCoversARunningJobAndEveryLaterRequestRunsAgainUnlessSilenced) {
    test::MessageLog log;
    ProbeOperator probe;
    probe.setErrorCallback(log.callback());
    EXPECT_TRUE(probe.wait()) << "never started";
    EXPECT_EQ(probe.runs(), 0);
    std::promise<void> entered;
    probe.onRun = [&](int run) {
        if (run != 1) return;
        entered.set_value();
        std::this_thread::sleep_for(50ms);
    };
    probe.request();
    entered.get_future().wait();  // the worker has taken the request and is inside the job
    EXPECT_TRUE(probe.wait());
    EXPECT_EQ(log.texts(), std::vector<std::string>{"run 1 failed"}) << "the running job's error comes first";
    probe.setSilent(true);
    probe.request();
    probe.wait();
    EXPECT_EQ(probe.runs(), 2);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"run 1 failed"});
}

TEST(ElementFilter, StarAcceptsEveryElementAndANameExactlyItsElement) {
    const std::vector<ElementInfo> elements{
        {"", ElementLayout::Rgba, 0}, {"A", ElementLayout::Mono, ElementFlag::RawData},
        {"Key", ElementLayout::Rgb, ElementFlag::LightSelect}, {"SqrBeauty", ElementLayout::Rgb, ElementFlag::Hidden},
        {"LUMORA_FB_WEIGHTS", ElementLayout::Mono, ElementFlag::Hidden}};
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases{
        {"*", {"", "A", "Key", "SqrBeauty", "LUMORA_FB_WEIGHTS"}},
        {"BEAUTY", {""}}, {"Alpha", {"A"}}, {"Key", {"Key"}}, {"SqrBeauty", {"SqrBeauty"}}, {"beauty", {}}, {"key", {}}};
    for (const auto& [selector, expected] : cases) {
        const auto filter = IOperator::makeElementFilter({selector});
        std::vector<std::string> accepted;
        for (const auto& element : elements) {
            if ((*filter)(element)) accepted.push_back(element.name);
        }
        EXPECT_EQ(accepted, expected) << selector;
    }
}

}  // namespace
}  // namespace lumora
