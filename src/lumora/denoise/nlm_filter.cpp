#include "lumora/denoise/nlm_filter.hpp"

#include <vector>

#include "lumora/denoise/nlm_window.hpp"
#include "lumora/foundation/exception.hpp"

namespace lumora {

template <int Window, int Patch, bool CandidatesOnly>
NlmWindowFilter<Window, Patch, CandidatesOnly>::NlmWindowFilter(const Bitmap<Float4>& colour,
                                                                const Bitmap<Float4>& variance,
                                                                const NlmWindowParams& params)
    : colour_(colour), variance_(variance), params_(params) {
    LUMORA_ASSERT(variance.width() == colour.width() && variance.height() == colour.height());
}

template <int Window, int Patch, bool CandidatesOnly>
std::optional<Bitmap<Float4>> NlmWindowFilter<Window, Patch, CandidatesOnly>::run(BatchFilter& batch,
                                                                                const Bitmap<Float4>& image) const {
    const int width = colour_.width();
    const int height = colour_.height();
    LUMORA_ASSERT(image.width() == width && image.height() == height);
    Bitmap<Float4> out(width, height);
    const nlm::PatchSource src{colour_.data(), variance_.data(), width, height, params_.terms};
    const std::span<const NlmFeature> features =
        params_.owner ? params_.owner->nlmFeatures() : std::span<const NlmFeature>();
    const Float4* values = image.data();
    const float h = params_.h;
    const float featureScale = params_.featureScale;
    const Float4 minusH(-h);
    const Float4 log2e(kLog2e);

    const bool done = batch.runBands(height, nlm::kBandRows, [&](int y0, int y1) {
        nlm::WindowScratch scratch;
        std::vector<Float4> sums;
        std::vector<float> weights;
        for (int x0 = 0; x0 < width; x0 += nlm::kTileWidth) {
            const nlm::Tile tile{x0, std::min(width, x0 + nlm::kTileWidth), y0, y1};
            const std::size_t count = std::size_t(tile.width()) * std::size_t(tile.height());
            sums.assign(count, Float4(0.f));
            weights.assign(count, 0.f);
            if (!features.empty()) {
                nlm::forEachOffset<Window, Patch>(src, tile, scratch, [&](int x, int y, int local, int dx, int dy,
                                                                           float distance) {
                    const std::ptrdiff_t p = std::ptrdiff_t(y) * width + x;
                    const std::ptrdiff_t q = p + std::ptrdiff_t(dy) * width + dx;
                    const float w = nlm::pairWeight(nlm::colourWeight(distance, h), features, p, q, featureScale);
                    weights[std::size_t(local)] += w;
                    sums[std::size_t(local)] += values[q] * w;
                });
            } else {
                // Colour weights alone: four pixels share one four-lane exponential.
                nlm::forEachOffsetRow<Window, Patch>(src, tile, scratch, [&](int y, int lo, int hi, int dx, int dy,
                                                                              const float* distance) {
                    const std::ptrdiff_t shift = std::ptrdiff_t(dy) * width + dx;
                    const std::ptrdiff_t row = std::ptrdiff_t(y) * width;
                    const std::size_t rowLocal = std::size_t(y - tile.y0) * std::size_t(tile.width());
                    alignas(16) float w[4];
                    for (int x = lo; x < hi; x += 4) {
                        const int n = std::min(4, hi - x);
                        Float4 d;
                        if (n == 4) {
                            d = Float4::load(distance + (x - tile.x0));
                        } else {
                            alignas(16) float tail[4] = {0.f, 0.f, 0.f, 0.f};
                            std::copy_n(distance + (x - tile.x0), n, tail);
                            d = Float4::load(tail);
                        }
                        (exp2(minusH * d * log2e)).store(w);
                        for (int k = 0; k < n; ++k) {
                            const std::size_t local = rowLocal + std::size_t(x + k - tile.x0);
                            weights[local] += w[k];
                            sums[local] += values[row + x + k + shift] * w[k];
                        }
                    }
                });
            }
            for (int y = tile.y0; y < tile.y1; ++y) {
                for (int x = tile.x0; x < tile.x1; ++x) {
                    const std::ptrdiff_t p = std::ptrdiff_t(y) * width + x;
                    const std::size_t local = std::size_t(y - tile.y0) * std::size_t(tile.width()) + std::size_t(x - tile.x0);
                    if (CandidatesOnly && !isNlmCandidate(colour_.data()[p], variance_.data()[p])) {
                        out.data()[p] = values[p];
                    } else {
                        out.data()[p] = sums[local] / weights[local];
                    }
                }
            }
        }
    });
    if (!done) return std::nullopt;
    return out;
}

// The forms in use: colour filters of 7 x 7 windows and 3 x 3 patches, feature filters of 11 x 11
// windows and 5 x 5 patches.
template class NlmWindowFilter<7, 3, true>;
template class NlmWindowFilter<7, 3, false>;
template class NlmWindowFilter<11, 5, false>;

}  // namespace lumora
