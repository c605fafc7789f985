#include "lumora/effects/extended_box.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include "lumora/effects/row_loop.hpp"

namespace lumora {
namespace {

// Lines filtered side by side.
constexpr int kLanes = 4;
constexpr std::int64_t kRowGroupGrain = 3;    // tasks of 12 rows
constexpr std::int64_t kColumnGroupGrain = 4;  // tasks of 16 columns

// Four lanes of double: the running sums do not drift along long lines.
#if defined(__SSE2__)
struct Sum4 {
    __m128d lo = _mm_setzero_pd();
    __m128d hi = _mm_setzero_pd();

    static void widen(const Float4& p, __m128d& l, __m128d& h) {
        const __m128 f = _mm_loadu_ps(reinterpret_cast<const float*>(&p));
        l = _mm_cvtps_pd(f);
        h = _mm_cvtps_pd(_mm_movehl_ps(f, f));
    }
    void add(double w, const Float4& p) {
        __m128d l, h;
        widen(p, l, h);
        const __m128d wv = _mm_set1_pd(w);
        lo = _mm_add_pd(lo, _mm_mul_pd(wv, l));
        hi = _mm_add_pd(hi, _mm_mul_pd(wv, h));
    }
    // Adds w * (p - q), the difference taken in double.
    void addDifference(double w, const Float4& p, const Float4& q) {
        __m128d pl, ph, ql, qh;
        widen(p, pl, ph);
        widen(q, ql, qh);
        const __m128d wv = _mm_set1_pd(w);
        lo = _mm_add_pd(lo, _mm_mul_pd(wv, _mm_sub_pd(pl, ql)));
        hi = _mm_add_pd(hi, _mm_mul_pd(wv, _mm_sub_pd(ph, qh)));
    }
    Float4 toFloat() const {
        Float4 out;
        _mm_storeu_ps(reinterpret_cast<float*>(&out), _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)));
        return out;
    }
};
#else
struct Sum4 {
    double v[4] = {0., 0., 0., 0.};

    void add(double w, const Float4& p) {
        for (int i = 0; i < 4; ++i) v[i] += w * static_cast<double>(p[i]);
    }
    void addDifference(double w, const Float4& p, const Float4& q) {
        for (int i = 0; i < 4; ++i) v[i] += w * (static_cast<double>(p[i]) - static_cast<double>(q[i]));
    }
    Float4 toFloat() const {
        return Float4(static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2]),
                      static_cast<float>(v[3]));
    }
};
#endif

// One pass over L lines of n values at once; every line gets exactly the sums of a pass over it
// alone. in and out must not overlap.
template <int L>
void passLines(const Float4* in, Lines li, Float4* out, Lines lo, int n, const BoxParameters& box) {
    if (n <= 0) return;
    const int k = box.k;
    const double edge = box.edgeWeight;
    const double inner = box.innerRemainder;
    const double full = edge + inner;
    const auto at = [&](int c, int j) -> const Float4& { return in[c * li.line + std::clamp(j, 0, n - 1) * li.step]; };
    const auto put = [&](int c, int i, const Float4& v) { out[c * lo.line + i * lo.step] = v; };

    // The window of output 0: taps -k-1 .. 0 all read element 0.
    Sum4 sum[L];
    for (int c = 0; c < L; ++c) {
        sum[c].add((k + 1) * full + edge, at(c, 0));
        for (int j = 1; j <= k; ++j) sum[c].add(full, at(c, j));
        sum[c].add(edge, at(c, k + 1));
        put(c, 0, sum[c].toFloat());
    }

    // Moving from output i to i + 1: tap i+k+2 enters at the edge weight, tap i+k+1 grows from
    // the edge weight to the full one, tap i-k shrinks to the edge weight and tap i-k-1 leaves.
    // Between first and last no index needs clamping.
    const int first = std::min(k + 1, n - 1);
    const int last = std::min(std::max(k + 1, n - k - 2), n - 1);
    const auto clamped = [&](int from, int to) {
        for (int i = from; i < to; ++i) {
            for (int c = 0; c < L; ++c) {
                sum[c].addDifference(edge, at(c, i + k + 2), at(c, i - k - 1));
                sum[c].addDifference(inner, at(c, i + k + 1), at(c, i - k));
                put(c, i + 1, sum[c].toFloat());
            }
        }
    };
    clamped(0, first);
    for (int i = first; i < last; ++i) {
        const Float4* x = in + i * li.step;
        Float4* y = out + (i + 1) * lo.step;
        for (int c = 0; c < L; ++c) {
            const Float4* xc = x + c * li.line;
            sum[c].addDifference(edge, xc[(k + 2) * li.step], xc[-(k + 1) * li.step]);
            sum[c].addDifference(inner, xc[(k + 1) * li.step], xc[-k * li.step]);
            y[c * lo.line] = sum[c].toFloat();
        }
    }
    clamped(std::max(first, last), n - 1);
}

