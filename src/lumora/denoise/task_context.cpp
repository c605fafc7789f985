#include "lumora/denoise/task_context.hpp"

#include <algorithm>

namespace lumora {

void TaskContext::install(DenoiseProgress progress) {
    std::lock_guard lock(mutex_);
    progress_ = std::move(progress);
    begin_ = 0.f;
    end_ = 1.f;
    reported_ = 0.f;
    cancelled_ = false;
}

void TaskContext::release() {
    std::lock_guard lock(mutex_);
    progress_.reset();
}

void TaskContext::setRange(float begin, float end) {
    std::lock_guard lock(mutex_);
    begin_ = begin;
    end_ = end;
}

bool TaskContext::report(float fraction) {
    if (cancelled()) return true;
    std::lock_guard lock(mutex_);
    if (!progress_ || !*progress_) return false;
    const float value = begin_ + (end_ - begin_) * std::clamp(fraction, 0.f, 1.f);
    reported_ = std::max(reported_, std::min(value, 1.f));
    if ((*progress_)(reported_)) cancelled_ = true;
    return cancelled();
}

}  // namespace lumora
