#include "lumora/effects/level_blur.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "lumora/effects/pixel_storage.hpp"
#include "lumora/effects/row_loop.hpp"

namespace lumora {
namespace {

constexpr std::int64_t kRowGrain = 12;
constexpr int kGroupColumns = 4;
constexpr std::int64_t kGroupGrain = 4;

// A radius truncated toward zero and kept within [0, extent / 2 - 1].
int levelRadius(float radius, int extent) {
    const int limit = extent / 2 - 1;
    if (!(radius >= 1.f) || limit < 1) return 0;
    return radius >= static_cast<float>(limit) ? limit : static_cast<int>(radius);
}

float max3(const Float4& v) { return std::max(std::max(v.x(), v.y()), v.z()); }

// Vertical triangular blur of src into dst, four columns at a time.
template <class S>
void blurColumns(const Bitmap<typename S::Pixel>& src, Bitmap<typename S::Pixel>& dst, int r, bool parallel) {
    const int width = src.width();
    const int height = src.height();
    const std::int64_t groups = (width + kGroupColumns - 1) / kGroupColumns;
    forLineRanges(parallel, groups, kGroupGrain, [&](std::int64_t g0, std::int64_t g1) {
        std::vector<Float4> columns(static_cast<std::size_t>(kGroupColumns) * static_cast<std::size_t>(height));
        std::vector<Float4> line(static_cast<std::size_t>(height));
        Float4 scratch[kGroupColumns];
        for (auto g = static_cast<int>(g0); g < static_cast<int>(g1); ++g) {
            const int x0 = g * kGroupColumns;
            const int m = std::min(kGroupColumns, width - x0);
            Float4* column[kGroupColumns];
            for (int c = 0; c < m; ++c) column[c] = columns.data() + static_cast<std::size_t>(c) * height;
            for (int y = 0; y < height; ++y) {
                const Float4* p = S::view(src.row(y) + x0, scratch, m);
                for (int c = 0; c < m; ++c) column[c][y] = p[c];
            }
            for (int c = 0; c < m; ++c) {
                boxPass(column[c], line.data(), height, r);
                boxPass(line.data(), column[c], height, r);
            }
            for (int y = 0; y < height; ++y) {
                Float4* t = S::target(dst.row(y) + x0, scratch);
                for (int c = 0; c < m; ++c) t[c] = column[c][y];
                S::commit(t, dst.row(y) + x0, m);
            }
        }
    });
}

// Horizontal triangular blur of every row of blurred (when rx > 0), added to out with the
// level's weight and tint.
template <class S>
void blurRowsAndAccumulate(const Bitmap<typename S::Pixel>& blurred, Bitmap<typename S::Pixel>& out,
                           const BlurLevel& level, bool parallel) {
    const int width = blurred.width();
    const Float4 weight(level.weight);
    const Float4 keep(1.f - level.mix);
    const Float4 tint = Float4(level.color.r, level.color.g, level.color.b, 0.f) * Float4(level.mix);
    forLineRanges(parallel, blurred.height(), kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        std::vector<Float4> in(static_cast<std::size_t>(width)), a(in.size()), b(in.size()), o(in.size());
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            const Float4* v = S::view(blurred.row(y), in.data(), width);
            if (level.rx > 0) {
                boxPass(v, a.data(), width, level.rx);
                boxPass(a.data(), b.data(), width, level.rx);
                S::round(b.data(), width);
                v = b.data();
            }
            Float4* acc = S::edit(out.row(y), o.data(), width);
            if (level.mix == 0.f) {
                for (int x = 0; x < width; ++x) acc[x] = acc[x] + weight * v[x];
            } else {
                for (int x = 0; x < width; ++x) acc[x] = acc[x] + weight * (keep * v[x] + tint * Float4(max3(v[x])));
            }
            S::commit(acc, out.row(y), width);
        }
    });
}

}  // namespace

Rgb hueColor(float hue) {
    const float h = hue / 60.f;
    const int sector = std::clamp(static_cast<int>(h), 0, 5);
    const float f = h - static_cast<float>(sector);
    switch (sector) {
        case 0: return {1.f, f, 0.f};
        case 1: return {1.f - f, 1.f, 0.f};
        case 2: return {0.f, 1.f, f};
        case 3: return {0.f, 1.f - f, 1.f};
        case 4: return {f, 0.f, 1.f};
        default: return {1.f, 0.f, 1.f - f};
    }
}

std::array<BlurLevel, kBlurLevelCount> makeBlurLevels(int width, int height, const LevelBlurParams& params) {
    std::array<BlurLevel, kBlurLevelCount> levels{};
    const float base = static_cast<float>(std::max(width, height)) / 1024.f;
    float weight = 1.f;
    for (int k = 0; k < kBlurLevelCount; ++k) {
        BlurLevel& level = levels[static_cast<std::size_t>(k)];
        const auto scale = static_cast<float>(1 << k);
        level.rx = levelRadius(base * scale, width);
        level.ry = levelRadius(base * params.aspect * scale, height);
        float hue = std::fmod(static_cast<float>((k + 1) * 80) + params.hueShift * 360.f, 360.f);
        if (hue < 0.f) hue += 360.f;
        level.color = hueColor(hue);
        level.mix = k == 0 ? 0.f : params.mix;
        level.weight = weight;
        weight *= params.growth;
    }
    return levels;
}

void boxPass(const Float4* in, Float4* out, int n, int r) {
    const Float4 norm(1.f / static_cast<float>(2 * r + 1));
    Float4 sum(0.f);
    const int lead = std::min(r, n);
    for (int j = 0; j < lead; ++j) sum += in[j];
    // Three stretches: the window's right end inside the line and its left end not yet, both
    // inside, and only the left end inside.
    const int split1 = std::min(n, r + 1);
    const int split2 = std::max(split1, n - r);
    int i = 0;
    for (; i < split1; ++i) {
        if (i + r < n) sum += in[i + r];
        out[i] = sum * norm;
    }
    for (; i < split2; ++i) {
        sum += in[i + r];
        sum -= in[i - r - 1];
        out[i] = sum * norm;
    }
    for (; i < n; ++i) {
        sum -= in[i - r - 1];
        out[i] = sum * norm;
    }
}

template <class S>
std::optional<Bitmap<typename S::Pixel>> levelBlur(const Bitmap<typename S::Pixel>& src, const LevelBlurParams& params,
                                                   bool parallel, const std::function<bool()>& cancelled) {
    using P = typename S::Pixel;
    Bitmap<P> out(src.width(), src.height());
    Bitmap<P> blurred;
    for (const BlurLevel& level : makeBlurLevels(src.width(), src.height(), params)) {
        if (level.ry == 0) continue;
        if (cancelled && cancelled()) return std::nullopt;
        if (blurred.empty()) blurred = Bitmap<P>(src.width(), src.height());
        blurColumns<S>(src, blurred, level.ry, parallel);
        blurRowsAndAccumulate<S>(blurred, out, level, parallel);
    }
    return out;
}

template std::optional<Bitmap<Float4>> levelBlur<FloatPixels>(const Bitmap<Float4>&, const LevelBlurParams&, bool,
                                                              const std::function<bool()>&);
template std::optional<Bitmap<Half4>> levelBlur<HalfPixels>(const Bitmap<Half4>&, const LevelBlurParams&, bool,
                                                            const std::function<bool()>&);

}  // namespace lumora
