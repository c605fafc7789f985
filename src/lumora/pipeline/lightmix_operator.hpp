#pragma once
// The virtual element "LightMix Interactive": the light-select elements of the render mixed with
// per-layer switches, intensities and colours (colorMap.lightmixEnabledLayers,
// colorMap.lightmixIntensities, colorMap.lightmixColors). Every other element passes through.
//
// The layers are the visible, named Rgb/Rgba light selects of the dependency's element list, in
// list order, which is the order the property arrays index. The list is rebuilt whenever the
// image information's element time stamp grows. A layer whose multiplier is zero is never
// computed, so switching a light off also saves its work.

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lumora/pipeline/operator.hpp"

namespace lumora {

class LightMixOperator final : public DependentMixin<1, SettingsMixin<ImageInfoMixin<IOperator>>> {
public:
    // lock guards the layer list; it is owned by the pipeline and may be shared.
    explicit LightMixOperator(std::mutex* lock);

    std::vector<ElementInfo> getElements() const override;
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;

    // The light selects that make up the mix.
    std::vector<ElementInfo> lightMixSourceElements() const;

private:
    // Rebuilds the layer list when the image information changed; call with the lock held.
    void refreshLayers() const;
    std::optional<Bitmap<Float4>> computeMix(const Bucket& region, float scale, unsigned flags);

    std::mutex* lock_;
    mutable std::vector<ElementInfo> layers_;
    mutable std::int32_t layerCount_ = 0;
    mutable std::optional<std::int64_t> layersTime_;
};

// The element of a render that LightMix mixes.
bool isLightMixLayer(const ElementInfo& element);

}  // namespace lumora
