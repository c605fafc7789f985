#pragma once
// Operators that update a compact destination bitmap from a rectangle of a source image.
//
// Conventions: a rectangle (x0, y0, x1, y1; x1 and y1 exclusive) in source pixel coordinates is
// visited at steps sx and sy (1 for full resolution): y = y0, y0 + sy, ... while y < y1 and, in
// each row, x = x0, x0 + sx, ... while x < x1. The row counter r and column counter c count the
// visited rows and columns from 0; source pixel (x, y) updates destination pixel (c, r). An empty
// rectangle changes nothing. apply touches only the destination pixels of its rectangle and the
// operators hold no mutable state, so disjoint rectangles may run in parallel.

#include <memory>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"
#include "lumora/foundation/geometry.hpp"

namespace lumora {

class IBitmapOperator {
public:
    virtual ~IBitmapOperator() = default;
    virtual void apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const = 0;
};

// Calls f(x, y, c, r) for every visited source pixel (x, y) and its destination pixel (c, r).
template <class F>
void forEachSample(const Bucket& rect, int sx, int sy, F&& f) {
    LUMORA_ASSERT(sx > 0 && sy > 0);
    int r = 0;
    for (int y = rect.min.y; y < rect.max.y; y += sy, ++r) {
        int c = 0;
        for (int x = rect.min.x; x < rect.max.x; x += sx, ++c) f(x, y, c, r);
    }
}

// d = (1 - a) d + a s on all four lanes. The operator keeps `hold` (for instance a lock on the
// source's owner) until it is destroyed.
class BlendOperator final : public IBitmapOperator {
public:
    BlendOperator(BitmapView<const Float4> source, float a, std::shared_ptr<void> hold = {})
        : source_(source), a_(a), hold_(std::move(hold)) {}
    void apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const override;

private:
    BitmapView<const Float4> source_;
    float a_;
    std::shared_ptr<void> hold_;
};

// d = d + w s on all four lanes.
class SplattingOperator final : public IBitmapOperator {
public:
    SplattingOperator(BitmapView<const Float4> source, float w) : source_(source), w_(w) {}
    void apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const override;

private:
    BitmapView<const Float4> source_;
    float w_;
};

// The fourth lane of d becomes alpha(x, y); the colour lanes are left alone.
class IncludeAlphaOperator final : public IBitmapOperator {
public:
    explicit IncludeAlphaOperator(BitmapView<const float> alpha) : alpha_(alpha) {}
    void apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const override;

private:
    BitmapView<const float> alpha_;
};

}  // namespace lumora
