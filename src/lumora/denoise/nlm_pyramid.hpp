#pragma once
// The image pyramid of the high-quality denoiser: halving and doubling of images, the squared
// gradient that tells edges from flat regions, and the merge of a coarse level into a fine one.
//
// A coarse pixel (x, y) sits on the fine pixel (2x, 2y); a fine image of odd size halves to the
// rounded-down size and comes back at its full size.

#include <array>

#include "lumora/denoise/batch_filter.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

// Blurs with the three-tap kernel (edges mirrored) and keeps the even coordinates, then
// multiplies by scale.
Bitmap<Float4> downscaleImage(const Bitmap<Float4>& image, const std::array<float, 3>& taps, float scale = 1.f);

// The variance of the halved image: blurred like the image, then a quarter of it, as for the mean
// of four independent pixels (the same factor that scales the mean variance from level to level).
Bitmap<Float4> downscaleVariance(const Bitmap<Float4>& variance, const std::array<float, 3>& taps);

// Enlarges a halved image to width x height by bilinear interpolation; positions past the last
// coarse pixel take its value.
Bitmap<Float4> upscaleImage(const Bitmap<Float4>& coarse, int width, int height);

// Per lane: the smaller squared one-sided difference along x plus the smaller along y. Border
// pixels take the value of the nearest pixel with x in [1, width - 2] and y in [1, height - 2]; an
// image narrower (lower) than 3 pixels has no difference along that axis.
Float4 squaredGradientAt(const Bitmap<Float4>& image, int x, int y);
// The whole gradient image, rows in parallel with progress; nothing when cancelled.
std::optional<Bitmap<Float4>> squaredGradient(BatchFilter& batch, const Bitmap<Float4>& image);

// Merges a pixel of the fine result with the enlarged coarse result and the enlarged halved fine
// result, given the squared gradient of the coarse result: where the coarse result has strong
// edges for the pixel's brightness the fine result stays; elsewhere the coarse result plus the
// fine detail is used. The result never leaves the range of the three inputs.
Float4 mergeLevels(Float4 fine, Float4 coarse, Float4 halvedFine, Float4 coarseGradient);

}  // namespace lumora
