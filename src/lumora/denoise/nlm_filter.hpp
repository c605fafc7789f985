#pragma once
// The windowed weighted-mean filters: each output pixel is the mean of the image over a
// Window x Window search window (the centre included), weighted by the similarity of the
// Patch x Patch colour patches around the two pixels and, with an owner, by their features.
//
// NlmFilter leaves pixels that are not candidates (black, or with too little variance for their
// brightness) as they are. NlmVectorFilter filters every pixel: it smooths images that are not
// colours themselves (feature images, error estimates) by weights taken from a colour or feature
// image, and such images have no meaningful candidate test of their own.

#include <optional>

#include "lumora/denoise/batch_filter.hpp"
#include "lumora/denoise/nlm_weight.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

struct NlmWindowParams {
    nlm::ColourTerms terms{Float4(1.f), Float4(0.f)};  // k and epsilon, per lane
    const NlmFeatureOwner* owner = nullptr;
    float featureScale = 1.f;  // multiplies each feature's floor
    float h = 1.f;             // distance scale of the colour weight

    static NlmWindowParams of(float k, float epsilon, float h, const NlmFeatureOwner* owner = nullptr,
                              float featureScale = 1.f) {
        return {{Float4(k), Float4(epsilon)}, owner, featureScale, h};
    }
};

template <int Window, int Patch, bool CandidatesOnly>
class NlmWindowFilter {
public:
    // Weights come from colour and variance, which must outlive the filter.
    NlmWindowFilter(const Bitmap<Float4>& colour, const Bitmap<Float4>& variance, const NlmWindowParams& params);

    // Filters image (same size as the colour) into a new image; no image when cancelled.
    std::optional<Bitmap<Float4>> run(BatchFilter& batch, const Bitmap<Float4>& image) const;

private:
    const Bitmap<Float4>& colour_;
    const Bitmap<Float4>& variance_;
    NlmWindowParams params_;
};

template <int Window, int Patch>
using NlmFilter = NlmWindowFilter<Window, Patch, true>;
template <int Window, int Patch>
using NlmVectorFilter = NlmWindowFilter<Window, Patch, false>;

}  // namespace lumora
