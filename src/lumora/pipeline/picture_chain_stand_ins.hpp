#pragma once
// TEMPORARY: pass-through stand-ins for the picture chain's operators that are still being
// written (bloom and glare and its blend, colour mapping, sharpen/blur, mono-to-colour, zoom).
// Each forwards every request to its first dependency and accepts the wiring calls of the real
// operator, so CliPipeline wires the chain once in its final form; replacing a stand-in is a
// change of one member's type. Delete this file when the last one is gone.

#include "lumora/pipeline/operator.hpp"

namespace lumora::standin {

template <int N>
class PassThroughOperator : public DependentMixin<N, SettingsMixin<ImageInfoMixin<ProgressMixin<IOperator>>>> {
public:
    PassThroughOperator() = default;
    // The colour-map operator's constructor form.
    PassThroughOperator(IOperator* dependency, Settings* settings) {
        this->setDependency(0, dependency);
        this->setSettings(settings);
    }

    std::vector<ElementInfo> getElements() const override {
        return this->first() ? this->first()->getElements() : std::vector<ElementInfo>{};
    }
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override {
        return this->first() ? this->first()->compute(element, region, scale, flags) : std::nullopt;
    }
};

using BloomGlareOperator = PassThroughOperator<1>;
using BlendBloomGlareOperator = PassThroughOperator<2>;
using ColorMapOperator = PassThroughOperator<1>;
using SharpenBlurOperator = PassThroughOperator<1>;
using MonoToColorOperator = PassThroughOperator<1>;
using ZoomOperator = PassThroughOperator<1>;

}  // namespace lumora::standin
