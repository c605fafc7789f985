#include "lumora/denoise/denoiser.hpp"

namespace lumora {

DenoiserBase::DenoiserBase(DenoisingData& data) : passes_(std::move(data.passes)) {
    for (FeatureType type : {FeatureType::VisibleDiffuse, FeatureType::VisibleNormals, FeatureType::Hybrid,
                             FeatureType::HairIds}) {
        auto found = data.features.find(type);
        if (found == data.features.end()) continue;
        features_.push_back(FeatureRecord{std::move(found->second.mean), std::move(found->second.squares),
                                          getFeatureDescriptor(type)});
    }
}

}  // namespace lumora
