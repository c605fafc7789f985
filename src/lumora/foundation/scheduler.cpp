#include "lumora/foundation/scheduler.hpp"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>

#include "lumora/foundation/system.hpp"

// ThreadSanitizer cannot see the hand-off of work between the threads of an uninstrumented
// oneTBB; these annotations state the happens-before edges that the loop itself guarantees.
#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#define LUMORA_TSAN_ACQUIRE(a) __tsan_acquire(a)
#define LUMORA_TSAN_RELEASE(a) __tsan_release(a)
#else
#define LUMORA_TSAN_ACQUIRE(a) ((void)(a))
#define LUMORA_TSAN_RELEASE(a) ((void)(a))
#endif

namespace lumora::scheduler {

namespace {

std::atomic<int> workerPriority{0};

// Which threads take the worker priority: a thread that starts a loop from outside (the main
// thread, an operator's job thread) keeps its own; the scheduler's workers take it when they
// first run a piece after a change. Threads start at normal priority (0) and are only touched
// once a different priority is asked for.
thread_local bool startsLoops = false;
thread_local int pieceDepth = 0;
thread_local int appliedPriority = 0;

std::mutex arenaMutex;
std::shared_ptr<tbb::task_arena> arena;
std::atomic<int> configuredCount{0};

std::shared_ptr<tbb::task_arena> currentArena() {
    std::lock_guard lock(arenaMutex);
    if (!arena) {
        const int n = configuredCount.load() > 0 ? configuredCount.load() : utils::getLogicalProcessorCount();
        arena = std::make_shared<tbb::task_arena>(n);
    }
    return arena;
}

}  // namespace

void setWorkerCount(int n) {
    const int count = n > 0 ? n : utils::getLogicalProcessorCount();
    std::lock_guard lock(arenaMutex);
    if (arena && configuredCount.load() == count) return;
    configuredCount = count;
    arena.reset();  // loops running on the old arena keep it alive through their own reference
}

void setWorkerThreadsPriority(int priority) {
    priority = std::clamp(priority, -2, 2);
    workerPriority = priority;
}

int workerThreadsPriority() { return workerPriority.load(); }

void applyWorkerPriority() {
    // Linux gives each thread its own nice value; 5 steps of nice per priority step.
    const int priority = workerPriority.load();
    if (priority == appliedPriority) return;
    appliedPriority = priority;
    const int nice = -5 * priority;
    const auto tid = static_cast<id_t>(syscall(SYS_gettid));
    if (setpriority(PRIO_PROCESS, tid, nice) != 0 && nice < 0) setpriority(PRIO_PROCESS, tid, 0);
}

int workerCount() {
    const int n = configuredCount.load();
    return n > 0 ? n : utils::getLogicalProcessorCount();
}

void parallelFor(std::int64_t begin, std::int64_t end, std::int64_t grain,
                 const std::function<void(std::int64_t, std::int64_t)>& body) {
    if (end <= begin) return;
    grain = std::max<std::int64_t>(grain, 1);
    if (end - begin <= grain) {
        body(begin, end);
        return;
    }
    if (pieceDepth == 0) startsLoops = true;
    auto a = currentArena();
    int launched = 0, finished = 0;  // synchronisation tokens for the annotations only
    LUMORA_TSAN_RELEASE(&launched);
    a->execute([&] {
        // simple_partitioner splits in halves down to the grain.
        tbb::parallel_for(
            tbb::blocked_range<std::int64_t>(begin, end, static_cast<size_t>(grain)),
            [&](const tbb::blocked_range<std::int64_t>& r) {
                LUMORA_TSAN_ACQUIRE(&launched);
                if (!startsLoops) applyWorkerPriority();
                ++pieceDepth;
                struct Leave {
                    ~Leave() { --pieceDepth; }
                } leave;
                body(r.begin(), r.end());
                LUMORA_TSAN_RELEASE(&finished);
            },
            tbb::simple_partitioner());
    });
    LUMORA_TSAN_ACQUIRE(&finished);
}

int currentThreadIndex() {
    const int index = tbb::this_task_arena::current_thread_index();
    return index >= 0 && index < threadSlots() ? index : -1;
}

int threadSlots() {
    return std::max(workerCount(), utils::getLogicalProcessorCount());
}

StandbyThread::StandbyThread() : thread_([this] { loop(); }) {}

StandbyThread::~StandbyThread() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

std::future<void> StandbyThread::submit(std::function<void()> job) {
    std::packaged_task<void()> task(std::move(job));
    auto future = task.get_future();
    {
        std::lock_guard lock(mutex_);
        jobs_.push(std::move(task));
    }
    wake_.notify_one();
    return future;
}

void StandbyThread::loop() {
    while (true) {
        std::packaged_task<void()> task;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
            if (jobs_.empty()) return;  // stopping, and every queued job has run
            task = std::move(jobs_.front());
            jobs_.pop();
        }
        task();
    }
}

}  // namespace lumora::scheduler
