// The F16C conversions are compiled for that instruction set alone, so the rest of the program
// keeps running on processors without it.

#include "lumora/effects/pixel_storage.hpp"

#include "lumora/foundation/exception.hpp"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <immintrin.h>
#define LUMORA_HAS_F16C_PATH 1
#endif

namespace lumora {

#if LUMORA_HAS_F16C_PATH

bool supportsHalfConversion() {
    // CPUID leaf 1, ECX bit 29 (asked directly: not every compiler knows "f16c" as a feature name).
    static const bool supported = [] {
        unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
        return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_F16C) != 0;
    }();
    return supported;
}

__attribute__((target("f16c"))) void halfToFloat(const Half4* in, Float4* out, int n) {
    for (int i = 0; i < n; ++i) {
        const __m128i h = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in + i));
        _mm_storeu_ps(reinterpret_cast<float*>(out + i), _mm_cvtph_ps(h));
    }
}

__attribute__((target("f16c"))) void floatToHalf(const Float4* in, Half4* out, int n) {
    for (int i = 0; i < n; ++i) {
        const __m128 f = _mm_loadu_ps(reinterpret_cast<const float*>(in + i));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_cvtps_ph(f, _MM_FROUND_TO_NEAREST_INT));
    }
}

#endif

void HalfPixels::round(Float4* values, int n) {
    constexpr int kChunk = 64;
    Half4 halves[kChunk];
    for (int i = 0; i < n; i += kChunk) {
        const int m = n - i < kChunk ? n - i : kChunk;
        floatToHalf(values + i, halves, m);
        halfToFloat(halves, values + i, m);
    }
}

#if !LUMORA_HAS_F16C_PATH

bool supportsHalfConversion() { return false; }
void halfToFloat(const Half4*, Float4*, int) { LUMORA_ASSERT(false); }
void floatToHalf(const Float4*, Half4*, int) { LUMORA_ASSERT(false); }

#endif

}  // namespace lumora
