#include "lumora/denoise/nlm_filter.hpp"

#include <array>

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
    // Every offset scales the feature floors alike.
    std::array<float, Window * Window> floorScale;
    floorScale.fill(params_.featureScale);
    const Float4 minusH(-h);
    const Float4 log2e(kLog2e);

    constexpr int wr = Window / 2;
    const bool done = nlm::forEachTile<Window>(batch, width, height, [&](const nlm::Tile& tile,
                                                                         nlm::WindowScratch& scratch) {
        const float* distances = nlm::tileDistances<Window, Patch>(src, tile, scratch);
        const float* exponents = features.empty() ? nullptr
                                                  : nlm::tileFeatureExponents<Window>(features, floorScale.data(), width,
                                                                                      height, tile, scratch);
        const std::size_t area = std::size_t(tile.area());
        const auto skipped = [&](std::ptrdiff_t p) {
            return CandidatesOnly && !isNlmCandidate(colour_.data()[p], variance_.data()[p]);
        };
        for (int y = tile.y0; y < tile.y1; ++y) {
            const std::ptrdiff_t row = std::ptrdiff_t(y) * width;
            const int rowLocal = (y - tile.y0) * tile.width() - tile.x0;
            for (int x = tile.x0; x < tile.x1;) {
                const auto range = nlm::OffsetRange::of(wr, x, y, width, height);
                if (x + 4 <= tile.x1 && x >= wr && x + 3 + wr < width) {
                    // Four or eight pixels of a row whose windows lie inside the image: their
                    // weights in one vector, each lane summing its own pixel's.
                    const nlm::MeansTile t{colour_.data(), variance_.data(), values, width, height, tile, distances,
                                           exponents, area, h, CandidatesOnly, out.data()};
                    x += nlm::meansGroup<Window>(t, x, y);
                    continue;
                }
                const std::ptrdiff_t p = row + x;
                if (skipped(p)) {
                    out.data()[p] = values[p];
                    ++x;
                    continue;
                }
                float weight = 0.f;
                Float4 sum(0.f);
                nlm::forEachOffset<Window>(distances, area, rowLocal + x, range, [&](int dx, int dy, float distance) {
                    const std::ptrdiff_t q = p + std::ptrdiff_t(dy) * width + dx;
                    // Without features, the lane exponential of the four-pixel path, so that every
                    // pixel gets the same weights whichever path it takes.
                    const std::size_t o = nlm::offsetIndex<Window>(dx, dy) * area + std::size_t(rowLocal + x);
                    const float w = exponents ? std::min(nlm::colourWeight(distance, h), nlm::featureWeight(exponents[o]))
                                              : exp2(minusH * Float4(distance) * log2e).x();
                    weight += w;
                    sum += values[q] * w;
                });
                out.data()[p] = sum / Float4(weight);
                ++x;
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
