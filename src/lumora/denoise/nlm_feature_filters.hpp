#pragma once
// The features of the high-quality denoiser as its filters use them: per feature the normalised
// (and usually prefiltered) mean image, its variance, its squared gradient and the rescaled
// descriptor. The set is prepared once per denoiser; only the activity of its members changes
// between elements, and a halved copy serves the coarser level of the pyramid.

#include <optional>
#include <span>
#include <vector>

#include "lumora/denoise/batch_filter.hpp"
#include "lumora/denoise/feature_descriptor.hpp"
#include "lumora/denoise/nlm_weight.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

struct NlmFeatureFilter {
    Bitmap<Float4> mean;      // F
    Bitmap<Float4> variance;  // FV
    Bitmap<Float4> gradient;  // G
    // bandwidth is the weight c, floor the gradient floor b, scale the cancellation factor a.
    FeatureDescriptor descriptor;
    bool zero = false;  // mean and variance 0 everywhere
    bool gradientDefined = false;  // no NaN in G
};

class NlmFeatureFilters final : public NlmFeatureOwner {
public:
    NlmFeatureFilters() = default;
    NlmFeatureFilters(NlmFeatureFilters&&) = default;
    NlmFeatureFilters& operator=(NlmFeatureFilters&&) = default;

    // The descriptor with a sensitivity applied: a larger sensitivity weakens the feature.
    static FeatureDescriptor rescaled(const FeatureDescriptor& descriptor, float sensitivity);

    // Turns the mean and squares of a feature into a filter and adds it: the variance from the
    // squares and pass counts (zero without squares), the fourth lane cleared where the
    // descriptor asks, the mean mapped to [0, 1] per lane, prefiltered where the descriptor asks,
    // and its gradient. Returns false, adding nothing, when cancelled.
    bool add(BatchFilter& batch, Bitmap<Float4> mean, Bitmap<Float4> squares, const Bitmap<float>& passes,
             const FeatureDescriptor& descriptor);

    // Activity of the features of a type (all of them when active is true for every type).
    void setActive(FeatureType type, bool active);
    void setAllActive();

    // The set at half the size, its gradients computed anew; nothing when cancelled.
    std::optional<NlmFeatureFilters> halved(BatchFilter& batch) const;

    std::span<const NlmFeature> nlmFeatures() const override { return views_; }
    const std::vector<NlmFeatureFilter>& filters() const { return filters_; }

private:
    void refreshViews();

    std::vector<NlmFeatureFilter> filters_;
    std::vector<NlmFeature> views_;  // point into filters_' images
};

}  // namespace lumora
