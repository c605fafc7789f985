#pragma once
// Bloom and glare: light scattering in a lens. Bright parts of a picture leak into their
// surroundings as a soft, wide, optionally coloured halo (bloom) and as thin star-shaped streaks
// (glare). applyBloomGlare turns a copy of the picture into the effect image, which
// BloomAndGlareOperator then adds to the picture.

#include <cstdint>
#include <functional>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

class Settings;

struct PostProcessData {
    struct BloomGlare {
        bool enabled = false;
        bool halfFloat = false;  // store the intermediate images as half floats
        float bloomIntensity = 1.f;
        float glareIntensity = 1.f;
        float threshold = 1.f;
        std::int32_t streakCount = 3;
        float rotation = 15.f;  // degrees
        float colorShift = 0.5f;
        float colorIntensity = 0.3f;
        float streakBlur = 0.2f;
    };
};

// The bloomGlare.* properties.
PostProcessData::BloomGlare readBloomGlareSettings(const Settings& settings);

namespace ImageOperatorsFlag {
inline constexpr unsigned Parallel = 1;          // run the line loops on the scheduler
inline constexpr unsigned ImageSizeStreaks = 2;  // keep the streak buffers at the image size
}  // namespace ImageOperatorsFlag

// Fraction done in [0, 1]; returns true when the user has cancelled.
using EffectProgress = std::function<bool(float)>;

// Replaces image by its bloom/glare effect image of the same size. Does nothing unless one of the
// intensities is above 0 (the caller checks `enabled`). Returns false, with image holding no
// meaningful picture, when progress reported a cancellation.
bool applyBloomGlare(unsigned flags, Bitmap<Float4>& image, const PostProcessData::BloomGlare& settings,
                     const EffectProgress& progress = {});

}  // namespace lumora
