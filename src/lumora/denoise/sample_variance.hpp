#pragma once
// Per-pixel variance of a rendered image from its mean, its per-sample squares and the pass
// counts, and the small separable blur that steadies it before it drives the filters.

#include <algorithm>
#include <array>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

// Three-tap Gaussian kernels.
inline constexpr std::array<float, 3> kGaussianSigmaHalf{0.10650698f, 0.78698605f, 0.10650698f};
inline constexpr std::array<float, 3> kGaussianSigma075{0.22561010f, 0.54877979f, 0.22561010f};
inline constexpr std::array<float, 3> kGaussianSigmaOne{0.27406862f, 0.45186275f, 0.27406862f};

// Overwrites squares with the variance of each pixel's mean, max(0, s - m²) / (n - 1), and
// returns the mean variance over the image. Pixels with fewer than 2 passes get no variance. The
// result is floored so that filters can divide by it: a pixel with no colour variance gets 1e-12
// in all lanes, and any other lane at or below 1e-12 takes the largest colour lane.
// All three images must have the same size.
Float4 computeSampleVariance(const Bitmap<Float4>& mean, Bitmap<Float4>& squares, const Bitmap<float>& passes);

// Index i of a line of n pixels with positions beyond an edge mirrored back (-1 reads 1).
inline int mirrorIndex(int i, int n) {
    if (i < 0) i = -i;
    if (i >= n) i = 2 * n - 2 - i;
    return std::clamp(i, 0, n - 1);
}

// Convolves rows, then columns with the kernel; positions beyond an edge are mirrored back into
// the image (-1 reads 1).
void convolveSeparable(Bitmap<Float4>& image, const std::array<float, 3>& taps);

}  // namespace lumora
