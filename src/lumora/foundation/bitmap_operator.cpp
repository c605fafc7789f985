#include "lumora/foundation/bitmap_operator.hpp"

namespace lumora {

void BlendOperator::apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const {
    const Float4 a(a_), keep(1.f - a_);
    forEachSample(rect, sx, sy, [&](int x, int y, int c, int r) {
        Float4& d = destination(c, r);
        d = keep * d + a * source_(x, y);
    });
}

void SplattingOperator::apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const {
    const Float4 w(w_);
    forEachSample(rect, sx, sy, [&](int x, int y, int c, int r) { destination(c, r) += w * source_(x, y); });
}

void IncludeAlphaOperator::apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const {
    forEachSample(rect, sx, sy, [&](int x, int y, int c, int r) {
        Float4& d = destination(c, r);
        d = Float4(d.x(), d.y(), d.z(), alpha_(x, y));
    });
}

}  // namespace lumora
