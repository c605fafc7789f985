// The colour mapping of a 1920 x 1080 element through ColorMapOperator, with the default settings
// and with a 33^3 .cube table, at 1 and 2 scheduler threads. Items are pixels, so the rate is in
// pixels per second. bench/run.sh sets these figures beside oiiotool doing the nearest
// equivalent work (--mulc, --powc, --ociofiletransform of the same table).
//
// The table is written to $LUMORA_BENCH_LUT when that is set (run.sh hands it to oiiotool),
// otherwise to a scratch file.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/pipeline/color_map_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace {

using lumora::Bitmap;
using lumora::Bucket;
using lumora::Float4;

constexpr int width = 1920, height = 1080;

// Hands out copies of one render-like picture (values from 0 to about 4).
class Source final : public lumora::IOperator {
public:
    Source() : picture_(width, height) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const float v = float((x * 7 + y * 13) % 1000) / 250.f;
                picture_(x, y) = Float4(v, v * 0.5f, v * 0.25f, 1.f);
            }
        }
    }
    std::int64_t getTimestamp() const override { return 1; }
    std::vector<lumora::ElementInfo> getElements() const override { return {{"", lumora::ElementLayout::Rgba, 0}}; }
    Bucket getImageRect() const override { return {{0, 0}, {width, height}}; }
    Bucket getRegion() const override { return getImageRect(); }
    std::optional<Bitmap<Float4>> compute(const lumora::ElementInfo&, const Bucket&, float, unsigned) override {
        return picture_;
    }
    std::optional<Bitmap<float>> computeMono(const lumora::ElementInfo&, const Bucket&, float, unsigned) override {
        return std::nullopt;
    }

private:
    Bitmap<Float4> picture_;
};

Source& source() {
    static Source s;
    return s;
}

// A grading-like 33^3 table: a gentle curve per channel.
std::filesystem::path lutFile() {
    static const std::filesystem::path path = [] {
        const char* named = std::getenv("LUMORA_BENCH_LUT");
        const std::filesystem::path p = named && *named ? std::filesystem::path(named)
                                                        : std::filesystem::temp_directory_path() /
                                                              ("lumora_colormap_bench_" + std::to_string(getpid()) + ".cube");
        std::ofstream out(p);
        constexpr int n = 33;
        out << "LUT_3D_SIZE " << n << "\n";
        for (int b = 0; b < n; ++b) {
            for (int g = 0; g < n; ++g) {
                for (int r = 0; r < n; ++r) {
                    out << std::pow(r / 32.0, 0.9) << " " << std::pow(g / 32.0, 1.1) << " " << b / 32.0 << "\n";
                }
            }
        }
        return p;
    }();
    return path;
}

void run(benchmark::State& state, bool withLut) {
    lumora::scheduler::setWorkerCount(static_cast<int>(state.range(0)));
    lumora::Settings settings;
    if (withLut) {
        settings.set(lumora::PropertyId::colorMapLutEnable, lumora::Property(true));
        settings.set(lumora::PropertyId::colorMapLutPath, lumora::Property(lutFile().string()));
    }
    lumora::ColorMapOperator<lumora::ColorMapping> op(&source(), &settings);
    const lumora::ElementInfo beauty{"", lumora::ElementLayout::Rgba, 0};
    for (auto _ : state) {
        auto mapped = op.compute(beauty, source().getImageRect(), 1.f, lumora::IOperator::ComputeUpdate);
        benchmark::DoNotOptimize(mapped);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t{width} * height);
    lumora::scheduler::setWorkerCount(0);
}

// range(0): scheduler threads.
void BM_ColorMapDefault(benchmark::State& state) { run(state, false); }
void BM_ColorMapLut33(benchmark::State& state) { run(state, true); }
BENCHMARK(BM_ColorMapDefault)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ColorMapLut33)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
