#pragma once
// Four floats handled as one SIMD vector: SSE on x86-64, plain arrays elsewhere.
// Colour pixels are (r, g, b, fourth lane carried along).

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#if defined(__SSE2__)
#include <immintrin.h>
#define LUMORA_FLOAT4_SSE 1
#endif

namespace lumora {

class alignas(16) Float4 {
public:
    Float4() : Float4(0.f) {}
    explicit Float4(float v) : Float4(v, v, v, v) {}
    Float4(float x, float y, float z, float w) {
#if LUMORA_FLOAT4_SSE
        v_ = _mm_setr_ps(x, y, z, w);
#else
        v_[0] = x, v_[1] = y, v_[2] = z, v_[3] = w;
#endif
    }

    static Float4 load(const float* p) {  // p need not be aligned
        Float4 r;
#if LUMORA_FLOAT4_SSE
        r.v_ = _mm_loadu_ps(p);
#else
        std::copy(p, p + 4, r.v_);
#endif
        return r;
    }
    void store(float* p) const {
#if LUMORA_FLOAT4_SSE
        _mm_storeu_ps(p, v_);
#else
        std::copy(v_, v_ + 4, p);
#endif
    }

    float operator[](int i) const {
        alignas(16) float a[4];
        store(a);
        return a[i];
    }
    float x() const { return (*this)[0]; }
    float y() const { return (*this)[1]; }
    float z() const { return (*this)[2]; }
    float w() const { return (*this)[3]; }

#if LUMORA_FLOAT4_SSE
#define LUMORA_F4_OP(op, intrinsic)                                                            \
    friend Float4 operator op(Float4 a, Float4 b) { return Float4(intrinsic(a.v_, b.v_)); } \
    Float4& operator op##=(Float4 b) { return v_ = intrinsic(v_, b.v_), *this; }
    LUMORA_F4_OP(+, _mm_add_ps)
    LUMORA_F4_OP(-, _mm_sub_ps)
    LUMORA_F4_OP(*, _mm_mul_ps)
    LUMORA_F4_OP(/, _mm_div_ps)
#undef LUMORA_F4_OP
    friend Float4 min(Float4 a, Float4 b) { return Float4(_mm_min_ps(a.v_, b.v_)); }
    friend Float4 max(Float4 a, Float4 b) { return Float4(_mm_max_ps(a.v_, b.v_)); }
    friend Float4 sqrt(Float4 a) { return Float4(_mm_sqrt_ps(a.v_)); }
    friend Float4 abs(Float4 a) { return Float4(_mm_andnot_ps(_mm_set1_ps(-0.f), a.v_)); }
    friend Float4 operator<(Float4 a, Float4 b) { return Float4(_mm_cmplt_ps(a.v_, b.v_)); }
    friend Float4 operator<=(Float4 a, Float4 b) { return Float4(_mm_cmple_ps(a.v_, b.v_)); }
    friend Float4 operator>(Float4 a, Float4 b) { return Float4(_mm_cmpgt_ps(a.v_, b.v_)); }
    friend Float4 operator>=(Float4 a, Float4 b) { return Float4(_mm_cmpge_ps(a.v_, b.v_)); }
    friend Float4 operator==(Float4 a, Float4 b) { return Float4(_mm_cmpeq_ps(a.v_, b.v_)); }
    friend Float4 operator&(Float4 a, Float4 b) { return Float4(_mm_and_ps(a.v_, b.v_)); }
    friend Float4 operator|(Float4 a, Float4 b) { return Float4(_mm_or_ps(a.v_, b.v_)); }
    friend Float4 select(Float4 mask, Float4 ifTrue, Float4 ifFalse) {
        return Float4(_mm_or_ps(_mm_and_ps(mask.v_, ifTrue.v_), _mm_andnot_ps(mask.v_, ifFalse.v_)));
    }
    friend Float4 rcp(Float4 a) { return Float4(_mm_rcp_ps(a.v_)); }
    friend Float4 rsqrt(Float4 a) { return Float4(_mm_rsqrt_ps(a.v_)); }
    // Lanes rounded toward zero; |lane| must be below 2^31.
    Float4 truncated() const { return Float4(_mm_cvtepi32_ps(_mm_cvttps_epi32(v_))); }
    // 2^n for integral lanes n in [-126, 127].
    static Float4 pow2(Float4 n) {
        const __m128i e = _mm_add_epi32(_mm_cvttps_epi32(n.v_), _mm_set1_epi32(127));
        return Float4(_mm_castsi128_ps(_mm_slli_epi32(e, 23)));
    }
    // For positive normal lanes: the unbiased binary exponent, and the significand in [1, 2).
    Float4 exponent() const {
        const __m128i bits = _mm_srli_epi32(_mm_castps_si128(v_), 23);
        return Float4(_mm_cvtepi32_ps(_mm_sub_epi32(bits, _mm_set1_epi32(127))));
    }
    Float4 significand() const {
        const __m128i bits = _mm_and_si128(_mm_castps_si128(v_), _mm_set1_epi32(0x007FFFFF));
        return Float4(_mm_castsi128_ps(_mm_or_si128(bits, _mm_set1_epi32(0x3F800000))));
    }
    // Bit mask of the lanes whose sign bit is set (lane 0 in bit 0); for masks: which lanes hold.
    int signMask() const { return _mm_movemask_ps(v_); }
#else
#define LUMORA_F4_OP(op)                                                         \
    friend Float4 operator op(Float4 a, Float4 b) {                              \
        return Float4(a.v_[0] op b.v_[0], a.v_[1] op b.v_[1], a.v_[2] op b.v_[2], \
                      a.v_[3] op b.v_[3]);                                       \
    }                                                                            \
    Float4& operator op##=(Float4 b) { return *this = *this op b; }
    LUMORA_F4_OP(+)
    LUMORA_F4_OP(-)
    LUMORA_F4_OP(*)
    LUMORA_F4_OP(/)
#undef LUMORA_F4_OP
    // As minps/maxps: where either lane is NaN the result is b's lane.
    friend Float4 min(Float4 a, Float4 b) {
        return map2(a, b, [](float p, float q) { return p < q ? p : q; });
    }
    friend Float4 max(Float4 a, Float4 b) {
        return map2(a, b, [](float p, float q) { return p > q ? p : q; });
    }
    friend Float4 sqrt(Float4 a) { return map2(a, a, [](float p, float) { return std::sqrt(p); }); }
    friend Float4 abs(Float4 a) { return map2(a, a, [](float p, float) { return std::fabs(p); }); }
#define LUMORA_F4_CMP(op)                                                                  \
    friend Float4 operator op(Float4 a, Float4 b) {                                        \
        return map2(a, b, [](float p, float q) { return p op q ? laneTrue() : 0.f; }); \
    }
    LUMORA_F4_CMP(<)
    LUMORA_F4_CMP(<=)
    LUMORA_F4_CMP(>)
    LUMORA_F4_CMP(>=)
    LUMORA_F4_CMP(==)
#undef LUMORA_F4_CMP
    friend Float4 operator&(Float4 a, Float4 b) { return bits2(a, b, [](std::uint32_t p, std::uint32_t q) { return p & q; }); }
    friend Float4 operator|(Float4 a, Float4 b) { return bits2(a, b, [](std::uint32_t p, std::uint32_t q) { return p | q; }); }
    friend Float4 select(Float4 mask, Float4 ifTrue, Float4 ifFalse) { return (mask & ifTrue) | andNot(mask, ifFalse); }
    friend Float4 rcp(Float4 a) { return map2(a, a, [](float p, float) { return approximateRcp(p); }); }
    friend Float4 rsqrt(Float4 a) { return map2(a, a, [](float p, float) { return approximateRsqrt(p); }); }
    Float4 truncated() const {
        return map2(*this, *this, [](float p, float) { return static_cast<float>(static_cast<int>(p)); });
    }
    static Float4 pow2(Float4 n) {
        return map2(n, n, [](float p, float) {
            return std::bit_cast<float>(static_cast<std::uint32_t>(static_cast<int>(p) + 127) << 23);
        });
    }
    Float4 exponent() const {
        return map2(*this, *this, [](float p, float) {
            return static_cast<float>(static_cast<int>(std::bit_cast<std::uint32_t>(p) >> 23) - 127);
        });
    }
    Float4 significand() const {
        return map2(*this, *this, [](float p, float) {
            return std::bit_cast<float>((std::bit_cast<std::uint32_t>(p) & 0x007FFFFFu) | 0x3F800000u);
        });
    }
    int signMask() const {
        int m = 0;
        for (int i = 0; i < 4; ++i) m |= static_cast<int>(std::bit_cast<std::uint32_t>(v_[i]) >> 31) << i;
        return m;
    }
#endif
    friend Float4 operator*(Float4 a, float s) { return a * Float4(s); }
    friend Float4 operator*(float s, Float4 a) { return a * Float4(s); }
    friend Float4 operator/(Float4 a, float s) { return a / Float4(s); }

