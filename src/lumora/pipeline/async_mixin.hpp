#pragma once
// Operators whose main work runs as a job on a worker thread of their own.
//
// start() requests one more run of the job; requests that arrive while the job runs are merged
// into one further run. wait() returns once no run is requested or running, so every message and
// error of the job has been delivered when it returns. A concrete operator must call
// stopWorker() first thing in its destructor, before its own members are destroyed.

#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora {

class IAsync {
public:
    virtual ~IAsync() = default;
    // True when no request is pending; false when the operator was stopped.
    virtual bool wait() = 0;
    virtual void stop() = 0;
};

template <class Base>
class AsyncMixin : public Base, public IAsync {
public:
    AsyncMixin() = default;
    AsyncMixin(const AsyncMixin&) = delete;
    AsyncMixin& operator=(const AsyncMixin&) = delete;
    ~AsyncMixin() override { stopWorker(); }

    bool wait() override {
        std::unique_lock lock(mutex_);
        condition_.wait(lock, [this] { return (!requested_ && !running_) || stop_; });
        return !requested_ && !running_;
    }

    void stop() override {
        std::lock_guard lock(mutex_);
        stop_ = true;
        condition_.notify_all();
    }

protected:
    // The job; it reports errors through the error callback and must not throw (anything that
    // escapes is reported as an error all the same).
    virtual void run() = 0;

    // Starts the worker named "Pipeline_" + name if it is not running, then requests a run.
    void start(const std::string& name) {
        std::lock_guard lock(mutex_);
        if (!worker_.joinable()) {
            stop_ = false;
            taskName_ = "Pipeline_" + name;
            worker_ = std::thread([this] { loop(); });
        }
        requested_ = true;
        condition_.notify_all();
    }

    void stopWorker() {
        stop();
        if (worker_.joinable() && worker_.get_id() != std::this_thread::get_id()) worker_.join();
    }

    const std::string& taskName() const { return taskName_; }

private:
    void loop() {
        scheduler::applyWorkerPriority();
        std::unique_lock lock(mutex_);
        while (true) {
            condition_.wait(lock, [this] { return requested_ || stop_; });
            if (stop_) return;
            requested_ = false;
            running_ = true;
            lock.unlock();
            runGuarded();
            lock.lock();
            running_ = false;
            condition_.notify_all();
        }
    }

    void runGuarded() {
        try {
            run();
        } catch (const std::exception& e) {
            this->reportError(e.what());
        } catch (...) {
            this->reportError("Something is wrong.");
        }
    }

    std::mutex mutex_;
    std::condition_variable condition_;
    bool requested_ = false;
    bool running_ = false;
    bool stop_ = false;
    std::string taskName_;
    std::thread worker_;
};

}  // namespace lumora
