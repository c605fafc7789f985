#include "lumora/effects/level_blur.hpp"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "lumora/effects/pixel_storage.hpp"
#include "lumora/effects/row_loop.hpp"

namespace lumora {
namespace {

constexpr std::int64_t kRowGrain = 12;
constexpr int kLanes = 4;            // lines filtered side by side
constexpr int kStripColumns = 8;     // columns copied out together for the vertical blur
constexpr std::int64_t kStripGrain = 2;

// A radius truncated toward zero and kept within [0, extent / 2 - 1].
int levelRadius(float radius, int extent) {
    const int limit = extent / 2 - 1;
    if (!(radius >= 1.f) || limit < 1) return 0;
    return radius >= static_cast<float>(limit) ? limit : static_cast<int>(radius);
}

float max3(const Float4& v) { return std::max(std::max(v.x(), v.y()), v.z()); }

// One box pass over L lines at once; each line gets exactly the sums of boxPass over it alone.
template <int L>
void boxLines(const Float4* in, Lines li, Float4* out, Lines lo, int n, int r) {
    const Float4 norm(1.f / static_cast<float>(2 * r + 1));
    const auto x = [&](int c, int j) -> const Float4& { return in[c * li.line + j * li.step]; };
    const auto put = [&](int c, int i, const Float4& v) { out[c * lo.line + i * lo.step] = v; };
    Float4 sum[L];
    const int lead = std::min(r, n);
    for (int c = 0; c < L; ++c) {
        for (int j = 0; j < lead; ++j) sum[c] += x(c, j);
    }
    // Three stretches: the window's right end inside the line and its left end not yet, both
    // inside, and only the left end inside.
    const int split1 = std::min(n, r + 1);
    const int split2 = std::max(split1, n - r);
    int i = 0;
    for (; i < split1; ++i) {
        for (int c = 0; c < L; ++c) {
            if (i + r < n) sum[c] += x(c, i + r);
            put(c, i, sum[c] * norm);
        }
    }
    for (; i < split2; ++i) {
        for (int c = 0; c < L; ++c) {
            sum[c] += x(c, i + r);
            sum[c] -= x(c, i - r - 1);
            put(c, i, sum[c] * norm);
        }
    }
    for (; i < n; ++i) {
        for (int c = 0; c < L; ++c) {
            sum[c] -= x(c, i - r - 1);
            put(c, i, sum[c] * norm);
        }
    }
}

// The two box passes of a triangular blur over count lines, four at a time: in -> scratch -> out.
void triangleLines(const Float4* in, Lines li, Float4* scratch, Lines ls, Float4* out, Lines lo, int count, int n,
                   int r) {
    int c = 0;
    for (; c + kLanes <= count; c += kLanes) {
        boxLines<kLanes>(in + c * li.line, li, scratch + c * ls.line, ls, n, r);
        boxLines<kLanes>(scratch + c * ls.line, ls, out + c * lo.line, lo, n, r);
    }
    for (; c < count; ++c) {
        boxLines<1>(in + c * li.line, li, scratch + c * ls.line, ls, n, r);
        boxLines<1>(scratch + c * ls.line, ls, out + c * lo.line, lo, n, r);
    }
}

template <class S>
constexpr bool kFloatStorage = std::is_same_v<S, FloatPixels>;

// Vertical triangular blur of src into dst, in strips of kStripColumns columns. Half floats are
// copied into contiguous line buffers a strip row at a time; floats are read and written in place.
template <class S>
void blurColumns(BitmapView<const typename S::Pixel> src, BitmapView<typename S::Pixel> dst, int r, bool parallel) {
    const int width = src.width();
    const int height = src.height();
    const std::int64_t strips = (width + kStripColumns - 1) / kStripColumns;
    forLineRanges(parallel, strips, kStripGrain, [&](std::int64_t s0, std::int64_t s1) {
        const std::size_t count = static_cast<std::size_t>(kStripColumns) * static_cast<std::size_t>(height);
        Float4* a = lineBuffer(0, count);
        Float4* b = lineBuffer(1, count);
        Float4 scratch[kStripColumns];
        for (auto s = static_cast<int>(s0); s < static_cast<int>(s1); ++s) {
            const int x0 = s * kStripColumns;
            const int m = std::min(kStripColumns, width - x0);
            const Lines strip{1, kStripColumns};
            if constexpr (kFloatStorage<S>) {
                triangleLines(src.row(0) + x0, Lines{1, src.stride()}, a, strip, dst.row(0) + x0,
                              Lines{1, dst.stride()}, m, height, r);
            } else {
                for (int y = 0; y < height; ++y) {
                    std::copy_n(S::view(src.row(y) + x0, scratch, m), m, a + y * kStripColumns);
                }
                triangleLines(a, strip, b, strip, a, strip, m, height, r);
                for (int y = 0; y < height; ++y) S::commit(a + y * kStripColumns, dst.row(y) + x0, m);
            }
        }
    });
}

// Horizontal triangular blur of every row of blurred (when rx > 0), added to out with the
// level's weight and tint; the first level adds to zero instead of reading out.
template <class S>
void blurRowsAndAccumulate(BitmapView<const typename S::Pixel> blurred, BitmapView<typename S::Pixel> out,
                           const BlurLevel& level, bool first, bool parallel) {
    const int width = blurred.width();
    const int height = blurred.height();
    const Float4 weight(level.weight);
    const Float4 keep(1.f - level.mix);
    const Float4 tint = Float4(level.color.r, level.color.g, level.color.b, 0.f) * Float4(level.mix);
    const std::int64_t groups = (height + kLanes - 1) / kLanes;
    forLineRanges(parallel, groups, kRowGrain / kLanes, [&](std::int64_t g0, std::int64_t g1) {
        const std::size_t count = static_cast<std::size_t>(kLanes) * static_cast<std::size_t>(width);
        Float4* in = lineBuffer(0, count);
        Float4* a = lineBuffer(1, count);
        Float4* b = lineBuffer(2, count);
        Float4* o = lineBuffer(3, static_cast<std::size_t>(width));
        const Float4 zero(0.f);
        for (auto g = static_cast<int>(g0); g < static_cast<int>(g1); ++g) {
            const int y0 = g * kLanes;
            const int rows = std::min(kLanes, height - y0);
            const Lines lines{width, 1};
            const Float4* v = in;
            std::ptrdiff_t step = width;
            if constexpr (kFloatStorage<S>) {
                v = blurred.row(y0);  // read in place
                step = blurred.stride();
            } else {
                for (int c = 0; c < rows; ++c) S::view(blurred.row(y0 + c), in + c * width, width);
            }
            if (level.rx > 0) {
                triangleLines(v, Lines{step, 1}, a, lines, b, lines, rows, width, level.rx);
                S::round(b, rows * width);
                v = b;
                step = width;
            }
            for (int c = 0; c < rows; ++c, v += step) {
                Float4* acc = first ? o : S::edit(out.row(y0 + c), o, width);
                if (first) std::fill_n(acc, width, zero);
                if (level.mix == 0.f) {
                    for (int x = 0; x < width; ++x) acc[x] = acc[x] + weight * v[x];
                } else {
                    for (int x = 0; x < width; ++x) acc[x] = acc[x] + weight * (keep * v[x] + tint * Float4(max3(v[x])));
                }
                S::commit(acc, out.row(y0 + c), width);
            }
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

void boxPass(const Float4* in, Float4* out, int n, int r) { boxLines<1>(in, Lines{0, 1}, out, Lines{0, 1}, n, r); }

template <class S>
bool levelBlur(BitmapView<const typename S::Pixel> src, BitmapView<typename S::Pixel> out,
               ImageBuffer<typename S::Pixel>& scratch, const LevelBlurParams& params, bool parallel,
               const std::function<bool()>& cancelled) {
    using P = typename S::Pixel;
    BitmapView<P> blurred;
    bool first = true;
    for (const BlurLevel& level : makeBlurLevels(src.width(), src.height(), params)) {
        if (level.ry == 0) continue;
        if (cancelled && cancelled()) return false;
        if (first) blurred = scratch.shape(src.width(), src.height());
        blurColumns<S>(src, blurred, level.ry, parallel);
        blurRowsAndAccumulate<S>(blurred, out, level, first, parallel);
        first = false;
    }
    if (first) {
        for (int y = 0; y < out.height(); ++y) std::fill_n(out.row(y), out.width(), P());
    }
    return true;
}

template bool levelBlur<FloatPixels>(BitmapView<const Float4>, BitmapView<Float4>, ImageBuffer<Float4>&,
                                     const LevelBlurParams&, bool, const std::function<bool()>&);
template bool levelBlur<HalfPixels>(BitmapView<const Half4>, BitmapView<Half4>, ImageBuffer<Half4>&,
                                    const LevelBlurParams&, bool, const std::function<bool()>&);

}  // namespace lumora
