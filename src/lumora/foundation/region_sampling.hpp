#pragma once
// The one rule by which a region of an image is point-sampled at a scale q (q > 1 shrinks):
// output pixel i of an axis takes source pixel trunc(i * q) of the region, clamped to its last
// pixel. The product is rounded to float before the truncation, as plain float arithmetic does:
// 10 * 0.7f is 6.99999988 exactly but 7 in float, and 7 is the pixel a scale of 0.7 means.
// How many output pixels an axis has is the
// caller's choice of rounding of length / q (computed in float): operator requests round it
// down, channel extraction rounds it up.

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace lumora {

enum class SampledExtent { RoundDown, RoundUp };

// Number of output pixels for `length` source pixels; nothing when the scale is not a positive
// finite number or the count does not fit an int.
inline std::optional<int> sampledExtent(int length, float scale, SampledExtent rounding) {
    if (!std::isfinite(scale) || !(scale > 0.f) || length < 0) return std::nullopt;
    const float exact = static_cast<float>(length) / scale;
    const float size = rounding == SampledExtent::RoundUp ? std::ceil(exact) : std::trunc(exact);
    if (!(size >= 0.f) || size >= static_cast<float>(std::numeric_limits<int>::max())) return std::nullopt;
    return static_cast<int>(size);
}

// Offset in the region of the source pixel of output pixel i.
inline int sampledSource(int i, float scale, int length) {
    const float offset = std::trunc(static_cast<float>(i) * scale);
    return offset < static_cast<float>(length - 1) ? static_cast<int>(offset) : length - 1;
}

}  // namespace lumora
