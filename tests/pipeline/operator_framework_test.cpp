// The asynchronous job protocol and the element filters that every operator is built on.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "lumora/pipeline/async_mixin.hpp"
#include "lumora/pipeline/operator.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

using namespace std::chrono_literals;

// A job that can be held inside its first run and reports an error at the end of every run.
class ProbeOperator final : public AsyncMixin<ProgressMixin<IOperator>> {
public:
    ~ProbeOperator() override { stopWorker(); }

    void request() { start("Probe"); }
    void holdFirstRun() { hold_ = true; }
    void release() {
        std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }
    void awaitEntered() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return entered_; });
    }
    void setRunTime(std::chrono::milliseconds time) { runTime_ = time; }
    int runs() const { return runs_.load(); }
    const std::string& name() const { return taskName(); }

    std::int64_t getTimestamp() const override { return 0; }
    std::vector<ElementInfo> getElements() const override { return {}; }
    Bucket getImageRect() const override { return {}; }
    Bucket getRegion() const override { return {}; }
    std::optional<Bitmap<Float4>> compute(const ElementInfo&, const Bucket&, float, unsigned) override {
        return std::nullopt;
    }
    std::optional<Bitmap<float>> computeMono(const ElementInfo&, const Bucket&, float, unsigned) override {
        return std::nullopt;
    }

protected:
    void run() override {
        const int run = ++runs_;
        {
            std::unique_lock lock(mutex_);
            entered_ = true;
            changed_.notify_all();
            if (hold_ && run == 1) changed_.wait(lock, [this] { return released_; });
        }
        std::this_thread::sleep_for(runTime_);
        reportError("run " + std::to_string(run) + " failed");
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool entered_ = false;
    bool released_ = false;
    bool hold_ = false;
    std::chrono::milliseconds runTime_{0};
    std::atomic<int> runs_{0};
};

TEST(AsyncOperator, RequestsThatArriveDuringARunMergeIntoOneFurtherRunAndStopEndsTheWait) {
    ProbeOperator probe;
    probe.holdFirstRun();
    probe.request();
    probe.awaitEntered();
    probe.request();
    probe.request();
    probe.release();
    EXPECT_TRUE(probe.wait());
    EXPECT_EQ(probe.runs(), 2);
    EXPECT_EQ(probe.name(), "Pipeline_Probe");

    // A wait after a stop reports the stop.
    ProbeOperator stopped;
    stopped.holdFirstRun();
    stopped.request();
    stopped.awaitEntered();
    stopped.request();
    stopped.stop();
    EXPECT_FALSE(stopped.wait());
    stopped.release();
}

TEST(AsyncOperator, WaitCoversARunningJobAndEveryLaterRequestRunsAgainUnlessSilenced) {
    test::MessageLog log;
    ProbeOperator probe;
    probe.setErrorCallback(log.callback());
    EXPECT_TRUE(probe.wait()) << "never started";
    EXPECT_EQ(probe.runs(), 0);
    probe.setRunTime(50ms);
    probe.request();
    probe.awaitEntered();  // the worker has taken the request and is inside the job
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
        {"", ElementLayout::Rgba, 0},
        {"A", ElementLayout::Mono, ElementFlag::RawData},
        {"Key", ElementLayout::Rgb, ElementFlag::LightSelect},
        {"LUMORA_FB_WEIGHTS", ElementLayout::Mono, ElementFlag::Hidden},
        {"SqrBeauty", ElementLayout::Rgb, ElementFlag::Hidden},
    };
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases{
        {"*", {"", "A", "Key", "LUMORA_FB_WEIGHTS", "SqrBeauty"}},
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

TEST(Timestamps, LaterChangesAlwaysCompareNewer) {
    std::int64_t previous = currentTimestamp();
    for (int i = 0; i < 1000; ++i) {
        const std::int64_t next = currentTimestamp();
        ASSERT_GT(next, previous);
        previous = next;
    }
}

}  // namespace
}  // namespace lumora
