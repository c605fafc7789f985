#include "lumora/foundation/color_space.hpp"

#include <cmath>

#include "lumora/foundation/exception.hpp"

namespace lumora {
namespace {

constexpr std::array<double, 3> kNormalization{1.0886914730072021, 0.9793846607208252, 0.7464756965637207};

ColorTransform toFloat(const Matrix3d& m) {
    ColorTransform t;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) t.rows[r][c] = static_cast<float>(m[r][c]);
        t.rows[r][3] = 0.f;
    }
    return t;
}

}  // namespace

Float4 ColorTransform::apply(const Float4& rgb) const {
    alignas(16) float p[4];
    rgb.store(p);
    const auto row = [&](const std::array<float, 4>& m) { return m[0] * p[0] + m[1] * p[1] + m[2] * p[2] + m[3]; };
    return {row(rows[0]), row(rows[1]), row(rows[2]), p[3]};
}

Matrix3d invert(const Matrix3d& m) {
    const double a = m[0][0], b = m[0][1], c = m[0][2];
    const double d = m[1][0], e = m[1][1], f = m[1][2];
    const double g = m[2][0], h = m[2][1], i = m[2][2];
    const double A = e * i - f * h, B = f * g - d * i, C = d * h - e * g;
    const double det = a * A + b * B + c * C;
    LUMORA_ASSERT(std::fabs(det) > 1e-300);
    return {{{A / det, (c * h - b * i) / det, (b * f - c * e) / det},
             {B / det, (a * i - c * g) / det, (c * d - a * f) / det},
             {C / det, (b * g - a * h) / det, (a * e - b * d) / det}}};
}

Matrix3d multiply(const Matrix3d& a, const Matrix3d& b) {
    Matrix3d m{};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            for (int k = 0; k < 3; ++k) m[r][c] += a[r][k] * b[k][c];
        }
    }
    return m;
}

Matrix3d rgbToXyz(const std::array<Chromaticity, 3>& primaries, Chromaticity white) {
    Matrix3d p{};
    for (int c = 0; c < 3; ++c) {
        const auto [x, y] = primaries[static_cast<std::size_t>(c)];
        p[0][c] = x / y;
        p[1][c] = 1.0;
        p[2][c] = (1.0 - x - y) / y;
    }
    const std::array<double, 3> w{white.x / white.y, 1.0, (1.0 - white.x - white.y) / white.y};
    const Matrix3d pi = invert(p);
    Matrix3d m{};
    for (int c = 0; c < 3; ++c) {
        double s = 0.0;
        for (int k = 0; k < 3; ++k) s += pi[c][k] * w[static_cast<std::size_t>(k)];
        for (int r = 0; r < 3; ++r) m[r][c] = p[r][c] * s;
    }
    return m;
}

Matrix3d linRgbToXyzMatrix() {
    return rgbToXyz({{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}}}, {0.3127, 0.3290});
}

Matrix3d linRgbToLinWideRgbMatrix() {
    const Matrix3d srgbToXyz = linRgbToXyzMatrix();
    const Matrix3d wideToXyz =
        rgbToXyz({{{0.7347, 0.2653}, {0.1152, 0.8264}, {0.1566, 0.0177}}}, {0.3457, 0.3585});
    Matrix3d m = multiply(invert(wideToXyz), srgbToXyz);
    for (std::size_t r = 0; r < 3; ++r) {
        const double rowSum = m[r][0] + m[r][1] + m[r][2];
        const double scale = (1.0 / kNormalization[r]) / rowSum;
        for (double& v : m[r]) v *= scale;
    }
    return m;
}

const ColorTransform& linRgbToLinWideRgb() {
    static const ColorTransform t = toFloat(linRgbToLinWideRgbMatrix());
    return t;
}

const ColorTransform& linWideRgbToLinRgb() {
    static const ColorTransform t = toFloat(invert(linRgbToLinWideRgbMatrix()));
    return t;
}

const Float4& lightMixNormalization() {
    static const Float4 n(static_cast<float>(kNormalization[0]), static_cast<float>(kNormalization[1]),
                          static_cast<float>(kNormalization[2]), 1.f);
    return n;
}

}  // namespace lumora
