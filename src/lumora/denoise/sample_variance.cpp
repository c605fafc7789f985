#include "lumora/denoise/sample_variance.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace lumora {

namespace {

constexpr float kVarianceFloor = 1e-12f;
constexpr std::int64_t kVarianceRowsPerTask = 20;

Float4 pixelVariance(Float4 mean, Float4 squares, float passes) {
    if (!(passes >= 2.f)) return Float4(kVarianceFloor);
    const Float4 v = max(squares - mean * mean, Float4(0.f)) / (passes - 1.f);
    alignas(16) float lanes[4];
    v.store(lanes);
    const float largest = std::max({lanes[0], lanes[1], lanes[2]});
    if (!(largest > kVarianceFloor)) return Float4(kVarianceFloor);
    for (float& lane : lanes) {
        if (!(lane > kVarianceFloor)) lane = largest;
    }
    return Float4::load(lanes);
}

}  // namespace

Float4 computeSampleVariance(const Bitmap<Float4>& mean, Bitmap<Float4>& squares, const Bitmap<float>& passes) {
    const int width = mean.width();
    const int height = mean.height();
    LUMORA_ASSERT(squares.width() == width && squares.height() == height);
    LUMORA_ASSERT(passes.width() == width && passes.height() == height);
    if (mean.empty()) return Float4(0.f);

    // Each piece of rows sums in single precision; the pieces' sums then meet in double precision
    // in the order of their first rows. The pieces depend only on the height, so the total is the
    // same whichever threads ran them and in whatever order (per-thread accumulators would make
    // it depend on the scheduling).
    std::vector<Float4> pieceSums(static_cast<std::size_t>(height));
    std::vector<char> pieceStarts(static_cast<std::size_t>(height), 0);
    scheduler::parallelFor(0, height, kVarianceRowsPerTask, [&](std::int64_t begin, std::int64_t end) {
        Float4 local(0.f);
        for (std::int64_t y = begin; y < end; ++y) {
            const Float4* m = mean.row(int(y));
            const float* n = passes.row(int(y));
            Float4* s = squares.row(int(y));
            for (int x = 0; x < width; ++x) {
                s[x] = pixelVariance(m[x], s[x], n[x]);
                local += s[x];
            }
        }
        pieceSums[static_cast<std::size_t>(begin)] = local;
        pieceStarts[static_cast<std::size_t>(begin)] = 1;
    });
    std::array<double, 4> total{};
    for (std::size_t y = 0; y < pieceSums.size(); ++y) {
        if (!pieceStarts[y]) continue;
        for (int i = 0; i < 4; ++i) total[std::size_t(i)] += pieceSums[y][i];
    }
    const double count = double(width) * double(height);
    return Float4(float(total[0] / count), float(total[1] / count), float(total[2] / count),
                  float(total[3] / count));
}

void convolveSeparable(Bitmap<Float4>& image, const std::array<float, 3>& taps) {
    const int width = image.width();
    const int height = image.height();
    if (image.empty()) return;
    const Float4 t0(taps[0]), t1(taps[1]), t2(taps[2]);

    Bitmap<Float4> rows(width, height);
    scheduler::parallelFor(0, height, 1, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t y = begin; y < end; ++y) {
            const Float4* in = image.row(int(y));
            Float4* out = rows.row(int(y));
            for (int x = 0; x < width; ++x) {
                out[x] = t0 * in[mirrorIndex(x - 1, width)] + t1 * in[x] + t2 * in[mirrorIndex(x + 1, width)];
            }
        }
    });
    scheduler::parallelFor(0, height, 1, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t y = begin; y < end; ++y) {
            const Float4* above = rows.row(mirrorIndex(int(y) - 1, height));
            const Float4* centre = rows.row(int(y));
            const Float4* below = rows.row(mirrorIndex(int(y) + 1, height));
            Float4* out = image.row(int(y));
            for (int x = 0; x < width; ++x) out[x] = t0 * above[x] + t1 * centre[x] + t2 * below[x];
        }
    });
}

}  // namespace lumora
