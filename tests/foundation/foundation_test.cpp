#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/hash.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "lumora/foundation/system.hpp"

namespace lumora {
namespace {

TEST(Exception, StopNamesTheSourceFileAndLine) {
    try {
        const int line = __LINE__; LUMORA_STOP();  // NOLINT
        FAIL() << line;
    } catch (const Exception& e) {
        // std::string(__FILE__) is only known here, so the line is what this test pins.
        EXPECT_TRUE(std::string(e.what()).ends_with("foundation_test.cpp(" + std::to_string(__LINE__ - 4) + ")"))
            << e.what();
    }
    // Library sources are named relative to the source tree, not by an absolute path.
    try {
        Bitmap<float> bad(-1, 1);
        FAIL();
    } catch (const Exception& e) {
        EXPECT_TRUE(std::string(e.what()).starts_with("STOP@lumora/foundation/bitmap.hpp(")) << e.what();
    }
}

TEST(Hash, IsFnv1a64AndRandomBytesVary) {
    EXPECT_EQ(utils::hash("", 0), 0xcbf29ce484222325ULL);
    EXPECT_EQ(utils::hash("foobar", 6), 0x85944171f73967e8ULL);
    std::uint64_t a = 0, b = 0;
    utils::secureRandom(&a, sizeof a);
    utils::secureRandom(&b, sizeof b);
    EXPECT_NE(a, b);
}

TEST(Scheduler, ParallelForCoversEveryIndexOnceWithinTheGrainAndRethrows) {
    for (int workers : {1, 2, 4}) {
        scheduler::setWorkerCount(workers);
        std::vector<std::atomic<int>> hits(1003);
        std::atomic<std::int64_t> largestPiece{0};
        scheduler::parallelFor(0, 1003, 10, [&](std::int64_t b, std::int64_t e) {
            std::int64_t seen = largestPiece.load();
            while (e - b > seen && !largestPiece.compare_exchange_weak(seen, e - b)) {
            }
            for (auto i = b; i < e; ++i) hits[static_cast<size_t>(i)]++;
        });
        for (auto& h : hits) ASSERT_EQ(h.load(), 1);
        EXPECT_LE(largestPiece.load(), 10);
        // The body's exception reaches the caller; an empty range runs nothing.
        EXPECT_THROW(scheduler::parallelFor(0, 100, 1, [](std::int64_t b, std::int64_t) {
            if (b == 57) throw Exception("row 57");
        }), Exception);
        scheduler::parallelFor(5, 5, 1, [](std::int64_t, std::int64_t) { ADD_FAILURE(); });
    }
    scheduler::setWorkerCount(0);
}

TEST(Scheduler, PerThreadAccumulatorsSumToTheSerialResult) {
    scheduler::PerThread<double> sums(0.0);
    scheduler::parallelFor(0, 100000, 64, [&](std::int64_t b, std::int64_t e) {
        double local = 0;
        for (auto i = b; i < e; ++i) local += static_cast<double>(i);
        sums.local([&](double& s) { s += local; });
    });
    sums.local([](double& s) { s += 1; });  // the main thread outside a loop uses the foreign slot
    double total = 0;
    sums.forEach([&](double s) { total += s; });
    EXPECT_EQ(total, 99999.0 * 100000.0 / 2 + 1);
}

TEST(Scheduler, LowWorkerPriorityReachesWorkersButNotTheCaller) {
    const auto niceOfThisThread = [] {
        errno = 0;
        return getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
    };
    const int callerNice = niceOfThisThread();
    scheduler::setWorkerCount(2);
    scheduler::setWorkerThreadsPriority(-2);
    EXPECT_EQ(scheduler::workerThreadsPriority(), -2);

    // The caller's first piece waits until a worker has run one, so a worker is always checked.
    const auto caller = std::this_thread::get_id();
    std::mutex mutex;
    std::condition_variable workerRan;
    std::vector<int> workerNices;
    scheduler::parallelFor(0, 64, 1, [&](std::int64_t, std::int64_t) {
        std::unique_lock lock(mutex);
        if (std::this_thread::get_id() == caller) {
            workerRan.wait_for(lock, std::chrono::seconds(20), [&] { return !workerNices.empty(); });
            return;
        }
        workerNices.push_back(niceOfThisThread());
        workerRan.notify_all();
    });
    ASSERT_FALSE(workerNices.empty()) << "no worker ran a piece";
    for (int nice : workerNices) EXPECT_EQ(nice, 10);  // -2 is nice 10
    EXPECT_EQ(niceOfThisThread(), callerNice);

    int jobNice = 0;
    std::thread([&] {
        scheduler::applyWorkerPriority();
        jobNice = niceOfThisThread();
    }).join();
    EXPECT_EQ(jobNice, 10);
    scheduler::setWorkerCount(0);
}

TEST(Scheduler, StandbyThreadRunsJobsInOrderOnOneThread) {
    scheduler::StandbyThread standby;
    std::vector<int> order;
    std::set<std::thread::id> threads;
    std::vector<std::future<void>> done;
    for (int i = 0; i < 20; ++i) {
        done.push_back(standby.submit([&, i] {
            order.push_back(i);
            threads.insert(std::this_thread::get_id());
        }));
    }
    for (auto& f : done) f.get();
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0u);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(order.at(std::size_t(i)), i);
    EXPECT_THROW(standby.run([] { throw Exception("gpu"); }), Exception);
}

}  // namespace
}  // namespace lumora
