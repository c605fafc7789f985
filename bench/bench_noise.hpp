#pragma once
// Deterministic noise for the synthetic inputs of the benchmarks, and the timing loop of the
// denoiser benchmarks.

#include <benchmark/benchmark.h>

#include <cstdint>

#include "lumora/denoise/denoiser.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace lumora::bench {

inline std::uint32_t hash(std::uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    x ^= x >> 16;
    return x;
}

// In [-1, 1].
inline float noise(std::uint32_t seed) { return float(hash(seed) % 2001u) / 1000.f - 1.f; }

// Times one denoise call of the beauty per iteration on fresh copies of its picture and squares;
// copying is not timed. The scheduler goes back to its default worker count afterwards.
inline void timeDenoise(benchmark::State& state, IDenoiser& denoiser, const Bitmap<Float4>& colour,
                        const Bitmap<Float4>& squares) {
    for (auto _ : state) {
        state.PauseTiming();
        Bitmap<Float4> c = colour;
        Bitmap<Float4> s = squares;
        state.ResumeTiming();
        auto result = denoiser.denoise(std::move(c), std::move(s), ElementId(RenderElement::Beauty), nullptr);
        benchmark::DoNotOptimize(result);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t{colour.width()} * colour.height());
    scheduler::setWorkerCount(0);
}

}  // namespace lumora::bench
