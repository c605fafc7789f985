#pragma once
// Scalar approximations used in the hot loops of the filters.

#include <bit>
#include <cmath>
#include <cstdint>

namespace lumora {

inline constexpr float kLog2e = 1.4426950f;

// 2^x to about 2e-7 relative; exact at 0, so equal patches weigh exactly 1.
inline float fastExp2(float x) {
    if (!(x >= -126.f)) return x >= -150.f ? std::exp2(x) : 0.f;  // denormal results, and NaN -> 0
    if (x > 127.f) return std::exp2(x);
    const int n = static_cast<int>(x + 127.5f) - 127;  // nearest integer; the sum is positive
    const float f = x - float(n);                        // in [-0.5, 0.5]
    const float p = ((((((1.535336188319500e-4f * f + 1.339887440266574e-3f) * f + 9.618437357674640e-3f) * f +
                        5.550332471162809e-2f) * f + 2.402264791363012e-1f) * f + 6.931472028550421e-1f) * f) + 1.f;
    return p * std::bit_cast<float>(static_cast<std::uint32_t>(n + 127) << 23);
}

}  // namespace lumora
