// Fireflies removal of one 1920 x 1080 element: a noisy gradient rendered with 16 passes, its
// per-sample squares and 400 fireflies, at 1 and 2 scheduler threads.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>

#include "bench_noise.hpp"
#include "lumora/denoise/hot_pixels_denoiser.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace {

using lumora::Bitmap;
using lumora::Float4;

constexpr int width = 1920;
constexpr int height = 1080;
constexpr float passes = 16.f;
constexpr int fireflyCount = 400;

using lumora::bench::hash;
using lumora::bench::noise;

struct Element {
    Bitmap<Float4> colour{width, height};
    Bitmap<Float4> squares{width, height};

    void set(int x, int y, Float4 mean, Float4 variance) {
        colour(x, y) = mean;
        squares(x, y) = mean * mean + variance * (passes - 1.f);
    }
};

const Element& element() {
    static const Element e = [] {
        Element e;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const std::uint32_t i = std::uint32_t(y * width + x) * 4u;
                const Float4 base(0.2f + 0.6f * float(x) / width, 0.3f + 0.4f * float(y) / height, 0.5f, 1.f);
                const Float4 jitter(noise(i), noise(i + 1), noise(i + 2), 0.f);
                const Float4 sigma = base * 0.05f;
                e.set(x, y, base + jitter * sigma, sigma * sigma);
            }
        }
        for (int k = 0; k < fireflyCount; ++k) {
            const int x = int(hash(2u * std::uint32_t(k) + 11u) % width);
            const int y = int(hash(2u * std::uint32_t(k) + 12u) % height);
            const float v = 10.f + float(hash(std::uint32_t(k)) % 40u);
            e.set(x, y, Float4(v, v, v, 1.f), Float4(v * v, v * v, v * v, 0.f));
        }
        return e;
    }();
    return e;
}

// range(0): scheduler threads.
void BM_FirefliesRemoval(benchmark::State& state) {
    lumora::scheduler::setWorkerCount(static_cast<int>(state.range(0)));
    lumora::DenoisingData data;
    data.passes = Bitmap<float>(width, height, passes);
    lumora::HotPixelsDenoiser denoiser(data);
    lumora::bench::timeDenoise(state, denoiser, element().colour, element().squares);
}
BENCHMARK(BM_FirefliesRemoval)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
