#pragma once
// The inputs of a denoiser, filled by the caller and moved into createDenoiser.

#include <map>

#include "lumora/denoise/denoising_mode.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

struct FeatureImages {
    FeatureType type = FeatureType::VisibleNormals;
    Bitmap<Float4> mean;
    Bitmap<Float4> squares;  // empty unless the mode has DenoisingFlag::FeatureVariance
};

struct DenoisingData {
    std::map<FeatureType, FeatureImages> features;
    Bitmap<float> passes;  // samples each pixel received
    float sensitivity = 1.f;
    float textureBlur = 1.f;
};

}  // namespace lumora
