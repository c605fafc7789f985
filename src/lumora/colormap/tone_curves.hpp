#pragma once
// The tone curves of the colour mapping, applied to gamma-encoded values.

#include "lumora/foundation/curve.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

class ToneCurves {
public:
    ToneCurves() = default;
    ToneCurves(bool enabled, ColorCurve curve, float gamma) : curve_(std::move(curve)), enabled_(enabled), gamma_(gamma) {}

    // The colour curve on the first three lanes; the fourth passes unchanged.
    Float4 apply(Float4 x) const {
        if (!enabled_) return x;
        const Rgb c = curve_(Rgb{x[0], x[1], x[2]});
        return Float4(c.r, c.g, c.b, x[3]);
    }
    bool isEnabled() const { return enabled_; }
    float gamma() const { return gamma_; }

private:
    ColorCurve curve_;
    bool enabled_ = false;
    float gamma_ = 1.f;
};

}  // namespace lumora
