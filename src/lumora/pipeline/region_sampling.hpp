#pragma once
// Serving a request from a bitmap an operator keeps: the requested part of it, scaled down by
// point sampling as the operator conventions state (a region of w x h pixels at scale q gives
// trunc(w / q) x trunc(h / q) pixels).

#include <algorithm>
#include <cmath>
#include <optional>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/geometry.hpp"

namespace lumora {

// The output size of a request, or nothing for an empty region or a scale that is not a positive
// finite number.
inline std::optional<Pixel> scaledSize(const Bucket& region, float scale) {
    if (region.isEmpty() || !std::isfinite(scale) || !(scale > 0.f)) return std::nullopt;
    const float w = static_cast<float>(region.width()) / scale;
    const float h = static_cast<float>(region.height()) / scale;
    if (!(w < 2147483520.f && h < 2147483520.f)) return std::nullopt;
    return Pixel{static_cast<int>(w), static_cast<int>(h)};
}

// Output pixel (x, y) is the stored pixel at region.min - storedRegion.min + trunc((x, y) * scale);
// nothing when the region does not lie inside storedRegion.
template <class T>
std::optional<Bitmap<T>> sampleRegion(const Bitmap<T>& stored, const Bucket& storedRegion, const Bucket& region,
                                      float scale) {
    const auto size = scaledSize(region, scale);
    if (!size || !storedRegion.contains(region)) return std::nullopt;
    const Pixel offset = region.min - storedRegion.min;
    Bitmap<T> out(size->x, size->y);
    if (scale == 1.f) {
        for (int y = 0; y < out.height(); ++y) std::copy_n(stored.row(offset.y + y) + offset.x, out.width(), out.row(y));
        return out;
    }
    for (int y = 0; y < out.height(); ++y) {
        const int sy = std::min(static_cast<int>(static_cast<float>(y) * scale), region.height() - 1);
        for (int x = 0; x < out.width(); ++x) {
            const int sx = std::min(static_cast<int>(static_cast<float>(x) * scale), region.width() - 1);
            out(x, y) = stored(offset.x + sx, offset.y + sy);
        }
    }
    return out;
}

}  // namespace lumora
