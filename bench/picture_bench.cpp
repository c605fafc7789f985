// Writing the beauty of a 1920 x 1080 sample render (every element, 54 float channels) to an
// 8-bit PNG: the editor's whole run, which reads the LXR file and sends the beauty through the
// picture chain (light mix, bloom and glare, colour mapping, sharpen/blur), side by side with
// oiiotool reading the same file, keeping R, G, B, A, applying a 1/2.2 power and writing the PNG.
// The picture writer alone (conversion and PNG encoding of a finished picture) is timed too.

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <string>

#include "bench_support.hpp"
#include "lumora/image/picture_saver.hpp"

namespace {

namespace fs = std::filesystem;

const fs::path& input() {
    static const fs::path made = bench::sampleRender("beauty.lxr", "1");
    return made;
}

void runEach(benchmark::State& state, const std::vector<std::string>& command) {
    for (auto _ : state) {
        if (bench::spawn(command, true) != 0) {
            state.SkipWithError(("cannot run " + command.front()).c_str());
            break;
        }
    }
}

void BM_BeautyToPngWithTheEditor(benchmark::State& state) {
    runEach(state, {(bench::buildFolder() / "lumora-image-editor").string(), "--element", "BEAUTY", input().string(),
                    (bench::scratch() / "editor.png").string()});
}
BENCHMARK(BM_BeautyToPngWithTheEditor)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(5.0);

void BM_BeautyToPngWithOiiotool(benchmark::State& state) {
    runEach(state, {"oiiotool", input().string(), "--ch", "R,G,B,A", "--powc", "0.4545", "-d", "uint8", "-o",
                    (bench::scratch() / "oiiotool.png").string()});
}
BENCHMARK(BM_BeautyToPngWithOiiotool)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(5.0);

void BM_SavePictureToPng(benchmark::State& state) {
    lumora::Bitmap<lumora::Float4> pixels(1920, 1080);
    for (int y = 0; y < pixels.height(); ++y) {
        for (int x = 0; x < pixels.width(); ++x) {
            const float u = static_cast<float>(x) / 1920.f, v = static_cast<float>(y) / 1080.f;
            pixels(x, y) = lumora::Float4(u, v, 0.5f + 0.5f * std::sin(20.f * u * v), 1.f);
        }
    }
    const fs::path output = bench::scratch() / "picture.png";
    for (auto _ : state) {
        const auto saved = lumora::saveImage(output, {pixels, true}, false, std::nullopt, {});
        if (!saved) {
            state.SkipWithError(saved.error().c_str());
            break;
        }
    }
}
BENCHMARK(BM_SavePictureToPng)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace
