#pragma once
// White balance from colour temperatures.

#include "lumora/foundation/geometry.hpp"

namespace lumora {

// The linear-RGB multiplier that maps a neutral lit by a black body of `temperature` kelvin to
// the neutral of a black body of `reference` kelvin; equal temperatures give exactly (1, 1, 1).
Rgb colorAdaptation(float temperature, float reference);

}  // namespace lumora
