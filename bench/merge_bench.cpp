// Merging two 1920 x 1080 render-node images (sample renders with every element, 54 float channels
// each) into one LXR file, against reading both files and writing one with bare OpenEXR calls and
// the same thread count. The merge runs through the console pipeline in this process, and as a
// whole run of the editor executable (process start-up included).
//
// The inputs are made once by lumora-sample-render (bench_support.hpp).

#include <benchmark/benchmark.h>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfThreading.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_support.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/pipeline/cli_pipeline.hpp"
#include "lumora/settings/settings.hpp"

namespace {

namespace fs = std::filesystem;
using bench::scratch;
using bench::spawn;

struct Inputs {
    fs::path node1, node2;
};

const Inputs& inputs() {
    static const Inputs made{bench::sampleRender("node1.lxr", "1"), bench::sampleRender("node2.lxr", "2")};
    return made;
}

class BenchRuntime final : public lumora::Performer::IRuntime {
public:
    std::span<const fs::path> getInputs() const override { return paths; }
    std::span<const lumora::WeightDescriptor> getWeights() const override { return {}; }
    const lumora::IOperator::ElementSelector& getElementSelector() const override { return selector; }
    void applySettingsOverrides(lumora::Settings&) const override {}
    const fs::path& getOutput() const override { return output; }
    void printMessage(const std::string&) override {}

    std::vector<fs::path> paths;
    lumora::IOperator::ElementSelector selector;
    fs::path output;
};

void BM_MergeToLxrThroughThePipeline(benchmark::State& state) {
    BenchRuntime runtime;
    runtime.paths = {inputs().node1, inputs().node2};
    runtime.output = scratch() / "merged.lxr";
    for (auto _ : state) {
        lumora::Settings settings;
        lumora::Pipeline::CliPipeline pipeline(&settings);
        pipeline.run(runtime);
    }
}
BENCHMARK(BM_MergeToLxrThroughThePipeline)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(5.0);

void BM_MergeToLxrWithTheEditor(benchmark::State& state) {
    const std::string editor = (bench::buildFolder() / "lumora-image-editor").string();
    for (auto _ : state) {
        if (spawn({editor, inputs().node1.string(), inputs().node2.string(), (scratch() / "editor.lxr").string()}) !=
            0) {
            state.SkipWithError("the editor failed");
            break;
        }
    }
}
BENCHMARK(BM_MergeToLxrWithTheEditor)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(5.0);

struct Planes {
    Imf::Header header;
    std::vector<std::vector<float>> channels;
    Imf::FrameBuffer frameBuffer;
};

void readPlanes(const fs::path& path, Planes& planes) {
    Imf::InputFile file(path.c_str(), Imf::globalThreadCount());
    planes.header = file.header();
    const Imath::Box2i window = planes.header.dataWindow();
    const int width = window.max.x - window.min.x + 1;
    const int height = window.max.y - window.min.y + 1;
    planes.channels.clear();
    planes.frameBuffer = Imf::FrameBuffer();
    for (auto it = planes.header.channels().begin(); it != planes.header.channels().end(); ++it) {
        auto& values = planes.channels.emplace_back(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        char* base = reinterpret_cast<char*>(values.data()) -
                     (static_cast<std::ptrdiff_t>(window.min.y) * width + window.min.x) * 4;
        planes.frameBuffer.insert(it.name(), Imf::Slice(Imf::FLOAT, base, 4, 4 * static_cast<std::size_t>(width)));
    }
    file.setFrameBuffer(planes.frameBuffer);
    file.readPixels(window.min.y, window.max.y);
}

void BM_ReadTwoWriteOneWithBareOpenExr(benchmark::State& state) {
    Imf::setGlobalThreadCount(std::max(2, lumora::utils::getLogicalProcessorCount()));
    const fs::path output = scratch() / "bare.exr";
    for (auto _ : state) {
        Planes first, second;
        readPlanes(inputs().node1, first);
        readPlanes(inputs().node2, second);
        Imf::Header header = first.header;
        header.compression() = Imf::ZIP_COMPRESSION;
        Imf::OutputFile file(output.c_str(), header, Imf::globalThreadCount());
        file.setFrameBuffer(first.frameBuffer);
        const Imath::Box2i window = header.dataWindow();
        file.writePixels(window.max.y - window.min.y + 1);
    }
}
BENCHMARK(BM_ReadTwoWriteOneWithBareOpenExr)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(5.0);

}  // namespace
