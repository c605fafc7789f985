#include "lumora/denoise/nlm_filter_base.hpp"

#include "lumora/foundation/exception.hpp"

namespace lumora {

NlmFilterBase::NlmFilterBase(const Bitmap<Float4>& colour, const Bitmap<Float4>& variance, const NlmParams& params)
    : colour_(colour.data()),
      variance_(variance.data()),
      terms_{Float4(params.k), Float4(params.epsilon)},
      owner_(params.owner),
      features_(params.owner ? params.owner->nlmFeatures() : std::span<const NlmFeature>()),
      featureScale_(params.featureScale),
      h_(params.h),
      width_(colour.width()),
      height_(colour.height()) {
    LUMORA_ASSERT(variance.width() == width_ && variance.height() == height_);
}

bool NlmFilterBase::isCandidate(std::ptrdiff_t p) const {
    return isNlmCandidate(colour_[p], variance_[p]);
}

}  // namespace lumora
