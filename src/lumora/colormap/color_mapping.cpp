#include "lumora/colormap/color_mapping.hpp"

#include <algorithm>
#include <cmath>

#include "lumora/foundation/color_adaptation.hpp"

namespace lumora {
namespace {

Float4 powLanes(Float4 v, float e) {
    return Float4(std::pow(v[0], e), std::pow(v[1], e), std::pow(v[2], e), std::pow(v[3], e));
}

ColorCurve makeCurve(const ColorMappingSettings& s, bool identity) {
    std::array<Curve, 4> curves;
    if (!identity) {
        for (std::size_t c = 0; c < curves.size(); ++c) curves[c] = Curve(s.curveNodes[c], s.curveKinds[c]);
    }
    return ColorCurve(std::move(curves));
}

}  // namespace

ColorMapping::Contrast ColorMapping::Contrast::make(float c) {
    Contrast k{};
    k.enabled = c != 1.f;
    k.forward = c >= 1.f;
    k.p = k.forward ? -c : (c - 1.f) * 10.f;
    k.scale = 0.5f / (0.5f - 1.f / (std::exp(-0.5f * k.p) + 1.f));
    k.offset = 0.5f - 0.5f * k.scale;
    k.lowClamp = std::exp(0.5f * k.p);
    k.highClamp = 1.f / std::exp(0.5f * k.p);
    return k;
}

ColorMapping::Vignette ColorMapping::Vignette::make(float intensity, float falloff, float offsetX, float offsetY,
                                                    float width, float height, float x0, float y0,
                                                    std::int32_t kind) {
    Vignette v{};
    v.scale = 1.f / std::max(width, height);
    v.cx = (offsetX + 1.f) * 0.5f * v.scale * width;
    v.cy = (offsetY + 1.f) * 0.5f * v.scale * height;
    v.x0 = x0;
    v.y0 = y0;
    const float r = std::max(0.f, 1.f - intensity);
    v.r0 = r * r;
    v.enabled = intensity > 0.f && static_cast<std::uint32_t>(kind) <= 1u;
    v.slope = v.enabled ? std::exp(2.5f * falloff) / (2.f / std::max(1.f, intensity) - v.r0) : 0.f;
    return v;
}

// The smootherstep of the distance from the centre beyond r0.
float ColorMapping::Vignette::factor(float x, float y) const {
    if (!enabled) return 1.f;
    const float px = (x + x0) * scale - cx;
    const float py = (y + y0) * scale - cy;
    float t = std::min(1.f, (px * px + py * py - r0) * slope);
    t = std::max(0.f, t);
    const float q = 1.f - t;
    const float q2 = q * q;
    const float u = q2 * q2;
    return ((6.f * u - 15.f) * u + 10.f) * u * u * u;
}

ColorMapping::ColorMapping(const ColorMappingSettings& s, const ErrorOutput& errorOutput) {
    exposure_ = s.usePhotographic ? 683.f * 0.65f * s.iso * s.inverseShutter / (78.f * s.fStop * s.fStop)
                                  : std::pow(2.f, s.simpleExposure);
    gamma_ = s.gamma;
    if (s.enabled) {
        const Rgb wb = colorAdaptation(s.colorTemp, 6500.f);
        whiteBalance_ = Float4(wb.r, wb.g, wb.b, 1.f);
        tintPow_ = Float4(s.tint[0], s.tint[1], s.tint[2], 1.f);
        if (s.colorTemp15Hack) {
            // Older releases applied the white balance behind the table and the gamma encoding.
            tintPow_ = tintPow_ * whiteBalance_;
            whiteBalance_ = Float4(1.f);
        }
        tintPow_ = powLanes(tintPow_, s.gamma);
        contrast_ = Contrast::make(s.contrast);
        reinhardK_ = 1.f / (s.highlightCompression * s.highlightCompression);
        saturation_ = s.saturation;
        filmicLow_ = s.richShadows;
        filmicHigh_ = s.filmicHighlights;
        vignette_ = Vignette::make(s.vignetteIntensity, s.vignetteFalloff, s.vignetteOffsetX, s.vignetteOffsetY,
                                   s.imageWidth, s.imageHeight, s.regionX, s.regionY, s.regionKind);
        curves_ = ToneCurves(s.curvesEnable, makeCurve(s, false), s.gamma);
    } else {
        whiteBalance_ = tintPow_ = Float4(1.f);
        contrast_ = Contrast::make(1.f);
        reinhardK_ = 1.f;
        saturation_ = 0.f;
        filmicLow_ = filmicHigh_ = 0.f;
        vignette_ = Vignette::make(0.f, 0.f, s.vignetteOffsetX, s.vignetteOffsetY, s.imageWidth, s.imageHeight,
                                   s.regionX, s.regionY, s.regionKind);
        curves_ = ToneCurves(false, makeCurve(s, true), s.gamma);
    }
    inverseGamma_ = 1.f / s.gamma;

    // A table that is not enabled is never read: its path may be stale, and it would change nothing.
    if (s.lutEnable) {
        const unsigned flags = Lut::SqrtSpace | Lut::ApplyGamma | Lut::BuildInverse | Lut::Enabled |
                               (s.lutConvertToLog ? unsigned(Lut::ConvertToLog) : 0u);
        const LutStatus status = lut_.load(s.lutPath, s.lutOpacity, s.gamma, flags);
        if (status != LutStatus::Success && errorOutput) {
            errorOutput("LUT: " + Lut::statusMessage(status) + " (" + s.lutPath.string() + ")");
        }
    }
}

// Grey pixels (as judged by red against the others) are left alone; otherwise the smallest
// channel moves to newMin, the largest stays and the middle one keeps its relative place.
Float4 ColorMapping::saturate(Float4 c) const {
    const float r = c[0], g = c[1], b = c[2];
    const float grey = std::max(0.001f * r, 0.001f);
    if (std::fabs(r - g) <= grey && std::fabs(r - b) <= grey) return c;
    const float hi = std::max(std::max(r, g), b);
    const float lo = std::min(std::min(r, g), b);
    const float newMin = std::min(std::max(lo - saturation_ * hi, 0.f), hi);
    const float inverse = rcp(Float4(hi - lo))[0];
    const auto lane = [&](float v) {
        if (v == lo) return newMin;
        if (v == hi) return v;
        return newMin + (v - lo) * (hi - newMin) * inverse;
    };
    return Float4(lane(r), lane(g), lane(b), c[3]);
}

// A sigmoid applied in a perceptual encoding of the value.
Float4 ColorMapping::contrast(Float4 y0) const {
    const Contrast& k = contrast_;
    const Float4 y2 = y0 * y0, y3 = y2 * y0;
    const Float4 n = Float4(0.0081768222f) + Float4(1.7777296f) * y0 + Float4(17.444134f) * y2 + Float4(13.855738f) * y3;
    const Float4 d = Float4(0.0093355039f) + Float4(1.7220032f) * y0 + Float4(11.960345f) * y2 + Float4(3.9500558f) * y3;
    const Float4 u = n / d - Float4(0.8757956f);
    Float4 v;
    if (k.forward) {
        v = Float4(k.offset) + Float4(k.scale) / (exp(Float4(k.p) * (u - Float4(0.5f))) + Float4(1.f));
    } else {
        const Float4 q = Float4(k.scale) / (u - Float4(k.offset)) - Float4(1.f);
        v = Float4(0.5f) + log(min(max(q, Float4(k.lowClamp)), Float4(k.highClamp))) / Float4(k.p);
    }
    const Float4 v2 = v * v, v3 = v2 * v;
    const Float4 m = Float4(0.18229988f) + Float4(0.51218796f) * v + Float4(0.63405341f) * v2 + Float4(3.8048322f) * v3;
    const Float4 qv = Float4(1.2790123f) + Float4(3.6338649f) * v - Float4(0.52414358f) * v2 + Float4(0.10437664f) * v3;
    const Float4 z = m / qv - Float4(0.14250813f);
    const Float4 keep = (y0 <= Float4(0.000001f)) | (y0 >= Float4(0.99999899f));
    return select(keep, y0, z);
}

Float4 ColorMapping::apply(Float4 pixel, float x, float y) const {
    Float4 c = pixel * Float4(vignette_.factor(x, y)) * Float4(exposure_) * whiteBalance_;
    if (saturation_ != 0.f) c = saturate(c);
    const Float4 k(reinhardK_), one(1.f), zero(0.f);
    Float4 v = max(c * (one + k * c) / (one + c), zero);
    const Float4 w = Float4(filmicLow_) + Float4(filmicHigh_ - filmicLow_) * min(v, one);
    const Float4 v2 = v * v;
    const Float4 f = (Float4(1.0003055f) * v2 + Float4(0.0021391737f) * v) /
                     (v2 + Float4(0.43034402f) * v + Float4(0.036029063f));
    v = v + w * (f - v);
    if (contrast_.enabled) v = contrast(v);
    v = max(v, zero);
    v = lut_.apply(v);
    v = powLanes(v * tintPow_, inverseGamma_);
    v = curves_.apply(v);
    if (inverseGamma_ == 1.f) v = powLanes(v, gamma_);
    return max(v, zero);
}

void PreciseColorMappingOperator::apply(const Bucket& rect, int sx, BitmapView<Float4> destination, int sy) const {
    forEachSample(rect, sx, sy, [&](int x, int y, int c, int r) {
        Float4& d = destination(c, r);
        d = mapping_.apply(d, float(x), float(y));
    });
}

}  // namespace lumora
