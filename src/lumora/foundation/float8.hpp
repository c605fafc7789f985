#pragma once
// Two Float4 side by side in one AVX vector: two pixels handled at once. Every operation works
// lane by lane within its own half exactly as the Float4 operation of the same name, so each half
// gives the bits Float4 gives.
//
// Only for code compiled for AVX2: include this header inside a region opened with
// `#pragma GCC target("avx2")`, after every other header (so that nothing outside the region is
// compiled for AVX), and call that code only where the CPU has AVX2.

#include <immintrin.h>

#include "lumora/foundation/float4.hpp"

namespace lumora {

class Float8 {
public:
    Float8() = default;  // lanes undefined
    explicit Float8(float v) : v_(_mm256_set1_ps(v)) {}
    // The same four lanes in both halves.
    explicit Float8(Float4 v) {
        alignas(16) float a[4];
        v.store(a);
        v_ = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(a));
    }

    // Pixels p[0] and p[1]; p need not be aligned.
    static Float8 load(const Float4* p) { return Float8(_mm256_loadu_ps(reinterpret_cast<const float*>(p))); }
    void store(Float4* p) const { _mm256_storeu_ps(reinterpret_cast<float*>(p), v_); }
    // s[0] in the four lanes of the first half, s[1] in those of the second.
    static Float8 splat(const float* s) {
        return Float8(_mm256_setr_ps(s[0], s[0], s[0], s[0], s[1], s[1], s[1], s[1]));
    }
    // Lane 0 of each half to s[0] and s[1].
    void storeFirstLanes(float* s) const {
        s[0] = _mm256_cvtss_f32(v_);
        s[1] = _mm256_cvtss_f32(_mm256_permute2f128_ps(v_, v_, 1));
    }

    Float8 truncated() const { return Float8(_mm256_cvtepi32_ps(_mm256_cvttps_epi32(v_))); }
    static Float8 pow2(Float8 n) {
        const __m256i e = _mm256_add_epi32(_mm256_cvttps_epi32(n.v_), _mm256_set1_epi32(127));
        return Float8(_mm256_castsi256_ps(_mm256_slli_epi32(e, 23)));
    }

    // Lane I of each half in all four lanes of that half.
    template <int I>
    Float8 broadcast() const {
        return Float8(_mm256_permute_ps(v_, I * 0x55));
    }
    // (r + g + b) / 3 of each half in all four lanes of that half, as Float4::luminance adds.
    Float8 luminance() const;
    // The largest lane of each half in all lanes of that half, as Float4::hmax takes it (std::max
    // keeps its first argument unless the second is larger).
    Float8 hmax() const;
    // Eight floats; p need not be aligned.
    static Float8 load(const float* p) { return Float8(_mm256_loadu_ps(p)); }
    void store(float* p) const { _mm256_storeu_ps(p, v_); }
    // Lane 2g in the four lanes of the first half, lane 2g + 1 in those of the second.
    Float8 pairOf(int g) const {
        return Float8(_mm256_permutevar8x32_ps(v_, _mm256_setr_epi32(2 * g, 2 * g, 2 * g, 2 * g, 2 * g + 1, 2 * g + 1,
                                                                     2 * g + 1, 2 * g + 1)));
    }
    // Lane 3 of each half kept, the others +0.
    Float8 lane3() const { return Float8(_mm256_blend_ps(_mm256_setzero_ps(), v_, 0x88)); }
    Float8 operator-() const { return Float8(_mm256_xor_ps(v_, _mm256_set1_ps(-0.f))); }

    explicit Float8(__m256 v) : v_(v) {}
    __m256 raw() const { return v_; }

private:
    __m256 v_;
};

// Free functions rather than hidden friends: GCC compiles friends defined in the class without the
// region's target.
#define LUMORA_F8_OP(op, intrinsic)                                                             \
    inline Float8 operator op(Float8 a, Float8 b) { return Float8(intrinsic(a.raw(), b.raw())); } \
    inline Float8& operator op##=(Float8& a, Float8 b) { return a = a op b; }
