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
    // Stored as 1 / width², so a sensitivity s rescales it to bandwidth / s².
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

}  // namespace lumora
