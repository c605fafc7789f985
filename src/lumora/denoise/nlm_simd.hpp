#pragma once
// Four-lane helpers of the filters' inner loops that Float4 itself does not offer: the fast base-2
// exponential on all lanes at once and the broadcast of one lane.

#include <cstdint>

#include "lumora/denoise/nlm_weight.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora::nlm {

// Lane i of v in all four lanes.
template <int I>
inline Float4 broadcast(Float4 v) {
    alignas(16) float lanes[4];
    v.store(lanes);
    return Float4(lanes[I]);
}

// fastExp2 on every lane. Lanes below -126 (and NaN) give 0: the weights only ever need 2^x for
// x <= 0, and a weight under 2^-126 adds nothing to their sums.
inline Float4 fastExp2(Float4 x) {
#if LUMORA_FLOAT4_SSE
    alignas(16) float lanes[4];
    x.store(lanes);
    const __m128 v = _mm_load_ps(lanes);
    if (_mm_movemask_ps(_mm_cmpgt_ps(v, _mm_set1_ps(127.f))) != 0) {
        return Float4(fastExp2(lanes[0]), fastExp2(lanes[1]), fastExp2(lanes[2]), fastExp2(lanes[3]));
    }
    const __m128 valid = _mm_cmpge_ps(v, _mm_set1_ps(-126.f));
    const __m128 a = _mm_and_ps(v, valid);
    // As the scalar version: n the nearest integer, f = a - n in [-0.5, 0.5], same polynomial.
    const __m128i n = _mm_sub_epi32(_mm_cvttps_epi32(_mm_add_ps(a, _mm_set1_ps(127.5f))), _mm_set1_epi32(127));
    const __m128 f = _mm_sub_ps(a, _mm_cvtepi32_ps(n));
    __m128 p = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(1.535336188319500e-4f), f), _mm_set1_ps(1.339887440266574e-3f));
    p = _mm_add_ps(_mm_mul_ps(p, f), _mm_set1_ps(9.618437357674640e-3f));
    p = _mm_add_ps(_mm_mul_ps(p, f), _mm_set1_ps(5.550332471162809e-2f));
    p = _mm_add_ps(_mm_mul_ps(p, f), _mm_set1_ps(2.402264791363012e-1f));
    p = _mm_add_ps(_mm_mul_ps(p, f), _mm_set1_ps(6.931472028550421e-1f));
    p = _mm_add_ps(_mm_mul_ps(p, f), _mm_set1_ps(1.f));
    const __m128 scale = _mm_castsi128_ps(_mm_slli_epi32(_mm_add_epi32(n, _mm_set1_epi32(127)), 23));
    _mm_store_ps(lanes, _mm_and_ps(_mm_mul_ps(p, scale), valid));
    return Float4::load(lanes);
#else
    alignas(16) float lanes[4];
    x.store(lanes);
    for (float& lane : lanes) lane = lane >= -126.f ? fastExp2(lane) : 0.f;
    return Float4::load(lanes);
#endif
}

}  // namespace lumora::nlm
