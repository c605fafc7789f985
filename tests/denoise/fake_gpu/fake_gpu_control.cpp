#include "fake_gpu.hpp"

#include <algorithm>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

namespace fake_gpu {
namespace {

struct State {
    std::mutex mutex;
    Config config;
    std::vector<std::string> calls;
    std::vector<std::thread::id> threads;
    std::map<std::string, std::pair<int, int>> failures;  // function -> (occurrence, code)
    std::map<std::string, int> counts;
    int live = 0;
    void* cudaContext = nullptr;
    bool maxmemSet = false;
    float maxmem = 0.f;
};

State& state() {
    static State s;
    return s;
}

// Runs f on the state under its lock and gives back what f returns.
template <class F>
auto locked(F&& f) {
    State& s = state();
    std::lock_guard lock(s.mutex);
    return f(s);
}

}  // namespace

void reset(const Config& config) {
    locked([&](State& s) {
        s.config = config;
        s.calls.clear();
        s.threads.clear();
        s.failures.clear();
        s.counts.clear();
        s.cudaContext = config.cudaContextCurrent ? &s : nullptr;
        s.maxmemSet = false;
    });
}

const Config& config() { return state().config; }

void failCall(const std::string& function, int code, int occurrence) {
    locked([&](State& s) { s.failures[function] = {occurrence, code}; });
}

int enter(const char* function) {
    return locked([&](State& s) {
        s.calls.emplace_back(function);
        s.threads.push_back(std::this_thread::get_id());
        const int count = ++s.counts[function];
        const auto it = s.failures.find(function);
        return it != s.failures.end() && it->second.first == count ? it->second.second : 0;
    });
}

std::string errorText(int code) { return "Fake OptiX error " + std::to_string(code); }

std::vector<std::string> calls() {
    return locked([](State& s) { return s.calls; });
}

int callsFromThisThread() {
    return locked([](State& s) { return static_cast<int>(std::ranges::count(s.threads, std::this_thread::get_id())); });
}

int callingThreads() {
    return locked([](State& s) { return static_cast<int>(std::set(s.threads.begin(), s.threads.end()).size()); });
}

void objectMade() { locked([](State& s) { ++s.live; }); }
void objectDestroyed() { locked([](State& s) { --s.live; }); }
int liveObjects() { return locked([](State& s) { return s.live; }); }

void* cudaContext() { return locked([](State& s) { return s.cudaContext; }); }
void setCudaContext(void* context) { locked([&](State& s) { s.cudaContext = context; }); }

void setMaxmem(float value) {
    locked([&](State& s) {
        s.maxmemSet = true;
        s.maxmem = value;
    });
}
bool maxmemSet() { return locked([](State& s) { return s.maxmemSet; }); }
float maxmem() { return locked([](State& s) { return s.maxmem; }); }

}  // namespace fake_gpu
