#pragma once
// The per-pixel colour mapping: exposure, white balance, vignette, saturation, highlight
// compression, filmic shaping, contrast, look-up table, tint, gamma encoding and tone curves, in
// this order, on four-float pixels (r, g, b and a fourth lane that is carried along).
//
// A ColorMapping is built once from a settings snapshot and is then immutable, so apply may run
// on many threads at once.

#include <functional>
#include <limits>
#include <string>

#include "lumora/colormap/color_mapping_settings.hpp"
#include "lumora/colormap/lut.hpp"
#include "lumora/colormap/tone_curves.hpp"
#include "lumora/foundation/bitmap_operator.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

class ColorMapping {
public:
    // Receives "LUT: <message> (<path>)" when the look-up table cannot be loaded; the mapping
    // then works without it.
    using ErrorOutput = std::function<void(const std::string&)>;

    explicit ColorMapping(const ColorMappingSettings& settings, const ErrorOutput& errorOutput = {});

    // The mapped pixel; (x, y) is its position in the processed region (for the vignette).
    Float4 apply(Float4 pixel, float x, float y) const;

    float exposure() const { return exposure_; }
    Float4 whiteBalance() const { return whiteBalance_; }
    Float4 tintPow() const { return tintPow_; }
    const Lut& lut() const { return lut_; }

    struct Contrast {
        float p, scale, offset, lowClamp, highClamp;
        bool enabled, forward;
        static Contrast make(float c);
    };
    struct Vignette {
        float r0, slope, cx, cy, x0, y0, scale;
        bool enabled;
        static Vignette make(float intensity, float falloff, float offsetX, float offsetY, float width, float height,
                             float x0, float y0, std::int32_t kind);
        float factor(float x, float y) const;
    };

private:
    Float4 saturate(Float4 c) const;
    Float4 contrast(Float4 y0) const;

    static constexpr float kUnset = std::numeric_limits<float>::quiet_NaN();
    float exposure_ = kUnset;
    Float4 whiteBalance_{kUnset};
    Lut lut_;
    ToneCurves curves_;
    Float4 tintPow_{kUnset};
    float saturation_ = kUnset;
    float reinhardK_ = kUnset;
    float filmicLow_ = kUnset;
    float filmicHigh_ = kUnset;
    Contrast contrast_{};
    float gamma_ = kUnset;
    float inverseGamma_ = kUnset;
    Vignette vignette_{};
};

// The chain of a ColorMapping in place over the destination, with each visited source position
// (x, y) as the pixel position of the vignette.
class PreciseColorMappingOperator final : public IBitmapOperator {
public:
    explicit PreciseColorMappingOperator(const ColorMapping& mapping) : mapping_(mapping) {}
    void apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const override;

private:
    const ColorMapping& mapping_;
};

}  // namespace lumora
