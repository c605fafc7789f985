// The high-quality (Full) denoiser on one 1920 x 1080 element with all four features: a noisy
// 16-pass render of two materials with soft shading, at 1 and 2 scheduler threads. The preparation
// of the features (once per run) and the denoising of the element (once per element) are timed
// apart; the CPU column is the time of all threads together. Peak memory: /usr/bin/time -v build-bench/bench/nlm_bench --benchmark_filter=Element/2

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "bench_noise.hpp"
#include "lumora/denoise/nlm_denoiser.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "lumora/foundation/system.hpp"

namespace {

using lumora::Bitmap;
using lumora::FeatureType;
using lumora::Float4;

constexpr int width = 1920;
constexpr int height = 1080;
constexpr float passes = 16.f;

// As the editor runs.
const bool memoryKept = (lumora::utils::keepFreedMemoryForReuse(), true);

using lumora::bench::hash;
using lumora::bench::noise;

struct Render {
    Bitmap<Float4> colour{width, height};
    Bitmap<Float4> squares{width, height};
    Bitmap<Float4> diffuse{width, height};
    Bitmap<Float4> normals{width, height};
};

// Tiles of two materials facing two ways, lit from the left.
const Render& render() {
    static const Render r = [] {
        Render r;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const bool odd = ((x / 96) + (y / 72)) % 2 == 1;
                const Float4 albedo = odd ? Float4(0.8f, 0.5f, 0.2f, 0.f) : Float4(0.2f, 0.4f, 0.7f, 0.f);
                const float light = 0.3f + 0.7f * float(width - x) / float(width);
                const Float4 mean = albedo * light;
                const Float4 sigma = mean * 0.2f;
                const std::uint32_t i = std::uint32_t(y * width + x) * 4u;
                r.colour(x, y) = mean + Float4(noise(i), noise(i + 1), noise(i + 2), 0.f) * sigma;
                r.squares(x, y) = r.colour(x, y) * r.colour(x, y) + sigma * sigma * (passes - 1.f);
                r.diffuse(x, y) = albedo;
                r.normals(x, y) = odd ? Float4(0.f, 0.f, 1.f, 0.4f) : Float4(0.f, 0.7f, 0.7f, 0.4f);
            }
        }
        return r;
    }();
    return r;
}

lumora::DenoisingData data() {
    lumora::DenoisingData d;
    d.passes = Bitmap<float>(width, height, passes);
    const auto add = [&](FeatureType type, const Bitmap<Float4>& mean) {
        Bitmap<Float4> squares = mean;
        for (std::size_t i = 0; i < squares.size(); ++i) squares.data()[i] = mean.data()[i] * mean.data()[i];
        d.features[type] = lumora::FeatureImages{type, mean, std::move(squares)};
    };
    add(FeatureType::VisibleDiffuse, render().diffuse);
    add(FeatureType::VisibleNormals, render().normals);
    add(FeatureType::Hybrid, render().diffuse);
    add(FeatureType::HairIds, Bitmap<Float4>(width, height));
    return d;
}

// range(0): scheduler threads.
void BM_FullFeatures(benchmark::State& state) {
    lumora::scheduler::setWorkerCount(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        lumora::DenoisingData d = data();
        state.ResumeTiming();
        lumora::NlmDenoiser denoiser(d);
        benchmark::DoNotOptimize(denoiser);
    }
    lumora::scheduler::setWorkerCount(0);
}
BENCHMARK(BM_FullFeatures)->Arg(1)->Arg(2)->Unit(benchmark::kSecond)->MeasureProcessCPUTime()->UseRealTime()->Iterations(1);

void BM_FullElement(benchmark::State& state) {
    lumora::scheduler::setWorkerCount(static_cast<int>(state.range(0)));
    lumora::DenoisingData d = data();
    lumora::NlmDenoiser denoiser(d);
    lumora::bench::timeDenoise(state, denoiser, render().colour, render().squares);
}
BENCHMARK(BM_FullElement)->Arg(1)->Arg(2)->Unit(benchmark::kSecond)->MeasureProcessCPUTime()->UseRealTime()->Iterations(1);

}  // namespace
