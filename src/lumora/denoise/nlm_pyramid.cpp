#include "lumora/denoise/nlm_pyramid.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "lumora/denoise/sample_variance.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace lumora {

namespace {

constexpr std::int64_t kRowsPerTask = 8;

void forEachRow(int height, const std::function<void(int)>& f) {
    scheduler::parallelFor(0, height, kRowsPerTask, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t y = begin; y < end; ++y) f(int(y));
    });
}

Float4 square(Float4 v) { return v * v; }

}  // namespace

Bitmap<Float4> downscaleImage(const Bitmap<Float4>& image, const std::array<float, 3>& taps, float scale) {
    const int width = image.width();
    const int height = image.height();
    const int outWidth = width / 2;
    const int outHeight = height / 2;
    Bitmap<Float4> out(outWidth, outHeight);
    if (out.empty()) return out;
    const Float4 t0(taps[0]), t1(taps[1]), t2(taps[2]);
    // Horizontal pass at the even columns only, over every row the vertical pass reads.
    Bitmap<Float4> rows(outWidth, height);
    forEachRow(height, [&](int y) {
        const Float4* in = image.row(y);
        Float4* o = rows.row(y);
        for (int x = 0; x < outWidth; ++x) {
            const int c = 2 * x;
            o[x] = t0 * in[mirrorIndex(c - 1, width)] + t1 * in[c] + t2 * in[mirrorIndex(c + 1, width)];
        }
    });
    const Float4 factor(scale);
    forEachRow(outHeight, [&](int y) {
        const int c = 2 * y;
        const Float4* above = rows.row(mirrorIndex(c - 1, height));
        const Float4* centre = rows.row(c);
        const Float4* below = rows.row(mirrorIndex(c + 1, height));
        Float4* o = out.row(y);
        for (int x = 0; x < outWidth; ++x) {
            o[x] = t0 * above[x] + t1 * centre[x] + t2 * below[x];
            if (scale != 1.f) o[x] = o[x] * factor;
        }
    });
    return out;
}

Bitmap<Float4> downscaleVariance(const Bitmap<Float4>& variance, const std::array<float, 3>& taps) {
    return downscaleImage(variance, taps, 0.25f);
}

Bitmap<Float4> upscaleImage(const Bitmap<Float4>& coarse, int width, int height) {
    Bitmap<Float4> out(width, height);
    const int cw = coarse.width();
    const int ch = coarse.height();
    if (out.empty()) return out;
    LUMORA_ASSERT(cw > 0 && ch > 0);
    struct Tap {
        int i0, i1;
        float t;
    };
    const auto tap = [](int fine, int count) {
        const int i0 = std::min(fine / 2, count - 1);
        const int i1 = std::min(i0 + 1, count - 1);
        return Tap{i0, i1, fine % 2 == 1 && i1 != i0 ? 0.5f : 0.f};
    };
    std::vector<Tap> columns(static_cast<std::size_t>(width));
    for (int x = 0; x < width; ++x) columns[std::size_t(x)] = tap(x, cw);
    forEachRow(height, [&](int y) {
        const Tap r = tap(y, ch);
        const Float4* a = coarse.row(r.i0);
        const Float4* b = coarse.row(r.i1);
        const Float4 ty(r.t), sy(1.f - r.t);
        Float4* o = out.row(y);
        for (int x = 0; x < width; ++x) {
            const Tap c = columns[std::size_t(x)];
            const Float4 tx(c.t), sx(1.f - c.t);
            const Float4 top = a[c.i0] * sx + a[c.i1] * tx;
            const Float4 bottom = b[c.i0] * sx + b[c.i1] * tx;
            o[x] = top * sy + bottom * ty;
        }
    });
    return out;
}

Float4 squaredGradientAt(const Bitmap<Float4>& image, int x, int y) {
    const int width = image.width();
    const int height = image.height();
    Float4 g(0.f);
    if (width >= 3) {
        const int cx = std::clamp(x, 1, width - 2);
        const int cy = height >= 3 ? std::clamp(y, 1, height - 2) : y;
        const Float4* row = image.row(cy);
        g = min(square(row[cx + 1] - row[cx]), square(row[cx] - row[cx - 1]));
    }
    if (height >= 3) {
        const int cx = width >= 3 ? std::clamp(x, 1, width - 2) : x;
        const int cy = std::clamp(y, 1, height - 2);
        const Float4 f = image(cx, cy);
        g = g + min(square(image(cx, cy + 1) - f), square(f - image(cx, cy - 1)));
    }
    return g;
}

std::optional<Bitmap<Float4>> squaredGradient(BatchFilter& batch, const Bitmap<Float4>& image) {
    Bitmap<Float4> out(image.width(), image.height());
    const bool done = batch.runBands(image.height(), 8, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            for (int x = 0; x < image.width(); ++x) out(x, y) = squaredGradientAt(image, x, y);
        }
    });
    if (!done) return std::nullopt;
    return out;
}

Float4 mergeLevels(Float4 fine, Float4 coarse, Float4 halvedFine, Float4 coarseGradient) {
    const float alpha = std::min(1.f, std::sqrt(coarseGradient.luminance()) / (fine.luminance() + 1e-6f));
    const Float4 detail = coarse + (fine - halvedFine);
    const Float4 merged = Float4(alpha) * fine + Float4(1.f - alpha) * detail;
    const Float4 lo = min(min(fine, coarse), halvedFine);
    const Float4 hi = max(max(fine, coarse), halvedFine);
    return min(max(merged, lo), hi);
}

}  // namespace lumora
