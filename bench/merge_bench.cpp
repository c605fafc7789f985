// Merging two 1920 x 1080 render-node images (sample renders with every element, 54 float channels
// each) into one LXR file, against reading both files and writing one with bare OpenEXR calls and
// the same thread count. The merge runs through the console pipeline in this process, and as a
// whole run of the editor executable (process start-up included).
//
// The inputs are made once by lumora-sample-render, found beside this program's build folder
// (<build>/tools/lumora-sample-render) or named by the environment variable LUMORA_SAMPLE_RENDER.

#include <benchmark/benchmark.h>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfThreading.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "lumora/foundation/system.hpp"
#include "lumora/pipeline/cli_pipeline.hpp"
#include "lumora/settings/settings.hpp"

extern char** environ;

namespace {

namespace fs = std::filesystem;

fs::path buildFolder() { return lumora::utils::getExecutableFilePath().parent_path().parent_path(); }

// A folder of this run's own, removed at exit.
struct Scratch {
    fs::path path = fs::temp_directory_path() / ("lumora_merge_bench_" + std::to_string(getpid()));
    Scratch() { fs::create_directories(path); }
    ~Scratch() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

const fs::path& scratch() {
    static const Scratch folder;
    return folder.path;
}

int spawn(std::vector<std::string> arguments) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct Inputs {
    fs::path node1, node2;
};

const Inputs& inputs() {
    static const Inputs made = [] {
        const char* named = std::getenv("LUMORA_SAMPLE_RENDER");
        const std::string renderer = named ? named : (buildFolder() / "tools" / "lumora-sample-render").string();
        Inputs result{scratch() / "node1.lxr", scratch() / "node2.lxr"};
        for (const auto& [path, seed] : {std::pair{result.node1, "1"}, std::pair{result.node2, "2"}}) {
            if (spawn({renderer, "--size", "1920x1080", "--passes", "4", "--seed", seed, path.string()}) != 0) {
                throw std::runtime_error("Cannot run " + renderer);
            }
        }
        return result;
    }();
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
    const std::string editor = (buildFolder() / "lumora-image-editor").string();
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
