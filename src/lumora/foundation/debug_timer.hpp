#pragma once
// Writes "<label>: <milliseconds> ms" to the debug log when it goes out of scope.

#include <chrono>
#include <cstdio>
#include <string>

#include "lumora/foundation/debug_log.hpp"

namespace lumora {

class ScopedDebugTimer {
public:
    explicit ScopedDebugTimer(std::string label) : label_(std::move(label)), start_(Clock::now()) {}
    ~ScopedDebugTimer() {
        if (!debug::logEnabled()) return;
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start_).count();
        char text[32];
        std::snprintf(text, sizeof text, ": %.3f ms", ms);
        debug::log(label_ + text);
    }
    ScopedDebugTimer(const ScopedDebugTimer&) = delete;
    ScopedDebugTimer& operator=(const ScopedDebugTimer&) = delete;

private:
    using Clock = std::chrono::steady_clock;
    std::string label_;
    Clock::time_point start_;
};

}  // namespace lumora
