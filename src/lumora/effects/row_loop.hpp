#pragma once
// The effects' loops over lines: pieces of at most grain lines, in parallel on the scheduler or,
// when the caller asks for it, all on the calling thread. Each line is written by one piece, so
// the results are the same either way.

#include <cstdint>
#include <functional>

#include "lumora/foundation/scheduler.hpp"

namespace lumora {

inline void forLineRanges(bool parallel, std::int64_t count, std::int64_t grain,
                          const std::function<void(std::int64_t, std::int64_t)>& body) {
    if (count <= 0) return;
    if (parallel && count > grain) {
        scheduler::parallelFor(0, count, grain, body);
    } else {
        body(0, count);
    }
}

}  // namespace lumora
