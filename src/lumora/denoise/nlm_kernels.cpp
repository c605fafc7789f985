#include <array>
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <span>

#include "lumora/denoise/nlm_simd.hpp"
#include "lumora/denoise/nlm_weight.hpp"
#include "lumora/denoise/nlm_window.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora::nlm::base {
#include "lumora/denoise/nlm_kernels.hpp"
}  // namespace lumora::nlm::base

// The two-pixel kernels: GCC compiles the region below for AVX2 while the rest of the program
// keeps the baseline instruction set, and they run only where the CPU reports AVX2. (AVX2 adds no
// fused multiply-add, so every operation stays the separate rounding the plain kernels do.)
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define LUMORA_NLM_AVX2 1
#pragma GCC push_options
#pragma GCC target("avx2")
#include "lumora/foundation/float8.hpp"
#define LUMORA_NLM_FLOAT8 1
namespace lumora::nlm::avx2 {
#include "lumora/denoise/nlm_kernels.hpp"
// Templates instantiated where they are used would be compiled after the region, so every one
// of them is instantiated here.
template bool featureMaxima<Float4, 1>(std::span<const NlmFeature>, float, bool, std::ptrdiff_t, std::ptrdiff_t,
                                       Float4*);
template bool featureMaxima<Float8, 1>(std::span<const NlmFeature>, float, bool, std::ptrdiff_t, std::ptrdiff_t,
                                       Float8*);
template bool featureMaxima<Float8, 4>(std::span<const NlmFeature>, float, bool, std::ptrdiff_t, std::ptrdiff_t,
                                       Float8*);
template Float4 positivePart<Float4>(Float4);
template Float8 positivePart<Float8>(Float8);
template void triPixels<13, 7, Float4>(const TriTile&, int, int, const OffsetRange&);
template void triPixels<13, 7, Float8>(const TriTile&, int, int, const OffsetRange&);
template void triPixels<17, 3, Float4>(const TriTile&, int, int, const OffsetRange&);
template void triPixels<17, 3, Float8>(const TriTile&, int, int, const OffsetRange&);
template void triRow<13, 7>(const TriTile&, int);
template void triRow<17, 3>(const TriTile&, int);
template const float* tileDistances<7, 3>(const PatchSource&, const Tile&, WindowScratch&);
template const float* tileDistances<11, 5>(const PatchSource&, const Tile&, WindowScratch&);
template const float* tileDistances<13, 7>(const PatchSource&, const Tile&, WindowScratch&);
template const float* tileDistances<17, 3>(const PatchSource&, const Tile&, WindowScratch&);
template void meansOf<7, Float4>(const MeansTile&, int, int);
template void meansOf<7, Float8>(const MeansTile&, int, int);
template void meansOf<11, Float4>(const MeansTile&, int, int);
template void meansOf<11, Float8>(const MeansTile&, int, int);
template int meansGroup<7>(const MeansTile&, int, int);
template int meansGroup<11>(const MeansTile&, int, int);
}  // namespace lumora::nlm::avx2
#undef LUMORA_NLM_FLOAT8
#pragma GCC pop_options
#endif

namespace lumora::nlm {

namespace {

bool cpuHasAvx2() {
#if LUMORA_NLM_AVX2
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

std::atomic<bool>& wideSwitch() {
    static std::atomic<bool> on{cpuHasAvx2()};
    return on;
}

}  // namespace

bool wideKernels() { return wideSwitch().load(std::memory_order_relaxed); }
void setWideKernels(bool on) { wideSwitch().store(on && cpuHasAvx2(), std::memory_order_relaxed); }

void featureExponentRow(std::span<const NlmFeature> features, float floorScale, std::ptrdiff_t row,
                        std::ptrdiff_t shift, int x0, int x1, float* out) {
    LUMORA_ASSERT(features.size() <= kMaxNlmFeatures);
#if LUMORA_NLM_AVX2
    if (wideKernels()) return avx2::featureExponentRow(features, floorScale, row, shift, x0, x1, out);
#endif
    base::featureExponentRow(features, floorScale, row, shift, x0, x1, out);
}

template <int Window, int Patch>
void triRow(const TriTile& t, int y) {
#if LUMORA_NLM_AVX2
    if (wideKernels()) return avx2::triRow<Window, Patch>(t, y);
#endif
    base::triRow<Window, Patch>(t, y);
}

template <int Window, int Patch>
const float* tileDistances(const PatchSource& src, const Tile& tile, WindowScratch& scratch) {
#if LUMORA_NLM_AVX2
    if (wideKernels()) return avx2::tileDistances<Window, Patch>(src, tile, scratch);
#endif
    return base::tileDistances<Window, Patch>(src, tile, scratch);
}

template <int Window>
int meansGroup(const MeansTile& t, int x, int y) {
#if LUMORA_NLM_AVX2
    if (wideKernels()) return avx2::meansGroup<Window>(t, x, y);
#endif
    return base::meansGroup<Window>(t, x, y);
}

template void triRow<13, 7>(const TriTile&, int);
template void triRow<17, 3>(const TriTile&, int);
template const float* tileDistances<7, 3>(const PatchSource&, const Tile&, WindowScratch&);
template const float* tileDistances<11, 5>(const PatchSource&, const Tile&, WindowScratch&);
template const float* tileDistances<13, 7>(const PatchSource&, const Tile&, WindowScratch&);
template const float* tileDistances<17, 3>(const PatchSource&, const Tile&, WindowScratch&);
template int meansGroup<7>(const MeansTile&, int, int);
template int meansGroup<11>(const MeansTile&, int, int);

}  // namespace lumora::nlm
