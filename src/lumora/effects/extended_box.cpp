#include "lumora/effects/extended_box.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include "lumora/effects/row_loop.hpp"

namespace lumora {
namespace {

constexpr std::int64_t kRowGrain = 8;
constexpr int kGroupColumns = 3;
constexpr std::int64_t kGroupGrain = 4;
constexpr int kPasses = 4;

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

// Four passes over a line: in -> scratch -> out -> scratch -> out; in may equal out.
void fourPasses(const Float4* in, Float4* out, Float4* scratch, int n, const BoxParameters& box) {
    extendedBoxPass(in, scratch, n, box);
    extendedBoxPass(scratch, out, n, box);
    extendedBoxPass(out, scratch, n, box);
    extendedBoxPass(scratch, out, n, box);
}

void clampToOne(Float4* line, int n) {
    const Float4 one(1.f);
    for (int i = 0; i < n; ++i) line[i] = min(line[i], one);
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
    if (n <= 0) return;
    const int k = box.k;
    const double edge = box.edgeWeight;
    const double inner = box.innerRemainder;
    const double full = edge + inner;
    const auto at = [&](int j) -> const Float4& { return in[std::clamp(j, 0, n - 1)]; };

    // The window of output 0: taps -k-1 .. 0 all read in[0].
    Sum4 sum;
    sum.add((k + 1) * full + edge, in[0]);
    for (int j = 1; j <= k; ++j) sum.add(full, at(j));
    sum.add(edge, at(k + 1));
    out[0] = sum.toFloat();

    // Moving from output i to i + 1: tap i+k+2 enters at the edge weight, tap i+k+1 grows from
    // the edge weight to the full one, tap i-k shrinks to the edge weight and tap i-k-1 leaves.
    // Between first and last no index needs clamping.
    const int first = k + 1;
    const int last = std::max(first, n - k - 2);
    const auto step = [&](int i, const Float4& enter, const Float4& grow, const Float4& shrink, const Float4& leave) {
        sum.addDifference(edge, enter, leave);
        sum.addDifference(inner, grow, shrink);
        out[i + 1] = sum.toFloat();
    };
    int i = 0;
    for (; i < std::min(first, n - 1); ++i) step(i, at(i + k + 2), at(i + k + 1), at(i - k), at(i - k - 1));
    for (; i < std::min(last, n - 1); ++i) step(i, in[i + k + 2], in[i + k + 1], in[i - k], in[i - k - 1]);
    for (; i < n - 1; ++i) step(i, at(i + k + 2), at(i + k + 1), at(i - k), at(i - k - 1));
}

Bitmap<Float4> extendedBoxBlur(const Bitmap<Float4>& image, const BoxParameters& box, bool clamp) {
    const int width = image.width();
    const int height = image.height();
    Bitmap<Float4> rows(image);
    if (box.isIdentity()) {
        if (clamp) {
            for (int y = 0; y < height; ++y) clampToOne(rows.row(y), width);
        }
        return rows;
    }

    forLineRanges(true, height, kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        std::vector<Float4> scratch(static_cast<std::size_t>(width));
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            if (clamp) clampToOne(rows.row(y), width);
            fourPasses(rows.row(y), rows.row(y), scratch.data(), width, box);
        }
    });

    Bitmap<Float4> out(width, height);
    const std::int64_t groups = (width + kGroupColumns - 1) / kGroupColumns;
    forLineRanges(true, groups, kGroupGrain, [&](std::int64_t g0, std::int64_t g1) {
        std::vector<Float4> columns(static_cast<std::size_t>(kGroupColumns) * static_cast<std::size_t>(height));
        std::vector<Float4> scratch(static_cast<std::size_t>(height));
        for (auto g = static_cast<int>(g0); g < static_cast<int>(g1); ++g) {
            const int x0 = g * kGroupColumns;
            const int m = std::min(kGroupColumns, width - x0);
            for (int y = 0; y < height; ++y) {
                for (int c = 0; c < m; ++c) columns[static_cast<std::size_t>(c * height + y)] = rows(x0 + c, y);
            }
            for (int c = 0; c < m; ++c) {
                Float4* column = columns.data() + static_cast<std::size_t>(c) * static_cast<std::size_t>(height);
                fourPasses(column, column, scratch.data(), height, box);
            }
            for (int y = 0; y < height; ++y) {
                for (int c = 0; c < m; ++c) out(x0 + c, y) = columns[static_cast<std::size_t>(c * height + y)];
            }
        }
    });
    return out;
}

}  // namespace lumora
