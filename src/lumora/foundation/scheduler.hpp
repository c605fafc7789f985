#pragma once
// The task scheduler: parallel loops over row ranges, per-thread accumulators and a standby
// thread. This is the only place that knows about oneTBB.
//
// Conventions: ranges are half-open [begin, end); a body may throw, and the first exception is
// rethrown to the caller of parallelFor once every running piece has stopped.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

namespace lumora::scheduler {

// Sets how many threads parallel loops use (the caller included); n <= 0 means all logical
// processors. Takes effect for loops started afterwards.
void setWorkerCount(int n);
int workerCount();

// Sets the priority of the threads that do the scheduler's work on behalf of others: its loop
// workers and the operators' job threads. -2 is low, 0 normal, 2 high (values are clamped).
// Lowering always works; raising above normal needs privileges and otherwise stays normal.
// The scheduler's workers take it when they next run a piece of a loop; threads that start
// loops keep their own priority unless they call applyWorkerPriority().
void setWorkerThreadsPriority(int priority);
int workerThreadsPriority();

// Gives the calling thread the worker priority set above.
void applyWorkerPriority();

// Runs body(b, e) over pieces of [begin, end). The range is split in halves until a piece is at
// most grain long (grain < 1 counts as 1); pieces run in parallel and the call returns when all
// are done.
void parallelFor(std::int64_t begin, std::int64_t end, std::int64_t grain,
                 const std::function<void(std::int64_t, std::int64_t)>& body);

// Slot of the calling thread among the scheduler's threads, in [0, threadSlots()), or -1 for a
// thread the scheduler does not own.
int currentThreadIndex();
int threadSlots();

// One accumulator per scheduler thread plus one locked slot shared by foreign threads.
template <class T>
class PerThread {
public:
    explicit PerThread(const T& initial = T()) : slots_(static_cast<size_t>(threadSlots()) + 1, initial) {}

    // Calls f(T&) on the calling thread's own accumulator.
    template <class F>
    void local(F&& f) {
        const int index = currentThreadIndex();
        if (index >= 0 && index + 1 < static_cast<int>(slots_.size())) {
            f(slots_[static_cast<size_t>(index)]);
        } else {
            std::lock_guard lock(foreignMutex_);
            f(slots_.back());
        }
    }

    // Visits every accumulator; call only when no loop is writing to them.
    template <class F>
    void forEach(F&& f) const {
        for (const T& slot : slots_) f(slot);
    }

private:
    std::vector<T> slots_;
    std::mutex foreignMutex_;
};

// A single worker thread that runs jobs one at a time, in submission order, for work that must
// stay on one thread (GPU contexts, process-wide library state).
class StandbyThread {
public:
    StandbyThread();
    ~StandbyThread();
    StandbyThread(const StandbyThread&) = delete;
    StandbyThread& operator=(const StandbyThread&) = delete;

    // Queues the job; the future reports its completion or its exception.
    std::future<void> submit(std::function<void()> job);

    // Runs the job on the standby thread and waits for it, rethrowing its exception.
    void run(std::function<void()> job) { submit(std::move(job)).get(); }

private:
    void loop();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::queue<std::packaged_task<void()>> jobs_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace lumora::scheduler
