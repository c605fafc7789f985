#pragma once
// Adds a bloom/glare effect image (applyBloomGlare) to a picture: every visited pixel of the
// effect image, all four lanes, onto its destination pixel (foundation/bitmap_operator.hpp).

#include "lumora/foundation/bitmap_operator.hpp"

namespace lumora {

class BloomAndGlareOperator final : public IBitmapOperator {
public:
    explicit BloomAndGlareOperator(Bitmap<Float4> effect) : effect_(std::move(effect)) {}
    void apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const override {
        forEachSample(rect, sx, sy, [&](int x, int y, int c, int r) { destination(c, r) += effect_(x, y); });
    }

private:
    Bitmap<Float4> effect_;
};

}  // namespace lumora
