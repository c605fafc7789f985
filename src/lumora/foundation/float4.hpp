#pragma once
// Four floats handled as one SIMD vector: SSE on x86-64, plain arrays elsewhere.
// Colour pixels are (r, g, b, fourth lane carried along).

#include <algorithm>
#include <cmath>

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
#endif
    friend Float4 operator*(Float4 a, float s) { return a * Float4(s); }
    friend Float4 operator*(float s, Float4 a) { return a * Float4(s); }
    friend Float4 operator/(Float4 a, float s) { return a / Float4(s); }

    float sum() const { return x() + y() + z() + w(); }
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
    float v_[4];
#endif
};

}  // namespace lumora
