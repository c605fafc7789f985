// Merging renders: one 1920 x 1080 image of 40 float channels weighted by its per-pixel weight
// channel, against a plain single-threaded multiply-add loop over the same amount of data.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/image/accumulator.hpp"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int channelCount = 40;
constexpr std::size_t pixelCount = std::size_t{width} * height;
// Values read per accumulation: every channel plus the weights.
constexpr std::int64_t bytesPerPass = std::int64_t{(channelCount + 1) * sizeof(float)} * std::int64_t{pixelCount};

lumora::ChannelImage makeRender() {
    lumora::ChannelImage image;
    const lumora::Bucket window{{0, 0}, {width, height}};
    image.setAttribute(lumora::names::dataWindow, window);
    image.setAttribute(lumora::names::displayWindow, window);
    image.setAttribute(lumora::names::gamma, 1.f);
    for (int c = 0; c <= channelCount; ++c) {
        char name[32];
        if (c == channelCount) {
            std::snprintf(name, sizeof name, "%s", lumora::names::weights);
        } else {
            std::snprintf(name, sizeof name, "E%d.%c", c / 4, "RGBA"[c % 4]);
        }
        auto channel = std::make_unique<lumora::Channel<float>>(name, width, height);
        for (std::size_t i = 0; i < pixelCount; ++i) {
            channel->data[i] = c == channelCount ? 1.f + float(i % 7)
                                                 : float((i + static_cast<std::size_t>(c)) % 97) * 0.01f;
        }
        image.addChannel(std::move(channel));
    }
    return image;
}

const lumora::ChannelImage& render() {
    static const lumora::ChannelImage image = makeRender();
    return image;
}

// range(0): scheduler threads (0 = all logical processors).
void BM_AccumulatePerPixelWeight(benchmark::State& state) {
    lumora::scheduler::setWorkerCount(static_cast<int>(state.range(0)));
    const auto weight = lumora::WeightDescriptor::channel(lumora::names::weights);
    lumora::Accumulator accumulator(lumora::names::weights, {});
    accumulator.add(render(), weight);  // sets up the merged image
    for (auto _ : state) {
        accumulator.add(render(), weight);
    }
    state.SetBytesProcessed(state.iterations() * bytesPerPass);
    lumora::scheduler::setWorkerCount(0);
}
BENCHMARK(BM_AccumulatePerPixelWeight)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

// The same channels and weights, planar as in the image: dst[i] += w[i % pixelCount] * src[i].
void BM_PlainMultiplyAdd(benchmark::State& state) {
    std::vector<float> src(pixelCount * channelCount);
    std::vector<float> weights(pixelCount);
    std::vector<float> dst(pixelCount * channelCount, 0.f);
    for (std::size_t i = 0; i < src.size(); ++i) src[i] = float(i % 97) * 0.01f;
    for (std::size_t i = 0; i < pixelCount; ++i) weights[i] = 1.f + float(i % 7);
    for (auto _ : state) {
        for (std::size_t c = 0; c < channelCount; ++c) {
            float* d = dst.data() + c * pixelCount;
            const float* s = src.data() + c * pixelCount;
            for (std::size_t i = 0; i < pixelCount; ++i) {
                d[i] += weights[i] * s[i];
            }
        }
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bytesPerPass);
}
BENCHMARK(BM_PlainMultiplyAdd)->Unit(benchmark::kMillisecond)->UseRealTime();

// Division by the weight sums of a two-image merge.
void BM_Finish(benchmark::State& state) {
    lumora::scheduler::setWorkerCount(static_cast<int>(state.range(0)));
    const auto weight = lumora::WeightDescriptor::channel(lumora::names::weights);
    for (auto _ : state) {
        state.PauseTiming();
        auto accumulator = std::make_unique<lumora::Accumulator>(lumora::names::weights, nullptr);
        accumulator->add(render(), weight);
        accumulator->add(render(), weight);
        state.ResumeTiming();
        benchmark::DoNotOptimize(accumulator->finish());
    }
    state.SetBytesProcessed(state.iterations() * bytesPerPass);
    lumora::scheduler::setWorkerCount(0);
}
BENCHMARK(BM_Finish)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
