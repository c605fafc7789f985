#pragma once
// Softens a picture with a fast approximation of a Gaussian blur and/or sharpens it with an
// unsharp mask whose detail term comes from highlight-clamped values, so that very bright pixels
// are sharpened as if they were 1 and no result goes below 0. Works on all four components.

#include <cstdint>
#include <limits>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"
#include "lumora/foundation/geometry.hpp"

namespace lumora {

class SharpenBlurFilter {
public:
    // Flag of apply: run the per-pixel sharpening loop on the scheduler.
    static constexpr unsigned Parallel = 1;

    // Radii in pixels of the full-resolution image; the filter is enabled when enable is set and
    // there is something to do.
    void configure(bool enable, float amount, float sharpenRadius, float blurRadius);

    // Filters the bitmap in place; scale is the divisor of a reduced image (1 at full size).
    void apply(unsigned flags, Bitmap<Float4>& bitmap, std::int32_t scale) const;

    // Border pixels that a caller filtering a part of an image of this size must add on every
    // side so that the part comes out as in the whole image; a multiple of scale.
    std::int32_t requiredMargin(Pixel size, std::int32_t scale) const;

    bool isEnabled() const { return enabled; }

    float sharpenStrength = std::numeric_limits<float>::quiet_NaN();  // 2 x amount
    float sharpenRadius = std::numeric_limits<float>::quiet_NaN();
    float blurRadius = std::numeric_limits<float>::quiet_NaN();
    bool enabled = false;

private:
    bool sharpens() const { return sharpenStrength > 0.f && sharpenRadius > 0.f; }
};

}  // namespace lumora
