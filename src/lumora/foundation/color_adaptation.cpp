#include "lumora/foundation/color_adaptation.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "lumora/foundation/color_space.hpp"

namespace lumora {
namespace {

// Chromaticity of the Planckian locus after Kim et al. (2002), a cubic fit valid from 1667 K to
// 25000 K; above that it approaches the locus' limit smoothly, so temperatures up to 10^5 K stay
// usable. Below 1667 K the temperature is clamped.
Chromaticity blackBody(double t) {
    t = std::clamp(t, 1667.0, 1e5);
    const double t1 = 1e3 / t, t2 = t1 * t1, t3 = t2 * t1;
    const double x = t <= 4000.0 ? -0.2661239 * t3 - 0.2343589 * t2 + 0.8776956 * t1 + 0.179910
                                 : -3.0258469 * t3 + 2.1070379 * t2 + 0.2226347 * t1 + 0.240390;
    const double x2 = x * x, x3 = x2 * x;
    double y;
    if (t <= 2222.0) {
        y = -1.1063814 * x3 - 1.34811020 * x2 + 2.18555832 * x - 0.20219683;
    } else if (t <= 4000.0) {
        y = -0.9549476 * x3 - 1.37418593 * x2 + 2.09137015 * x - 0.16748867;
    } else {
        y = 3.0817580 * x3 - 5.87338670 * x2 + 3.75112997 * x - 0.37001483;
    }
    return {x, y};
}

// Linear RGB of the white of a black body, at luminance 1.
std::array<double, 3> whiteRgb(double t) {
    static const Matrix3d xyzToRgb = invert(linRgbToXyzMatrix());
    const auto [x, y] = blackBody(t);
    const std::array<double, 3> xyz{x / y, 1.0, (1.0 - x - y) / y};
    std::array<double, 3> rgb{};
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) rgb[r] += xyzToRgb[r][c] * xyz[c];
    }
    return rgb;
}

}  // namespace

// A von Kries adaptation carried out in linear RGB: each channel is scaled by the ratio of the
// reference white to the source white, which maps the source white onto the reference white.
Rgb colorAdaptation(float temperature, float reference) {
    const auto from = whiteRgb(temperature);
    const auto to = whiteRgb(reference);
    return {static_cast<float>(to[0] / from[0]), static_cast<float>(to[1] / from[1]),
            static_cast<float>(to[2] / from[2])};
}

}  // namespace lumora