    float sum() const { return x() + y() + z() + w(); }
    float hmax() const { return std::max(std::max(x(), y()), std::max(z(), w())); }
    // For comparison masks.
    bool any() const { return signMask() != 0; }
    bool all() const { return signMask() == 0xF; }
    float sum3() const { return x() + y() + z(); }
    // Luminance used by denoising and bloom: (r + g + b) / 3.
    float luminance() const { return sum3() / 3.f; }

private:
#if LUMORA_FLOAT4_SSE
    explicit Float4(__m128 v) : v_(v) {}
    __m128 v_;
#else
    template <class F>
    static Float4 map2(Float4 a, Float4 b, F f) {
        return Float4(f(a.v_[0], b.v_[0]), f(a.v_[1], b.v_[1]), f(a.v_[2], b.v_[2]), f(a.v_[3], b.v_[3]));
    }
    static float laneTrue() { return std::bit_cast<float>(0xFFFFFFFFu); }
    template <class F>
    static Float4 bits2(Float4 a, Float4 b, F f) {
        return map2(a, b, [&f](float p, float q) {
            return std::bit_cast<float>(f(std::bit_cast<std::uint32_t>(p), std::bit_cast<std::uint32_t>(q)));
        });
    }
    static Float4 andNot(Float4 mask, Float4 b) {
        return bits2(mask, b, [](std::uint32_t p, std::uint32_t q) { return ~p & q; });
    }
    // The SSE estimates have a relative error of at most 1.5 * 2^-12 and differ between CPU
    // makers, so no table reproduces them everywhere. The plain forms give the exact result
    // rounded to the nearest 12-bit significand, which stays within that bound, and copy the
    // special cases: denormal inputs count as zero (giving infinity of the same sign), negative
    // inputs of rsqrt give NaN, and results below the normal range flush to zero.
    static float roundTo12Bits(double v) {
        const float f = static_cast<float>(v);
        if (!std::isfinite(f) || f == 0.f) return f;
        if (std::fabs(f) < 1.17549435e-38f) return std::copysign(0.f, f);
        const std::uint32_t bits = std::bit_cast<std::uint32_t>(f);
        return std::bit_cast<float>((bits + 0x800u) & ~0xFFFu);  // 12 of 23 fraction bits dropped, rounded
    }
    static float approximateRcp(float p) {
        if (std::isnan(p)) return p;
        if (std::fabs(p) < 1.17549435e-38f) return std::copysign(INFINITY, p);
        return roundTo12Bits(1.0 / static_cast<double>(p));
    }
    static float approximateRsqrt(float p) {
        if (std::isnan(p)) return p;
        if (std::fabs(p) < 1.17549435e-38f) return std::copysign(INFINITY, p);
        if (p < 0.f) return std::numeric_limits<float>::quiet_NaN();
        return roundTo12Bits(1.0 / std::sqrt(static_cast<double>(p)));
    }
    float v_[4];
#endif
};

// Four-lane exponential and logarithm. They are built from the operations above only, so the SSE
// and the plain forms give the same bits. Accuracy is a few units in the last place; results
// below the normal range may flush to zero.

inline Float4 floor(Float4 a) {
    const Float4 t = a.truncated();
    return t - (select(t > a, Float4(1.f), Float4(0.f)));
}

// 2^x; the polynomial is that of fastExp2 (exact at 0).
inline Float4 exp2(Float4 x) {
    const Float4 c = min(max(x, Float4(-150.f)), Float4(129.f));
    const Float4 n = floor(c + Float4(0.5f));
    const Float4 f = c - n;
    Float4 p = Float4(1.535336188319500e-4f) * f + Float4(1.339887440266574e-3f);
    p = p * f + Float4(9.618437357674640e-3f);
    p = p * f + Float4(5.550332471162809e-2f);
    p = p * f + Float4(2.402264791363012e-1f);
    p = p * f + Float4(6.931472028550421e-1f);
    p = p * f + Float4(1.f);
    // 2^n in two halves keeps both factors in the normal range.
    const Float4 n1 = (n * Float4(0.5f)).truncated();
    const Float4 r = p * Float4::pow2(n1) * Float4::pow2(n - n1);
    return select(x == x, r, x);  // NaN stays NaN
}

// e^x after Cephes' expf: x = n ln2 + r with ln2 split in two parts, |r| <= ln2 / 2.
inline Float4 exp(Float4 x) {
    const Float4 c = min(max(x, Float4(-104.f)), Float4(89.f));
    const Float4 n = floor(c * Float4(1.44269504088896341f) + Float4(0.5f));
    Float4 r = c - n * Float4(0.693359375f);
    r = r - n * Float4(-2.12194440e-4f);
    Float4 p = Float4(1.9875691500e-4f) * r + Float4(1.3981999507e-3f);
    p = p * r + Float4(8.3334519073e-3f);
    p = p * r + Float4(4.1665795894e-2f);
    p = p * r + Float4(1.6666665459e-1f);
    p = p * r + Float4(5.0000001201e-1f);
    p = p * (r * r) + r + Float4(1.f);
    const Float4 n1 = (n * Float4(0.5f)).truncated();
    const Float4 result = p * Float4::pow2(n1) * Float4::pow2(n - n1);
    return select(x == x, result, x);
}

// Natural logarithm after Cephes' logf: log(0) = -inf, negative lanes give NaN, log(inf) = inf.
inline Float4 log(Float4 x) {
    const Float4 tiny(1.17549435e-38f);
    const Float4 isDenormal = x < tiny;
    const Float4 v = select(isDenormal, x * Float4(33554432.f), x);  // 2^25
    Float4 e = v.exponent() - select(isDenormal, Float4(25.f), Float4(0.f)) + Float4(1.f);
    Float4 m = v.significand() * Float4(0.5f);  // [0.5, 1)
    const Float4 low = m < Float4(0.707106781186547524f);
    e = e - select(low, Float4(1.f), Float4(0.f));
    const Float4 t = select(low, m + m, m) - Float4(1.f);
    const Float4 z = t * t;
    Float4 y = Float4(7.0376836292e-2f) * t - Float4(1.1514610310e-1f);
    y = y * t + Float4(1.1676998740e-1f);
    y = y * t - Float4(1.2420140846e-1f);
    y = y * t + Float4(1.4249322787e-1f);
    y = y * t - Float4(1.6668057665e-1f);
    y = y * t + Float4(2.0000714765e-1f);
    y = y * t - Float4(2.4999993993e-1f);
    y = y * t + Float4(3.3333331174e-1f);
    y = y * t * z;
    y = y + e * Float4(-2.12194440e-4f);
    y = y - Float4(0.5f) * z;
    Float4 r = t + y + e * Float4(0.693359375f);
    const Float4 inf(std::numeric_limits<float>::infinity());
    r = select(x == inf, inf, r);
    r = select(x == Float4(0.f), Float4(-std::numeric_limits<float>::infinity()), r);
    return select(x == x, select(x < Float4(0.f), Float4(std::numeric_limits<float>::quiet_NaN()), r), x);
}

}  // namespace lumora
