#pragma once
// Mixes every element with its denoised picture by denoise.blendAmount.
//
// Dependency 0 is the original (the load), dependency 1 the denoise operator. An element without
// a denoised picture passes through unchanged; so does every pixel whose denoised colour is not
// finite. Alpha always stays the original's.

#include "lumora/pipeline/operator.hpp"

namespace lumora {

class BlendDenoisedOperator final : public DependentMixin<2, SettingsMixin<IOperator>> {
public:
    // The newer of the original's and the denoised results' time stamps.
    std::int64_t getTimestamp() const override;
    // The original's elements.
    std::vector<ElementInfo> getElements() const override;
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;
};

// original = a * denoised + (1 - a) * original in red, green and blue, at every pixel whose
// denoised colour is finite. The bitmaps have the same size.
void blendDenoised(Bitmap<Float4>& original, const Bitmap<Float4>& denoised, float amount);

}  // namespace lumora