// Four passes along L rows from y on: src -> scratch -> dst -> scratch -> dst; dst may be src.
// With clamp the rows are first copied with every component replaced by min(value, 1).
template <int L>
void blurRows(BitmapView<const Float4> src, BitmapView<Float4> dst, int y, const BoxParameters& box, bool clamp) {
    const int width = src.width();
    const std::size_t count = static_cast<std::size_t>(L) * static_cast<std::size_t>(width);
    const Lines lines{width, 1};
    Float4* scratch = lineBuffer(0, count);
    const Float4* in = src.row(y);
    Lines inLines{src.stride(), 1};
    if (clamp) {
        Float4* clamped = lineBuffer(1, count);
        const Float4 one(1.f);
        for (int c = 0; c < L; ++c) {
            for (int x = 0; x < width; ++x) clamped[c * width + x] = min(in[c * src.stride() + x], one);
        }
        in = clamped;
        inLines = lines;
    }
    Float4* out = dst.row(y);
    const Lines outLines{dst.stride(), 1};
    passLines<L>(in, inLines, scratch, lines, width, box);
    passLines<L>(scratch, lines, out, outLines, width, box);
    passLines<L>(out, outLines, scratch, lines, width, box);
    passLines<L>(scratch, lines, out, outLines, width, box);
}

// Four passes down L columns from x on, in place, through two strips of scratch lines.
template <int L>
void blurColumns(BitmapView<Float4> image, int x, const BoxParameters& box) {
    const int height = image.height();
    const std::size_t count = static_cast<std::size_t>(L) * static_cast<std::size_t>(height);
    const Lines columns{1, image.stride()};
    const Lines strip{1, L};
    Float4* a = lineBuffer(0, count);
    Float4* b = lineBuffer(1, count);
    Float4* p = image.row(0) + x;
    passLines<L>(p, columns, a, strip, height, box);
    passLines<L>(a, strip, b, strip, height, box);
    passLines<L>(b, strip, a, strip, height, box);
    passLines<L>(a, strip, p, columns, height, box);
}

}  // namespace

BoxParameters BoxParameters::fromRadius(float radius, std::int32_t scale, int width, int height) {
    BoxParameters box;
    box.extent = std::min(width, height);
    if (box.isIdentity()) return box;
    const float r = radius * (1.f / static_cast<float>(scale)) + 0.5f;
    const float t = std::sqrt(r * r * 0.33333334f + 1.f) * 0.5f - 0.5f;
    const float w = std::min(t, static_cast<float>(std::max(box.extent - 3, 0) / 2));
    const float twoW1 = 2.f * w + 1.f;
    const float variance = (twoW1 * twoW1 - 1.f) * 0.083333336f;
    box.k = static_cast<std::int32_t>(w);
    const auto kf = static_cast<float>(box.k);
    const float alpha = 0.16666667f / (variance - (kf + 1.f) * (kf + 1.f)) * ((kf + 1.f) * kf - 3.f * variance) *
                        (2.f * kf + 1.f);
    const float beta = 1.f / (2.f * alpha + 2.f * kf + 1.f);
    box.edgeWeight = beta * alpha;
    box.innerRemainder = (1.f - alpha) * beta;
    return box;
}

void extendedBoxPass(const Float4* in, Float4* out, int n, const BoxParameters& box) {
    passLines<1>(in, Lines{0, 1}, out, Lines{0, 1}, n, box);
}

void extendedBoxBlur(BitmapView<const Float4> src, BitmapView<Float4> dst, const BoxParameters& box, bool clamp) {
    const int width = src.width();
    const int height = src.height();
    LUMORA_ASSERT(dst.width() == width && dst.height() == height);
    if (box.isIdentity()) {
        const Float4 one(1.f);
        for (int y = 0; y < height; ++y) {
            const Float4* in = src.row(y);
            Float4* out = dst.row(y);
            for (int x = 0; x < width; ++x) out[x] = clamp ? min(in[x], one) : in[x];
        }
        return;
    }

    // Lines go in groups of kLanes; the few left over at the end go one by one.
    const auto groups = [](int lines) { return (lines + kLanes - 1) / kLanes; };
    forLineRanges(true, groups(height), kRowGroupGrain, [&](std::int64_t g0, std::int64_t g1) {
        for (auto g = static_cast<int>(g0); g < static_cast<int>(g1); ++g) {
            int y = g * kLanes;
            if (y + kLanes <= height) {
                blurRows<kLanes>(src, dst, y, box, clamp);
            } else {
                for (; y < height; ++y) blurRows<1>(src, dst, y, box, clamp);
            }
        }
    });
    forLineRanges(true, groups(width), kColumnGroupGrain, [&](std::int64_t g0, std::int64_t g1) {
        for (auto g = static_cast<int>(g0); g < static_cast<int>(g1); ++g) {
            int x = g * kLanes;
            if (x + kLanes <= width) {
                blurColumns<kLanes>(dst, x, box);
            } else {
                for (; x < width; ++x) blurColumns<1>(dst, x, box);
            }
        }
    });
}

Bitmap<Float4> extendedBoxBlur(const Bitmap<Float4>& image, const BoxParameters& box, bool clamp) {
    Bitmap<Float4> out(image.width(), image.height());
    extendedBoxBlur(image.view(), out.view(), box, clamp);
    return out;
}

}  // namespace lumora
