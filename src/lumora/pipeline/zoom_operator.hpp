#pragma once
// Magnified views by pixel replication: a request at a scale below 1 takes the region at scale 1
// and repeats every pixel f x f times, f = trunc(1 / scale). Requests at scale 1 or more pass
// through (the operators before it reduce). Wiring: dependency 0 is the mono-to-colour operator.

#include "lumora/pipeline/operator.hpp"

namespace lumora {

class ZoomOperator final : public DependentMixin<1, IOperator> {
public:
    std::vector<ElementInfo> getElements() const override;
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;
    std::optional<Bitmap<float>> computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                             unsigned flags) override;
};

}  // namespace lumora