LUMORA_F8_OP(+, _mm256_add_ps)
LUMORA_F8_OP(-, _mm256_sub_ps)
LUMORA_F8_OP(*, _mm256_mul_ps)
LUMORA_F8_OP(/, _mm256_div_ps)
#undef LUMORA_F8_OP
inline Float8 min(Float8 a, Float8 b) { return Float8(_mm256_min_ps(a.raw(), b.raw())); }
inline Float8 max(Float8 a, Float8 b) { return Float8(_mm256_max_ps(a.raw(), b.raw())); }
inline Float8 operator>(Float8 a, Float8 b) { return Float8(_mm256_cmp_ps(a.raw(), b.raw(), _CMP_GT_OQ)); }
inline Float8 operator<(Float8 a, Float8 b) { return Float8(_mm256_cmp_ps(a.raw(), b.raw(), _CMP_LT_OQ)); }
inline Float8 operator==(Float8 a, Float8 b) { return Float8(_mm256_cmp_ps(a.raw(), b.raw(), _CMP_EQ_OQ)); }
inline Float8 operator<=(Float8 a, Float8 b) { return Float8(_mm256_cmp_ps(a.raw(), b.raw(), _CMP_LE_OQ)); }
inline Float8 operator>=(Float8 a, Float8 b) { return Float8(_mm256_cmp_ps(a.raw(), b.raw(), _CMP_GE_OQ)); }
inline Float8 operator&(Float8 a, Float8 b) { return Float8(_mm256_and_ps(a.raw(), b.raw())); }
// For comparison masks: whether all eight lanes hold.
inline bool all(Float8 mask) { return _mm256_movemask_ps(mask.raw()) == 0xFF; }
inline Float8 select(Float8 mask, Float8 ifTrue, Float8 ifFalse) {
    return Float8(_mm256_or_ps(_mm256_and_ps(mask.raw(), ifTrue.raw()), _mm256_andnot_ps(mask.raw(), ifFalse.raw())));
}

inline Float8 Float8::luminance() const { return (broadcast<0>() + broadcast<1>() + broadcast<2>()) / Float8(3.f); }

// The lanes of the eight pixels held by a, b, c, d (two each, in that order) gathered lane by lane:
// lane0 holds lane 0 of every pixel, and so on, in the order 0 2 4 6 | 1 3 5 7 of the pixels
// (inPixelOrder puts them in order).
struct PixelLanes {
    Float8 lane0, lane1, lane2, lane3;
};

inline PixelLanes pixelLanes(Float8 a, Float8 b, Float8 c, Float8 d) {
    // Per half a 4 x 4 transpose.
    const __m256 ab0 = _mm256_unpacklo_ps(a.raw(), b.raw());  // a0 b0 a1 b1
    const __m256 ab1 = _mm256_unpackhi_ps(a.raw(), b.raw());  // a2 b2 a3 b3
    const __m256 cd0 = _mm256_unpacklo_ps(c.raw(), d.raw());
    const __m256 cd1 = _mm256_unpackhi_ps(c.raw(), d.raw());
    return {Float8(_mm256_shuffle_ps(ab0, cd0, 0x44)), Float8(_mm256_shuffle_ps(ab0, cd0, 0xEE)),
            Float8(_mm256_shuffle_ps(ab1, cd1, 0x44)), Float8(_mm256_shuffle_ps(ab1, cd1, 0xEE))};
}

inline Float8 inPixelOrder(Float8 v) {
    return Float8(_mm256_permutevar8x32_ps(v.raw(), _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
}

// The luminances (r + g + b) / 3 of the eight pixels of a, b, c, d in pixel order, each added as
// Float4::luminance adds; one division serves them all.
inline Float8 luminances(Float8 a, Float8 b, Float8 c, Float8 d) {
    const PixelLanes l = pixelLanes(a, b, c, d);
    return inPixelOrder((l.lane0 + l.lane1 + l.lane2) / Float8(3.f));
}

// The largest lanes of the eight pixels of a, b, c, d in pixel order, each taken as Float4::hmax
// takes it.
inline Float8 largestLanes(Float8 a, Float8 b, Float8 c, Float8 d) {
    const PixelLanes l = pixelLanes(a, b, c, d);
    const auto larger = [](Float8 p, Float8 q) { return select(p < q, q, p); };
    return inPixelOrder(larger(larger(l.lane0, l.lane1), larger(l.lane2, l.lane3)));
}

inline Float8 Float8::hmax() const {
    const auto larger = [](Float8 a, Float8 b) { return select(a < b, b, a); };
    return larger(larger(broadcast<0>(), broadcast<1>()), larger(broadcast<2>(), broadcast<3>()));
}

}  // namespace lumora
