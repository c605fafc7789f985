#pragma once
// Progress and cancellation of one denoise call, shared by every pass that runs on the scheduler.
//
// A pass reports the fraction of its own work; the context maps it into the sub-range of the
// element's progress that the driver assigned to the pass. Reports never go backwards, reach the
// callback one at a time, and once the callback answers "cancelled" every later report says so.

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace lumora {

// Takes the fraction of the element's work done, in [0, 1]; returns true when the run has been
// cancelled. May be called from worker threads.
using DenoiseProgress = std::shared_ptr<std::function<bool(float)>>;

class TaskContext {
public:
    // Starts a call: installs the callback (replacing the previous one), the full range and a
    // clear cancellation state.
    void install(DenoiseProgress progress);
    // Ends a call: drops the callback.
    void release();

    // Sub-range [begin, end] of the element's progress covered by the next pass.
    void setRange(float begin, float end);

    // Reports the fraction done of the current pass; true when the run is cancelled.
    bool report(float fraction);
    bool cancelled() const { return cancelled_.load(std::memory_order_relaxed); }

private:
    std::mutex mutex_;
    DenoiseProgress progress_;
    float begin_ = 0.f;
    float end_ = 1.f;
    float reported_ = 0.f;
    std::atomic<bool> cancelled_{false};
};

// Installs a callback for the lifetime of one call.
class ProgressScope {
public:
    ProgressScope(TaskContext& context, DenoiseProgress progress) : context_(context) {
        context_.install(std::move(progress));
    }
    ~ProgressScope() { context_.release(); }
    ProgressScope(const ProgressScope&) = delete;
    ProgressScope& operator=(const ProgressScope&) = delete;

private:
    TaskContext& context_;
};

}  // namespace lumora
