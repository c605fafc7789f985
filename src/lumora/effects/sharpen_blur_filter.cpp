#include "lumora/effects/sharpen_blur_filter.hpp"

#include <algorithm>

#include "lumora/effects/extended_box.hpp"
#include "lumora/effects/image_buffer.hpp"
#include "lumora/effects/row_loop.hpp"

namespace lumora {
namespace {

constexpr std::int64_t kRowGrain = 16;

std::int32_t boxMargin(float radius, std::int32_t scale, Pixel size) {
    const BoxParameters box = BoxParameters::fromRadius(radius, scale, size.x, size.y);
    return box.isIdentity() ? 0 : 4 * box.k + 4;
}

}  // namespace

void SharpenBlurFilter::configure(bool enable, float amount, float sharpenRadius_, float blurRadius_) {
    sharpenRadius = sharpenRadius_;
    blurRadius = blurRadius_;
    sharpenStrength = amount + amount;
    enabled = enable && (blurRadius > 0.f || (sharpenStrength > 0.f && sharpenRadius > 0.f));
}

void SharpenBlurFilter::apply(unsigned flags, Bitmap<Float4>& bitmap, std::int32_t scale) const {
    if (!enabled || bitmap.empty()) return;
    scale = std::max(scale, 1);
    if (blurRadius > 0.f) {
        const auto box = BoxParameters::fromRadius(blurRadius, scale, bitmap.width(), bitmap.height());
        extendedBoxBlur(bitmap.view(), bitmap.view(), box, false);
    }
    if (!sharpens()) return;

    const auto box = BoxParameters::fromRadius(sharpenRadius, scale, bitmap.width(), bitmap.height());
    ImageBuffer<Float4> storage;
    const BitmapView<Float4> blurred = storage.shape(bitmap.width(), bitmap.height());
    extendedBoxBlur(bitmap.view(), blurred, box, true);
    const Float4 strength(sharpenStrength), zero(0.f), one(1.f);
    const int width = bitmap.width();
    forLineRanges((flags & Parallel) != 0, bitmap.height(), kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            Float4* p = bitmap.row(y);
            const Float4* b = blurred.row(y);
            for (int x = 0; x < width; ++x) p[x] = max(zero, p[x] + strength * (min(p[x], one) - b[x]));
        }
    });
}

std::int32_t SharpenBlurFilter::requiredMargin(Pixel size, std::int32_t scale) const {
    if (!enabled) return 0;
    scale = std::max(scale, 1);
    std::int32_t margin = 0;
    if (blurRadius > 0.f) margin += boxMargin(blurRadius, scale, size);
    if (sharpens()) margin += boxMargin(sharpenRadius, scale, size);
    return (margin + scale - 1) / scale * scale;
}

}  // namespace lumora
