#pragma once
// Small synthetic renders for the denoiser tests: a flat grey region with a little per-pixel
// noise, the squares a sampler of 16 passes would have stored, and fireflies made of one extreme
// sample among them.

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "lumora/denoise/task_context.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora::testing {

struct SyntheticRender {
    static constexpr float kPasses = 16.f;
    Bitmap<Float4> colour;
    Bitmap<Float4> squares;
    Bitmap<float> passes;

    // A pixel's mean, and the squares that give it `variance` in each colour lane.
    void set(int x, int y, Float4 mean, float variance) {
        colour(x, y) = mean;
        squares(x, y) = mean * mean + Float4(variance, variance, variance, 0.f) * (kPasses - 1.f);
    }
    // One sample of 16 * value among samples near zero: the variance of the mean is about value².
    void addFirefly(int x, int y, float value) { set(x, y, Float4(value, value, value, 1.f), value * value); }
};

inline float noise(int x, int y, int lane) {
    std::uint32_t h = std::uint32_t(x) * 73856093u ^ std::uint32_t(y) * 19349663u ^ std::uint32_t(lane) * 83492791u;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    return float(h % 2001u) / 1000.f - 1.f;  // [-1, 1]
}

// Grey 0.5 with noise of about 0.01 and the matching variance of the mean, 1e-4.
inline SyntheticRender makeFlatRender(int width, int height) {
    SyntheticRender r{Bitmap<Float4>(width, height), Bitmap<Float4>(width, height),
                      Bitmap<float>(width, height, SyntheticRender::kPasses)};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            r.set(x, y, Float4(0.5f + 0.01f * noise(x, y, 0), 0.5f + 0.01f * noise(x, y, 1), 0.5f + 0.01f * noise(x, y, 2), 1.f),
                  1e-4f);
        }
    }
    return r;
}

// A progress callback that notes whether the reports ever went backwards and answers "cancelled"
// once it has been called more than cancelAfter times. Must outlive the run it watches.
struct ProgressProbe {
    std::atomic<int> calls{0};
    std::atomic<float> last{0.f};
    std::atomic<bool> backwards{false};

    DenoiseProgress callback(int cancelAfter) {
        return std::make_shared<std::function<bool(float)>>([this, cancelAfter](float fraction) {
            if (fraction < last.load() || fraction > 1.f) backwards = true;
            last = fraction;
            return ++calls > cancelAfter;
        });
    }
};

inline bool sameBits(Float4 a, Float4 b) {
    alignas(16) float pa[4], pb[4];
    a.store(pa);
    b.store(pb);
    return std::memcmp(pa, pb, sizeof pa) == 0;
}

inline std::string describe(Float4 v) {
    char text[96];
    std::snprintf(text, sizeof text, "(%.9g, %.9g, %.9g, %.9g)", v.x(), v.y(), v.z(), v.w());
    return text;
}

}  // namespace lumora::testing
