#include "lumora/denoise/nlm_sure_filter.hpp"

#include <cstdint>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace lumora {

namespace {

constexpr std::int64_t kRowsPerTask = 16;

// Runs f(p) for every pixel of a width x height image, rows in parallel.
template <class F>
void forEachPixel(int width, int height, F&& f) {
    scheduler::parallelFor(0, height, kRowsPerTask, [&](std::int64_t begin, std::int64_t end) {
        for (std::ptrdiff_t p = std::ptrdiff_t(begin) * width; p < std::ptrdiff_t(end) * width; ++p) f(p);
    });
}

}  // namespace

Float4 NlmSureFilter::estimate(const std::array<Float4, 3>& value, const std::array<Float4, 3>& divergence,
                               Float4 noisy, Float4 variance) {
    float sure[3];
    for (std::size_t i = 0; i < 3; ++i) {
        const Float4 error = value[i] - noisy;
        sure[i] = (error * error + variance * (Float4(2.f) * divergence[i] - Float4(1.f))).sum3();
    }
    return Float4(sure[0], sure[1], sure[2], 0.f);
}

Float4 NlmSureFilter::select(Float4 sure, Float4 divergence0, Float4 divergence1) {
    const Float4 penalty(divergence1.luminance() < divergence0.luminance() ? 100000000.f : 1.f, 1.f, 1.f, 1.f);
    const Float4 score = abs(sure) * penalty;
    const float s0 = score.x(), s1 = score.y(), s2 = score.z();
    return Float4(s0 <= s1 && s0 <= s2 ? 1.f : 0.f, s1 <= s0 && s1 <= s2 ? 1.f : 0.f,
                  s2 < s0 && s2 < s1 ? 1.f : 0.f, 0.f);
}

Bitmap<Float4> NlmSureFilter::estimate(const TriCandidates& c, const Bitmap<Float4>& noisy,
                                       const Bitmap<Float4>& variance) {
    LUMORA_ASSERT(noisy.width() == variance.width() && noisy.height() == variance.height());
    Bitmap<Float4> out(noisy.width(), noisy.height());
    forEachPixel(noisy.width(), noisy.height(), [&](std::ptrdiff_t p) {
        out.data()[p] = estimate({c.value[0].data()[p], c.value[1].data()[p], c.value[2].data()[p]},
                                 {c.divergence[0].data()[p], c.divergence[1].data()[p], c.divergence[2].data()[p]},
                                 noisy.data()[p], variance.data()[p]);
    });
    return out;
}

Bitmap<Float4> NlmSureFilter::select(const Bitmap<Float4>& sure, const TriCandidates& c) {
    Bitmap<Float4> out(sure.width(), sure.height());
    forEachPixel(sure.width(), sure.height(), [&](std::ptrdiff_t p) {
        out.data()[p] = select(sure.data()[p], c.divergence[0].data()[p], c.divergence[1].data()[p]);
    });
    return out;
}

Bitmap<Float4> NlmSureFilter::blend(const Bitmap<Float4>& selection, const TriCandidates& c) {
    Bitmap<Float4> out(selection.width(), selection.height());
    forEachPixel(selection.width(), selection.height(), [&](std::ptrdiff_t p) {
        const Float4 m = selection.data()[p];
        const Float4 sum = Float4(m.x()) * c.value[0].data()[p] + Float4(m.y()) * c.value[1].data()[p] +
                           Float4(m.z()) * c.value[2].data()[p];
        out.data()[p] = sum / Float4(m.x() + m.y() + m.z() + 1e-6f);
    });
    return out;
}

}  // namespace lumora
