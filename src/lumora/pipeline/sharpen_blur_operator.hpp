#pragma once
// Sharpens and/or blurs the colour-mapped picture (effects/sharpen_blur_filter.hpp) after the
// sharpening.* and blurring.* properties. A region is filtered with a border around it, taken
// from the dependency as far as its region reaches, so that it comes out as the same pixels of
// the whole filtered picture. Elements marked ElementFlag::NoSharpenBlur and single-channel
// requests pass through unchanged.
//
// Wiring: dependency 0 is the colour-map operator.

#include "lumora/pipeline/operator.hpp"

namespace lumora {

class SharpenBlurOperator final : public DependentMixin<1, SettingsMixin<IOperator>> {
public:
    std::vector<ElementInfo> getElements() const override;
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;
};

}  // namespace lumora
