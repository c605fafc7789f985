#pragma once
// The blur behind bloom and glare: nine levels of growing radius, each a triangular kernel (two
// box passes) blurring first down the columns and then along the rows, summed with growing
// weights and optionally tinted by a hue per level.

#include <array>
#include <functional>

#include "lumora/effects/image_buffer.hpp"
#include "lumora/effects/pixel_storage.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/geometry.hpp"

namespace lumora {

struct BlurLevel {
    int rx = 0;  // horizontal radius; 0 skips the horizontal blur
    int ry = 0;  // vertical radius; 0 skips the level
    Rgb color;
    float mix = 0.f;  // share of the tint; 0 keeps the blurred colour
    float weight = 1.f;
};

struct LevelBlurParams {
    float aspect = 1.f;    // vertical radius / horizontal radius
    float hueShift = 0.f;  // turns of the hue circle added to every level's hue
    float mix = 0.f;       // tint share of the levels after the first
    float growth = 1.f;    // weight ratio of consecutive levels
};

inline constexpr int kBlurLevelCount = 9;

std::array<BlurLevel, kBlurLevelCount> makeBlurLevels(int width, int height, const LevelBlurParams& params);

// The fully saturated, full-value colour of a hue in degrees [0, 360).
Rgb hueColor(float hue);

// One box pass of width 2r + 1 over n values, zero outside the line; in and out must differ.
void boxPass(const Float4* in, Float4* out, int n, int r);

// Writes the weighted sum of the blurred levels of src to out (same size), using scratch for the
// blurred copies; false, with out unfinished, when cancelled() became true between two levels.
// Storage is FloatPixels or HalfPixels (pixel_storage.hpp).
template <class Storage>
bool levelBlur(BitmapView<const typename Storage::Pixel> src, BitmapView<typename Storage::Pixel> out,
               ImageBuffer<typename Storage::Pixel>& scratch, const LevelBlurParams& params, bool parallel,
               const std::function<bool()>& cancelled);

}  // namespace lumora
