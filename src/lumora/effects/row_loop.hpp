#pragma once
// The effects' loops over lines: pieces of at most grain lines, in parallel on the scheduler or,
// when the caller asks for it, all on the calling thread. Each line is written by one piece, so
// the results are the same either way.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "lumora/foundation/float4.hpp"
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

// Where the lines of a pass lie: element j of line c is at base[c * line + j * step]. Passes
// filter a few lines side by side, so that their running sums are independent chains of
// additions that the processor overlaps instead of waiting on one chain's latency.
struct Lines {
    std::ptrdiff_t line;
    std::ptrdiff_t step;
};

inline constexpr int kLineBufferSlots = 4;

// Line buffer number slot of the calling thread, at least n pixels; kept from one call to the next
// so that tasks do not allocate. Its contents are whatever the thread last left there.
inline Float4* lineBuffer(int slot, std::size_t n) {
    thread_local std::vector<Float4> buffers[kLineBufferSlots];
    std::vector<Float4>& buffer = buffers[slot];
    if (buffer.size() < n) buffer.resize(n);
    return buffer.data();
}

}  // namespace lumora
