#include "lumora/denoise/denoising_mode.hpp"

#include "lumora/foundation/exception.hpp"

namespace lumora {

const char* getFeatureElementName(FeatureType type) {
    switch (type) {
        case FeatureType::VisibleNormals: return "VisibleNormals";
        case FeatureType::VisibleDiffuse: return "VisibleDiffuse";
        case FeatureType::Hybrid: return "Hybrid";
        case FeatureType::HairIds: return "HairIds";
        case FeatureType::OptixNormals: return "OptixNormals";
    }
    LUMORA_STOP();
}

std::vector<FeatureType> getDenoisingFeatures(DenoisingMode mode) {
    switch (mode) {
        case DenoisingMode::None:
        case DenoisingMode::Fireflies:
            return {};
        case DenoisingMode::Full:
        case DenoisingMode::Gather:
            return {FeatureType::VisibleDiffuse, FeatureType::VisibleNormals, FeatureType::Hybrid,
                    FeatureType::HairIds};
        case DenoisingMode::NvidiaAiDenoiser:
            return {FeatureType::VisibleDiffuse, FeatureType::OptixNormals};
    }
    LUMORA_STOP();
}

DenoisingFlags getDenoisingModeFlags(DenoisingMode mode) {
    switch (mode) {
        case DenoisingMode::None: return {};
        case DenoisingMode::Fireflies: return DenoisingFlag::Filter;
        case DenoisingMode::Full: return DenoisingFlags(DenoisingFlag::Filter).set(DenoisingFlag::FeatureVariance);
        case DenoisingMode::Gather: return DenoisingFlag::FeatureVariance;
        case DenoisingMode::NvidiaAiDenoiser: return DenoisingFlag::Filter;
    }
    LUMORA_STOP();
}

}  // namespace lumora
