#pragma once
// The extended box filter: a box of 2k + 1 taps plus two fractional taps just outside it, whose
// width is chosen so that four passes approximate a Gaussian of a given radius. Its cost does not
// depend on the radius (running sums).

#include <cstdint>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

struct BoxParameters {
    std::int32_t extent = 0;     // min(width, height); below 3 the filter is the identity
    std::int32_t k = 0;          // integer half-width of the box
    float edgeWeight = 0.f;      // weight of the two taps just outside the box (alpha * beta)
    float innerRemainder = 0.f;  // (1 - alpha) * beta; a tap inside weighs edgeWeight + innerRemainder

    // The box for a blur of radius pixels of a width x height image scaled down by scale (1 for
    // full resolution). Four passes have the variance r^2 / 9, r = radius / scale + 0.5, unless
    // the image is too small for such a box.
    static BoxParameters fromRadius(float radius, std::int32_t scale, int width, int height);

    bool isIdentity() const { return extent < 3; }
};

// One pass over n values (n > 2k + 2 when not the identity), indices outside the line taking the
// nearest end value; in and out must differ.
void extendedBoxPass(const Float4* in, Float4* out, int n, const BoxParameters& box);

// Four passes along the rows, then four down the columns, on the scheduler, from src into dst
// (same size; may be src itself). With clamp, every component is first replaced by min(value, 1).
void extendedBoxBlur(BitmapView<const Float4> src, BitmapView<Float4> dst, const BoxParameters& box, bool clamp);

// The same into a new bitmap.
Bitmap<Float4> extendedBoxBlur(const Bitmap<Float4>& image, const BoxParameters& box, bool clamp);

}  // namespace lumora
