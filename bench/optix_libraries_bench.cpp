// The check for the GPU denoiser's vendor libraries, which runs at every start of the editor
// (--help included) to set denoise.duringRender's default: on a machine without the libraries,
// looked up on the dynamic loader's search path and in a folder named by LUMORA_OPTIX_PATH.

#include <benchmark/benchmark.h>

#include "lumora/foundation/optix_libraries.hpp"

namespace {

void searchPathWithoutLibraries(benchmark::State& state) {
    for (auto _ : state) {
        auto set = lumora::optix::loadLibraries({});
        benchmark::DoNotOptimize(set);
        if (set.complete()) state.SkipWithError("the GPU libraries are installed here");
    }
}
BENCHMARK(searchPathWithoutLibraries)->Unit(benchmark::kMicrosecond);

void folderWithoutLibraries(benchmark::State& state) {
    for (auto _ : state) {
        auto set = lumora::optix::loadLibraries("/nonexistent/optix");
        benchmark::DoNotOptimize(set);
    }
}
BENCHMARK(folderWithoutLibraries)->Unit(benchmark::kMicrosecond);

}  // namespace
