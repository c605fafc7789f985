#include "lumora/denoise/nlm_tri_filter.hpp"

#include <cmath>
#include <algorithm>
#include <array>

#include "lumora/denoise/nlm_window.hpp"
#include "lumora/foundation/exception.hpp"

namespace lumora {

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

    const nlm::PatchSource src{colour_.data(), variance_.data(), width, height, params_.terms};
    const std::span<const NlmFeature> features =
        params_.owner ? params_.owner->nlmFeatures() : std::span<const NlmFeature>();
    // The feature floor of an offset grows with its spatial distance r = max(1, |(dx, dy)|).
    std::array<float, Window * Window> floorScale;
    for (int dy = -wr; dy <= wr; ++dy) {
        for (int dx = -wr; dx <= wr; ++dx) {
            const float r = std::max(1.f, std::sqrt(float(dx * dx + dy * dy)));
            floorScale[nlm::offsetIndex<Window>(dx, dy)] = r * params_.featureScale;
        }
    }
    nlm::TriTile t{};
    t.colour = colour_.data();
    t.variance = variance_.data();
    t.width = width;
    t.height = height;
    // The strength of the unused fourth lane is 0, so that lane stays finite.
    t.strengths = strengths_ * Float4(1.f, 1.f, 1.f, 0.f);
    t.epsilon = params_.terms.epsilon;
    t.h = params_.h;
    for (std::size_t i = 0; i < 3; ++i) {
        t.value[i] = result.value[i].data();
        t.divergence[i] = result.divergence[i].data();
    }
    t.weightSum = result.weightSum.data();

    const bool done = nlm::forEachTile<Window>(batch, width, height, [&](const nlm::Tile& tile,
                                                                         nlm::WindowScratch& scratch) {
        nlm::TriTile tt = t;
        tt.tile = tile;
        tt.area = std::size_t(tile.area());
        tt.distances = nlm::tileDistances<Window, Patch>(src, tile, scratch);
        tt.exponents = nlm::tileFeatureExponents<Window>(features, floorScale.data(), width, height, tile, scratch);
        for (int y = tile.y0; y < tile.y1; ++y) nlm::triRow<Window, Patch>(tt, y);
    });
    if (!done) return std::nullopt;
    return result;
}

template class NlmTriFilter<13, 7>;
template class NlmTriFilter<17, 3>;

}  // namespace lumora
