#pragma once
// Serving a request from a bitmap an operator keeps: the requested part of it, scaled down by
// point sampling as the operator conventions state (a region of w x h pixels at scale q gives
// trunc(w / q) x trunc(h / q) pixels).

#include <algorithm>
#include <cmath>
#include <optional>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/geometry.hpp"
#include "lumora/foundation/region_sampling.hpp"

namespace lumora {

// The output size of a request, or nothing for an empty region or a scale that is not a positive
// finite number.
inline std::optional<Pixel> scaledSize(const Bucket& region, float scale) {
    if (region.isEmpty()) return std::nullopt;
    const auto w = sampledExtent(region.width(), scale, SampledExtent::RoundDown);
    const auto h = sampledExtent(region.height(), scale, SampledExtent::RoundDown);
    if (!w || !h) return std::nullopt;
    return Pixel{*w, *h};
}

// Output pixel (x, y) is the stored pixel at region.min - storedRegion.min + the sampled offsets;
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
        const T* row = stored.row(offset.y + sampledSource(y, scale, region.height())) + offset.x;
        for (int x = 0; x < out.width(); ++x) out(x, y) = row[sampledSource(x, scale, region.width())];
    }
    return out;
}

}  // namespace lumora
