#pragma once
// The bloom-and-glare light layer of a picture (the effect of effects/bloom_glare.hpp), kept for
// one element at a time, and the virtual element "Bloom and Glare Interactive" that shows the
// layer alone. BlendBloomGlareOperator adds the layer to the picture it belongs to.
//
// Wiring: dependency 0 is the light mix (the picture the effect sees); the image information is
// the load's. The layer is recomputed when the dependency's time stamp grows: synchronously, on
// the caller's thread and without reports, for requests with IOperator::ComputeUpdate, in the
// background job "Pipeline_BloomGlare" otherwise (such a request gets nothing until it is done).
// A job that stop() cancels leaves no layer.

#include <atomic>
#include <cstdint>
#include <limits>
#include <mutex>
#include <optional>
#include <string>

#include "lumora/pipeline/async_mixin.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora {

// Whether the element can carry bloom and glare: a colour element that has not switched both
// off, and the main image, the light mix, a light select or the bloom/glare element itself.
bool isBloomGlareEligible(const ElementInfo& element);

class BloomGlareOperator final
    : public DependentMixin<1, SettingsMixin<ImageInfoMixin<AsyncMixin<ProgressMixin<IOperator>>>>> {
public:
    BloomGlareOperator() = default;
    ~BloomGlareOperator() override;

    // The dependency's elements with "Bloom and Glare Interactive" appended.
    std::vector<ElementInfo> getElements() const override;
    // The layer of the element over the region; for "Bloom and Glare Interactive" a black
    // picture while there is no layer.
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;
    std::optional<Bitmap<float>> computeMono(const ElementInfo&, const Bucket&, float, unsigned) override {
        return std::nullopt;
    }

    // Also cancels a job that is running.
    void stop() override;

protected:
    void run() override;

private:
    struct Layer {
        std::string element;  // the element the layer belongs to
        std::optional<Bitmap<Float4>> pixels;
        Bucket region;
        std::int64_t time = std::numeric_limits<std::int64_t>::min();  // the dependency's, when computed
    };

    // Computes the layer of the element from the dependency's current picture.
    Layer computeLayer(const ElementInfo& element, unsigned flags);
    std::int64_t dependencyTime() const { return first() ? first()->getTimestamp() : 0; }

    std::atomic<bool> cancelled_{false};

    std::mutex requestMutex_;  // guards requested_
    ElementInfo requested_;

    std::mutex resultMutex_;  // guards layer_
    Layer layer_;
};

class BlendBloomGlareOperator final : public DependentMixin<2, IOperator> {
public:
    // The first dependency's elements with "Bloom and Glare Interactive" appended.
    std::vector<ElementInfo> getElements() const override;
    // The first dependency's picture with the layer's colour added (alpha stays); the layer alone
    // for "Bloom and Glare Interactive".
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;
    // Single-channel elements (alpha, depth, masks) carry no effect and come from the light mix
    // unchanged: without them a mono element could not reach the picture savers at all.
    std::optional<Bitmap<float>> computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                             unsigned flags) override {
        return first() ? first()->computeMono(element, region, scale, flags) : std::nullopt;
    }
};

}  // namespace lumora
