#include "lumora/effects/image_rotation.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "lumora/effects/pixel_storage.hpp"
#include "lumora/effects/row_loop.hpp"

namespace lumora {
namespace {

constexpr std::int64_t kRowGrain = 12;

struct Turn {
    float c;
    float s;
};

// Single precision throughout, so the streaks do not depend on how a compiler widens.
Turn turn(float angleDegrees) {
    const float radians = angleDegrees * (std::numbers::pi_v<float> / 180.f);
    return {std::cos(radians), std::sin(radians)};
}

}  // namespace

Pixel rotatedBufferSize(int width, int height, float angleDegrees) {
    const Turn t = turn(-angleDegrees);
    const float hx = static_cast<float>(width) * 0.5f;
    const float hy = static_cast<float>(height) * 0.5f;
    const float corners[4][2] = {{-hx, -hy}, {hx, -hy}, {-hx, hy}, {hx, hy}};
    long minX = 0, maxX = 0, minY = 0, maxY = 0;
    // The corners turned about the centre, each position rounded.
    for (int i = 0; i < 4; ++i) {
        const long x = std::lround(hx + (t.c * corners[i][0] - t.s * corners[i][1]));
        const long y = std::lround(hy + (t.s * corners[i][0] + t.c * corners[i][1]));
        minX = i == 0 ? x : std::min(minX, x), maxX = i == 0 ? x : std::max(maxX, x);
        minY = i == 0 ? y : std::min(minY, y), maxY = i == 0 ? y : std::max(maxY, y);
    }
    return {static_cast<int>(maxX - minX) + 4, static_cast<int>(maxY - minY) + 4};
}

template <class S>
void rotateImage(BitmapView<const typename S::Pixel> src, float angleDegrees, BitmapView<typename S::Pixel> dst,
                 bool add, bool parallel) {
    const int width = dst.width();
    const int height = dst.height();
    const int sw = src.width();
    const int sh = src.height();

    // Source position of the centre of destination pixel (0, 0), turned about the centres of both
    // images, and its steps along a row and from row to row. The position is taken as it is for
    // the bilinear weights (pixel i spans [i, i + 1), yet its weight is 1 at i), so even a turn by
    // 0 blends each pixel half and half with its right and lower neighbours.
    const Turn t = turn(angleDegrees);
    const float dx = 0.5f - static_cast<float>(width) * 0.5f;
    const float dy = 0.5f - static_cast<float>(height) * 0.5f;
    const float originX = t.c * dx - t.s * dy + static_cast<float>(sw) * 0.5f;
    const float originY = t.s * dx + t.c * dy + static_cast<float>(sh) * 0.5f;
    const float limitX = static_cast<float>(sw - 1);
    const float limitY = static_cast<float>(sh - 1);

    const bool empty = sw < 2 || sh < 2;  // no source position lies strictly inside

    forLineRanges(parallel, height, kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        Float4* line = lineBuffer(0, static_cast<std::size_t>(width));
        Float4* sum = lineBuffer(1, static_cast<std::size_t>(width));
        Float4 pair[2];
        const Float4 one(1.f);
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            float sx = originX - t.s * static_cast<float>(y);
            float sy = originY + t.c * static_cast<float>(y);
            Float4* out = add ? line : S::target(dst.row(y), line);
            for (int x = 0; x < width; ++x, sx += t.c, sy += t.s) {
                if (empty || !(sx >= 0.f && sx < limitX && sy >= 0.f && sy < limitY)) {
                    out[x] = Float4(0.f);
                    continue;
                }
                const int ix0 = std::min(static_cast<int>(sx), sw - 1);
                const int iy0 = std::min(static_cast<int>(sy), sh - 1);
                const int ix1 = std::min(ix0 + 1, sw - 1);
                const int iy1 = std::min(iy0 + 1, sh - 1);
                const float fx = sx - static_cast<float>(ix0);
                const float fy = sy - static_cast<float>(iy0);
                // ix1 == ix0 + 1 inside the limits, so each row's two pixels are adjacent.
                const Float4* top = S::view(src.row(iy0) + ix0, pair, ix1 - ix0 + 1);
                const Float4 s00 = top[0], s10 = top[ix1 - ix0];
                const Float4* bottom = S::view(src.row(iy1) + ix0, pair, ix1 - ix0 + 1);
                const Float4 s01 = bottom[0], s11 = bottom[ix1 - ix0];
                out[x] = Float4((1.f - fy) * (1.f - fx)) * s00 + Float4((1.f - fy) * fx) * s10 +
                         Float4(fy * (1.f - fx)) * s01 + Float4(fy * fx) * s11;
            }
            if (add) {
                // As if the turned image were stored and then added: 1 x dst + 1 x turned.
                S::round(out, width);
                Float4* acc = S::edit(dst.row(y), sum, width);
                for (int x = 0; x < width; ++x) acc[x] = one * acc[x] + one * out[x];
                out = acc;
            }
            S::commit(out, dst.row(y), width);
        }
    });
}

template <class S>
Bitmap<typename S::Pixel> rotateImage(const Bitmap<typename S::Pixel>& src, float angleDegrees, int width, int height,
                                      bool parallel) {
    Bitmap<typename S::Pixel> dst(width, height);
    rotateImage<S>(src.view(), angleDegrees, dst.view(), false, parallel);
    return dst;
}

template void rotateImage<FloatPixels>(BitmapView<const Float4>, float, BitmapView<Float4>, bool, bool);
template void rotateImage<HalfPixels>(BitmapView<const Half4>, float, BitmapView<Half4>, bool, bool);
template Bitmap<Float4> rotateImage<FloatPixels>(const Bitmap<Float4>&, float, int, int, bool);
template Bitmap<Half4> rotateImage<HalfPixels>(const Bitmap<Half4>&, float, int, int, bool);

}  // namespace lumora
