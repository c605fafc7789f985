#pragma once
// What each denoising mode needs: the auxiliary render elements (features) it reads and whether
// it filters at all. Every lookup raises the internal-defect stop for a value outside its table.

#include <cstdint>
#include <vector>

#include "lumora/foundation/flags.hpp"
#include "lumora/settings/enums.hpp"

namespace lumora {

enum class FeatureType : std::int32_t {
    VisibleNormals = 0,
    VisibleDiffuse = 1,
    Hybrid = 2,
    HairIds = 3,
    OptixNormals = 4,
};

enum class DenoisingFlag : std::uint32_t {
    Filter = 1,           // the mode produces a denoised image
    FeatureVariance = 2,  // every feature comes with the image of its per-sample squares
};
using DenoisingFlags = Flags<DenoisingFlag>;

// Name of the render element that holds the feature.
const char* getFeatureElementName(FeatureType type);

// The features the mode needs, in the order they are loaded. HairIds is optional to callers.
std::vector<FeatureType> getDenoisingFeatures(DenoisingMode mode);

DenoisingFlags getDenoisingModeFlags(DenoisingMode mode);

}  // namespace lumora
