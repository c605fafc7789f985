#pragma once
// Turns single-channel elements into colour pictures, the value copied into all four components
// (alpha included), so that every element can be saved as a picture. Colour elements pass
// through. Wiring: dependency 0 is the sharpen/blur operator.

#include "lumora/pipeline/operator.hpp"

namespace lumora {

class MonoToColorOperator final : public DependentMixin<1, IOperator> {
public:
    // The dependency's elements, Mono ones listed as Rgb.
    std::vector<ElementInfo> getElements() const override;
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;
};

}  // namespace lumora
