#pragma once
// The fireflies denoiser: replaces isolated pixels of extreme intensity by the median of their
// neighbours and leaves every other pixel exactly as it was. It needs no features, only the
// element's squares and the pass counts.

#include "lumora/denoise/denoiser.hpp"

namespace lumora {

class HotPixelsDenoiser final : public DenoiserBase {
public:
    explicit HotPixelsDenoiser(DenoisingData& data) : DenoiserBase(data) {}

    // element is not used.
    std::optional<Bitmap<Float4>> denoise(Bitmap<Float4> image, Bitmap<Float4> squares, ElementId element,
                                          DenoiseProgress progress) override;
};

}  // namespace lumora
