#pragma once
// Colour-space matrices: RGB spaces given by primaries and white point, and the linear-RGB <->
// wide-gamut pair in which LightMix scales its layers (TM_LIN_RGB_TO_LIN_WIDE_RGB and
// TM_LIN_WIDE_RGB_TO_LIN_RGB). "Linear RGB" is linear sRGB / Rec.709 with a D65 white.
//
// The wide space has the Adobe Wide Gamut RGB primaries with a D50 white, reached from linear
// sRGB without chromatic adaptation; each row is then scaled so that (1, 1, 1) maps exactly to
// the reciprocal of lightMixNormalization(). White at intensity 1 therefore becomes the unit
// multiplier, and a mix of every layer at 1 equals the plain sum of the layers. The matrices are
// derived in double and stored as float; the inverse is the matrix inverse.

#include <array>

#include "lumora/foundation/float4.hpp"

namespace lumora {

// An affine 3x4 colour transform: out = M * (r, g, b) + t; the fourth lane passes through.
struct ColorTransform {
    std::array<std::array<float, 4>, 3> rows{};

    Float4 apply(const Float4& rgb) const;
};

using Matrix3d = std::array<std::array<double, 3>, 3>;

// CIE 1931 xy chromaticity.
struct Chromaticity {
    double x, y;
};

// RGB -> XYZ of an RGB space given by its primaries and white point (white has Y = 1).
Matrix3d rgbToXyz(const std::array<Chromaticity, 3>& primaries, Chromaticity white);
// Linear sRGB / Rec.709 (D65) -> XYZ.
Matrix3d linRgbToXyzMatrix();

const ColorTransform& linRgbToLinWideRgb();
const ColorTransform& linWideRgbToLinRgb();

// Multiplied component-wise into a transformed layer multiplier.
const Float4& lightMixNormalization();

// The double-precision matrices the float transforms are rounded from.
Matrix3d linRgbToLinWideRgbMatrix();
Matrix3d invert(const Matrix3d& m);
Matrix3d multiply(const Matrix3d& a, const Matrix3d& b);

}  // namespace lumora
