#pragma once
// Deterministic noise for the synthetic inputs of the benchmarks.

#include <cstdint>

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

}  // namespace lumora::bench
