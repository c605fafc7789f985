// Bloom and glare and the sharpen/blur filter on one 1920 x 1080 element, and the blur passes of
// both at radii ten times apart (their cost must not grow with the radius).

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "lumora/effects/bloom_glare.hpp"
#include "lumora/effects/extended_box.hpp"
#include "lumora/effects/level_blur.hpp"
#include "lumora/effects/sharpen_blur_filter.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace {

using lumora::Bitmap;
using lumora::Float4;

constexpr int width = 1920;
constexpr int height = 1080;

// A soft gradient with a few hundred small highlights well above the bloom threshold.
const Bitmap<Float4>& element() {
    static const Bitmap<Float4> picture = [] {
        Bitmap<Float4> p(width, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                p(x, y) = Float4(0.2f + 0.6f * float(x) / width, 0.3f + 0.4f * float(y) / height, 0.5f, 1.f);
            }
        }
        std::uint32_t seed = 12345u;
        for (int k = 0; k < 300; ++k) {
            seed = seed * 1664525u + 1013904223u;
            const int x = int(seed % (width - 4)), y = int((seed >> 11) % (height - 4));
            for (int d = 0; d < 9; ++d) p(x + d % 3, y + d / 3) = Float4(20.f, 18.f, 12.f, 1.f);
        }
        return p;
    }();
    return picture;
}

// The scheduler's thread count for one benchmark, restored afterwards.
class Threads {
public:
    explicit Threads(std::int64_t n) : saved_(lumora::scheduler::workerCount()) {
        lumora::scheduler::setWorkerCount(int(n));
    }
    ~Threads() { lumora::scheduler::setWorkerCount(saved_); }

private:
    int saved_;
};

void BM_SharpenBlur(benchmark::State& state) {
    const Threads threads(state.range(0));
    lumora::SharpenBlurFilter filter;
    // Defaults of the sharpening.* and blurring.* properties.
    filter.configure(true, 1.f, 0.5f, 1.33f);
    Bitmap<Float4> image;
    for (auto _ : state) {
        image = element();  // into the same storage each time: the copy is not what is measured
        filter.apply(lumora::SharpenBlurFilter::Parallel, image, 1);
        benchmark::DoNotOptimize(image.data());
    }
}
// CPU time is that of the whole process: all the scheduler's threads.
BENCHMARK(BM_SharpenBlur)->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

// Blur alone at a radius given in pixels.
void BM_BlurRadius(benchmark::State& state) {
    const auto box = lumora::BoxParameters::fromRadius(float(state.range(0)), 1, width, height);
    Bitmap<Float4> out(width, height);
    for (auto _ : state) {
        lumora::extendedBoxBlur(element().view(), out.view(), box, false);
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_BlurRadius)->Arg(5)->Arg(50)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

void BM_BloomGlare(benchmark::State& state) {
    const Threads threads(state.range(1));
    lumora::PostProcessData::BloomGlare settings;  // three streaks, as the properties default to
    settings.halfFloat = state.range(0) != 0;
    Bitmap<Float4> image;
    for (auto _ : state) {
        image = element();
        lumora::applyBloomGlare(lumora::ImageOperatorsFlag::Parallel, image, settings);
        benchmark::DoNotOptimize(image.data());
    }
    state.SetLabel(settings.halfFloat ? "half floats" : "floats");
}
BENCHMARK(BM_BloomGlare)
    ->ArgNames({"half", "threads"})
    ->ArgsProduct({{0, 1}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

// The two box passes of one bloom level along every row of the element.
void BM_BloomBoxRadius(benchmark::State& state) {
    const int r = int(state.range(0));
    std::vector<Float4> scratch(width), out(width);
    for (auto _ : state) {
        for (int y = 0; y < height; ++y) {
            lumora::boxPass(element().row(y), scratch.data(), width, r);
            lumora::boxPass(scratch.data(), out.data(), width, r);
        }
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_BloomBoxRadius)->Arg(40)->Arg(400)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
