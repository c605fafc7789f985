#include "lumora/denoise/nlm_tri_filter.hpp"

#include <cmath>
#include <vector>

#include "lumora/denoise/nlm_simd.hpp"
#include "lumora/denoise/nlm_window.hpp"
#include "lumora/foundation/exception.hpp"

namespace lumora {

namespace {

// Running sums of one pixel: per candidate the weighted values (plain and perturbed), and the
// weight sums of the three candidates in lanes 0 to 2.
struct TriSums {
    std::array<Float4, 3> value;
    std::array<Float4, 3> perturbed;
    Float4 weight;
    Float4 perturbedWeight;
};

}  // namespace

template <int Window, int Patch>
NlmTriFilter<Window, Patch>::NlmTriFilter(const Bitmap<Float4>& colour, const Bitmap<Float4>& variance,
                                          const NlmWindowParams& params, Float4 strengths)
    : colour_(colour), variance_(variance), params_(params), strengths_(strengths) {
    LUMORA_ASSERT(variance.width() == colour.width() && variance.height() == colour.height());
}

template <int Window, int Patch>
std::optional<TriCandidates> NlmTriFilter<Window, Patch>::run(BatchFilter& batch) const {
    constexpr int wr = Window / 2;
    const int width = colour_.width();
    const int height = colour_.height();
    TriCandidates result;
    for (int i = 0; i < 3; ++i) {
        result.value[std::size_t(i)] = Bitmap<Float4>(width, height);
        result.divergence[std::size_t(i)] = Bitmap<Float4>(width, height);
    }
    result.weightSum = Bitmap<float>(width, height);

    const Float4* colour = colour_.data();
    const Float4* variance = variance_.data();
    const nlm::PatchSource src{colour, variance, width, height, params_.terms};
    const std::span<const NlmFeature> features =
        params_.owner ? params_.owner->nlmFeatures() : std::span<const NlmFeature>();
    // The strength of the unused fourth lane is 0, so that lane stays finite.
    const Float4 strengths = strengths_ * Float4(1.f, 1.f, 1.f, 0.f);
    const Float4 minusH(-params_.h);
    const Float4 log2e(kLog2e);
    const Float4 perturbation(1.01f);
    const float patchArea = float(Patch * Patch);
    // The feature floor of an offset grows with its spatial distance r = max(1, |(dx, dy)|).
    std::array<float, Window * Window> floorScale;
    for (int dy = -wr; dy <= wr; ++dy) {
        for (int dx = -wr; dx <= wr; ++dx) {
            const float r = std::max(1.f, std::sqrt(float(dx * dx + dy * dy)));
            floorScale[nlm::offsetIndex<Window>(dx, dy)] = r * params_.featureScale;
        }
    }

    const bool done = nlm::forEachTile<Window>(batch, width, height, [&](const nlm::Tile& tile,
                                                                         nlm::WindowScratch& scratch) {
        const float* distances = nlm::tileDistances<Window, Patch>(src, tile, scratch);
        const float* exponents =
            nlm::tileFeatureExponents<Window>(features, floorScale.data(), width, height, tile, scratch);
        const std::size_t area = std::size_t(tile.area());
        std::array<float, Window * Window> perturbed;  // D + the change of D
        std::array<Float4, Window * Window> weight;
        std::array<Float4, Window * Window> perturbedWeight;
        for (int y = tile.y0; y < tile.y1; ++y) {
            for (int x = tile.x0; x < tile.x1; ++x) {
                const std::ptrdiff_t p = std::ptrdiff_t(y) * width + x;
                const Float4 up = colour[p];
                const Float4 vp = variance[p];
                if (!isNlmCandidate(up, vp)) {
                    result.weightSum.data()[p] = 1000.f;
                    for (std::size_t i = 0; i < 3; ++i) {
                        result.value[i].data()[p] = up;
                        result.divergence[i].data()[p] = up;
                    }
                    continue;
                }
                // What every neighbour shares: parts of the centre position's normaliser and of the
                // change of its distance.
                const Float4 up002 = Float4(0.02f) * up;
                const Float4 epsilonVp = params_.terms.epsilon + vp;
                const Float4 cap = Float4(1000.f) * vp;
                const int local = (y - tile.y0) * tile.width() + (x - tile.x0);
                const auto range = nlm::OffsetRange::of(wr, x, y, width, height);
                // Three passes over the neighbours, in window order: perturbed distances, weights,
                // sums. Each loop is short and its iterations independent, so they overlap where one
                // loop doing everything would wait on its own long chain of dependent steps. (The
                // feature exponents were computed offset by offset over the tile.)
                int n = 0;
                nlm::forEachOffset<Window>(distances, area, local, range, [&](int dx, int dy, float distance) {
                    const std::ptrdiff_t q = p + std::ptrdiff_t(dy) * width + dx;
                    // First-order change of the centre position's distance when u_p grows by 1 %.
                    const Float4 den = epsilonVp + min(variance[q], cap);
                    perturbed[std::size_t(n++)] = distance + (up002 * (up - colour[q]) / den).luminance() / patchArea;
                });
                n = 0;
                nlm::forEachOffset<Window>(distances, area, local, range, [&](int dx, int dy, float distance) {
                    const float m = exponents[nlm::offsetIndex<Window>(dx, dy) * area + std::size_t(local)];
                    // The feature weight exp(-M) rides in the unused fourth lane of the colour
                    // weights (M = -1 without active features, which never lowers a colour weight).
                    const std::size_t i = std::size_t(n++);
                    const Float4 e =
                        exp2(minusH * (Float4(distance) * strengths) * log2e + Float4(0.f, 0.f, 0.f, -m) * log2e);
                    const Float4 wf = nlm::broadcast<3>(e);
                    weight[i] = min(e, wf);
                    perturbedWeight[i] = min(exp2(minusH * (Float4(perturbed[i]) * strengths) * log2e), wf);
                });
                TriSums s{};
                n = 0;
                nlm::forEachOffset<Window>(distances, area, local, range, [&](int dx, int dy, float) {
                    const Float4 uq = colour[p + std::ptrdiff_t(dy) * width + dx];
                    const Float4 w = weight[std::size_t(n)];
                    const Float4 wp = perturbedWeight[std::size_t(n++)];
                    s.weight += w;
                    s.perturbedWeight += wp;
                    s.value[0] += nlm::broadcast<0>(w) * uq;
                    s.value[1] += nlm::broadcast<1>(w) * uq;
                    s.value[2] += nlm::broadcast<2>(w) * uq;
                    const Float4 wp101 = wp * perturbation;
                    s.perturbed[0] += nlm::broadcast<0>(wp101) * uq;
                    s.perturbed[1] += nlm::broadcast<1>(wp101) * uq;
                    s.perturbed[2] += nlm::broadcast<2>(wp101) * uq;
                });
                const Float4 scale(0.01f * up.luminance() + 0.000001f);
                const Float4 w[3] = {nlm::broadcast<0>(s.weight), nlm::broadcast<1>(s.weight),
                                     nlm::broadcast<2>(s.weight)};
                const Float4 wp[3] = {nlm::broadcast<0>(s.perturbedWeight), nlm::broadcast<1>(s.perturbedWeight),
                                      nlm::broadcast<2>(s.perturbedWeight)};
                for (std::size_t i = 0; i < 3; ++i) {
                    const Float4 f = s.value[i] / w[i];
                    const Float4 fp = s.perturbed[i] / wp[i];
                    result.value[i].data()[p] = f;
                    result.divergence[i].data()[p] = (fp - f) / scale;
                }
                result.weightSum.data()[p] = w[1].luminance();
            }
        }
    });
    if (!done) return std::nullopt;
    return result;
}

template class NlmTriFilter<13, 7>;
template class NlmTriFilter<17, 3>;

}  // namespace lumora
