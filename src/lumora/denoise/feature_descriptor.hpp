#pragma once
// How strongly the high-quality denoiser trusts each feature when it weighs two pixels.

#include <cstdint>

#include "lumora/denoise/denoising_mode.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

enum class FeatureFlag : std::uint32_t {
    Prefilter = 1,        // smooth the feature before use
    ClearFourthLane = 2,  // zero the fourth lane of its mean and variance images
    Active = 4,           // the feature takes part in the weights
};

struct FeatureDescriptor {
    // Stored as 1 / width² (getFeatureWidth); a sensitivity s makes it 1 / (width * s)².
    Float4 bandwidth;
    Float4 floor;
    Float4 scale;
    FeatureType type = FeatureType::VisibleNormals;
    const char* name = "";
    std::uint32_t flags = 0;  // FeatureFlag bits

    bool has(FeatureFlag f) const { return (flags & static_cast<std::uint32_t>(f)) != 0; }
};

// The descriptor of VisibleNormals, VisibleDiffuse, Hybrid or HairIds; OptixNormals has none.
const FeatureDescriptor& getFeatureDescriptor(FeatureType type);

// The width behind the descriptor's bandwidth.
Float4 getFeatureWidth(FeatureType type);

// 1 / width², lane by lane.
Float4 inverseSquare(Float4 width);

}  // namespace lumora
