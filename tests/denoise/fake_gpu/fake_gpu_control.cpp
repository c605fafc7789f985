#include "fake_gpu.hpp"

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

}  // namespace

void reset(const Config& config) {
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.config = config;
    s.calls.clear();
    s.threads.clear();
    s.failures.clear();
    s.counts.clear();
    s.cudaContext = config.cudaContextCurrent ? &s : nullptr;
    s.maxmemSet = false;
}

const Config& config() { return state().config; }

void failCall(const std::string& function, int code, int occurrence) {
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.failures[function] = {occurrence, code};
}

int enter(const char* function) {
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.calls.emplace_back(function);
    s.threads.push_back(std::this_thread::get_id());
    const int count = ++s.counts[function];
    const auto it = s.failures.find(function);
    return it != s.failures.end() && it->second.first == count ? it->second.second : 0;
}

std::string errorText(int code) { return "Fake OptiX error " + std::to_string(code); }

std::vector<std::string> calls() {
    std::lock_guard lock(state().mutex);
    return state().calls;
}

int callsFromThisThread() {
    std::lock_guard lock(state().mutex);
    int n = 0;
    for (const auto& id : state().threads) n += id == std::this_thread::get_id();
    return n;
}

int callingThreads() {
    std::lock_guard lock(state().mutex);
    return static_cast<int>(std::set<std::thread::id>(state().threads.begin(), state().threads.end()).size());
}

void objectMade() {
    std::lock_guard lock(state().mutex);
    ++state().live;
}

void objectDestroyed() {
    std::lock_guard lock(state().mutex);
    --state().live;
}

int liveObjects() {
    std::lock_guard lock(state().mutex);
    return state().live;
}

void* cudaContext() {
    std::lock_guard lock(state().mutex);
    return state().cudaContext;
}

void setCudaContext(void* context) {
    std::lock_guard lock(state().mutex);
    state().cudaContext = context;
}

void setMaxmem(float value) {
    std::lock_guard lock(state().mutex);
    state().maxmemSet = true;
    state().maxmem = value;
}

bool maxmemSet() {
    std::lock_guard lock(state().mutex);
    return state().maxmemSet;
}

float maxmem() {
    std::lock_guard lock(state().mutex);
    return state().maxmem;
}

}  // namespace fake_gpu
