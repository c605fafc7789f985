// Reading and writing a 1920 x 1080 render of 40 float channels (ZIP), against bare OpenEXR
// reading into and writing from plain float buffers with the same thread count, and the peak
// memory of one load against the image's float bytes.
//
// The peak is measured twice: heap bytes live at once through operator new (this process), and
// the resident-set high-water mark of a fresh child process that only loads the file.

#include <benchmark/benchmark.h>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfThreading.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "lumora/foundation/system.hpp"
#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_saver.hpp"

// ---- heap accounting ----

namespace {
std::atomic<std::int64_t> liveBytes{0};
std::atomic<std::int64_t> peakBytes{0};

void* counted(void* p) {
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    const auto now = liveBytes.fetch_add(static_cast<std::int64_t>(malloc_usable_size(p))) +
                     static_cast<std::int64_t>(malloc_usable_size(p));
    auto peak = peakBytes.load();
    while (now > peak && !peakBytes.compare_exchange_weak(peak, now)) {
    }
    return p;
}

void uncounted(void* p) {
    if (p != nullptr) {
        liveBytes.fetch_sub(static_cast<std::int64_t>(malloc_usable_size(p)));
        std::free(p);
    }
}
}  // namespace

void* operator new(std::size_t n) { return counted(std::malloc(n)); }
void* operator new[](std::size_t n) { return counted(std::malloc(n)); }
void* operator new(std::size_t n, std::align_val_t a) {
    return counted(std::aligned_alloc(static_cast<std::size_t>(a), (n + static_cast<std::size_t>(a) - 1) &
                                                                       ~(static_cast<std::size_t>(a) - 1)));
}
void* operator new[](std::size_t n, std::align_val_t a) { return operator new(n, a); }
void operator delete(void* p) noexcept { uncounted(p); }
void operator delete[](void* p) noexcept { uncounted(p); }
void operator delete(void* p, std::size_t) noexcept { uncounted(p); }
void operator delete[](void* p, std::size_t) noexcept { uncounted(p); }
void operator delete(void* p, std::align_val_t) noexcept { uncounted(p); }
void operator delete[](void* p, std::align_val_t) noexcept { uncounted(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { uncounted(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { uncounted(p); }

namespace {

namespace fs = std::filesystem;
using lumora::ChannelImage;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kChannels = 40;
constexpr double kFloatBytes = 4.0 * kWidth * kHeight * kChannels;

fs::path benchFolder() {
    const char* tmp = std::getenv("TMPDIR");
    fs::path folder = fs::path(tmp ? tmp : "/tmp") / ("lumora_exr_io_bench_" + std::to_string(::getpid()));
    fs::create_directories(folder);
    return folder;
}

const fs::path& folder() {
    static const fs::path path = benchFolder();
    return path;
}

std::vector<std::string> channelNames() {
    std::vector<std::string> names{"R", "G", "B", "A"};
    for (int element = 0; names.size() < kChannels; ++element) {
        for (const char* component : {".R", ".G", ".B"}) {
            if (names.size() < kChannels) {
                names.push_back("Light" + std::to_string(element) + component);
            }
        }
    }
    return names;
}

// Smooth shading with a little per-pixel noise, so that ZIP compresses about as well as on renders.
float renderLike(int c, int x, int y) {
    std::uint32_t h = static_cast<std::uint32_t>(x) * 73856093u ^ static_cast<std::uint32_t>(y) * 19349663u ^
                      static_cast<std::uint32_t>(c) * 83492791u;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    const float noise = static_cast<float>(h & 0xFFFF) / 65535.f - 0.5f;
    return 0.5f + 0.4f * std::sin(0.004f * static_cast<float>(x) + static_cast<float>(c)) *
                      std::cos(0.006f * static_cast<float>(y)) +
           0.02f * noise;
}

const ChannelImage& image() {
    static const ChannelImage result = [] {
        ChannelImage made;
        const lumora::Bucket window{{0, 0}, {kWidth, kHeight}};
        made.setAttribute(lumora::names::displayWindow, window);
        made.setAttribute(lumora::names::dataWindow, window);
        made.setAttribute(lumora::names::gamma, 1.f);
        const auto names = channelNames();
        for (int c = 0; c < kChannels; ++c) {
            auto channel = std::make_unique<lumora::Channel<float>>(names[c], kWidth, kHeight);
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) channel->at(x, y) = renderLike(c, x, y);
            }
            made.addChannel(std::move(channel));
        }
        return made;
    }();
    return result;
}

const fs::path& inputFile() {
    static const fs::path path = [] {
        fs::path p = folder() / "input.exr";
        if (!lumora::ExrSaver().save(image(), p)) {
            std::fprintf(stderr, "cannot write %s\n", p.c_str());
            std::exit(1);
        }
        return p;
    }();
    return path;
}

int threadCount() { return std::max(2, lumora::utils::getLogicalProcessorCount()); }

// CPU time of all threads of the process, in milliseconds: on a busy machine a steadier measure
// of the work done than the wall-clock time.
double processCpuMs() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return 1e3 * static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           1e-3 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// Reports the process CPU time per iteration since `startMs`.
void reportProcessCpu(benchmark::State& state, double startMs) {
    state.counters["process_cpu_ms"] = (processCpuMs() - startMs) / static_cast<double>(state.iterations());
}

Imath::Box2i fullWindow() { return {{0, 0}, {kWidth - 1, kHeight - 1}}; }

void BM_ReadLumora(benchmark::State& state) {
    const fs::path& path = inputFile();
    const double cpuStart = processCpuMs();
    for (auto _ : state) {
        auto loaded = lumora::ExrLoader(true).load(path);
        if (!loaded) {
            state.SkipWithError(loaded.error().c_str());
            return;
        }
        benchmark::DoNotOptimize(loaded->channels().size());
    }
    reportProcessCpu(state, cpuStart);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kFloatBytes));
}
BENCHMARK(BM_ReadLumora)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

void BM_ReadBareOpenExr(benchmark::State& state) {
    const fs::path& path = inputFile();
    Imf::setGlobalThreadCount(threadCount());
    const double cpuStart = processCpuMs();
    for (auto _ : state) {
        Imf::InputFile file(path.c_str(), Imf::globalThreadCount());
        std::vector<std::vector<float>> planes;
        Imf::FrameBuffer frameBuffer;
        for (auto it = file.header().channels().begin(); it != file.header().channels().end(); ++it) {
            auto& plane = planes.emplace_back(static_cast<std::size_t>(kWidth) * kHeight);
            frameBuffer.insert(it.name(), Imf::Slice::Make(Imf::FLOAT, plane.data(), fullWindow(), 4, 4 * kWidth));
        }
        file.setFrameBuffer(frameBuffer);
        file.readPixels(0, kHeight - 1);
        benchmark::DoNotOptimize(planes.data());
    }
    reportProcessCpu(state, cpuStart);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kFloatBytes));
}
BENCHMARK(BM_ReadBareOpenExr)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

void BM_WriteLumora(benchmark::State& state) {
    const ChannelImage& source = image();
    const fs::path path = folder() / "lumora.exr";
    const double cpuStart = processCpuMs();
    for (auto _ : state) {
        auto saved = lumora::ExrSaver(true).save(source, path);
        if (!saved) {
            state.SkipWithError(saved.error().c_str());
            return;
        }
    }
    reportProcessCpu(state, cpuStart);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kFloatBytes));
}
BENCHMARK(BM_WriteLumora)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

void BM_WriteBareOpenExr(benchmark::State& state) {
    const ChannelImage& source = image();
    const fs::path path = folder() / "bare.exr";
    Imf::setGlobalThreadCount(threadCount());
    const double cpuStart = processCpuMs();
    for (auto _ : state) {
        Imf::Header header(fullWindow(), fullWindow(), 1.f, Imath::V2f(0.f, 0.f), 1.f, Imf::INCREASING_Y,
                           Imf::ZIP_COMPRESSION);
        Imf::FrameBuffer frameBuffer;
        for (const auto& [name, channel] : source.channels()) {
            header.channels().insert(name, Imf::Channel(Imf::FLOAT));
            const auto& values = static_cast<const lumora::Channel<float>&>(*channel).data;
            frameBuffer.insert(name, Imf::Slice::Make(Imf::FLOAT, values.data(), fullWindow(), 4, 4 * kWidth));
        }
        Imf::OutputFile file(path.c_str(), header, Imf::globalThreadCount());
        file.setFrameBuffer(frameBuffer);
        file.writePixels(kHeight);
    }
    reportProcessCpu(state, cpuStart);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kFloatBytes));
}
BENCHMARK(BM_WriteBareOpenExr)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

// Heap bytes live at once during a load, beyond those live before it.
void BM_LoadPeakHeap(benchmark::State& state) {
    const fs::path& path = inputFile();
    double peak = 0;
    for (auto _ : state) {
        const std::int64_t before = liveBytes.load();
        peakBytes.store(before);
        {
            auto loaded = lumora::ExrLoader(true).load(path);
            benchmark::DoNotOptimize(loaded.has_value());
            peak = static_cast<double>(peakBytes.load() - before);
        }
    }
    state.counters["peak_MiB"] = peak / (1 << 20);
    state.counters["float_MiB"] = kFloatBytes / (1 << 20);
    state.counters["peak_per_float_byte"] = peak / kFloatBytes;
}
BENCHMARK(BM_LoadPeakHeap)->Unit(benchmark::kMillisecond)->Iterations(3);

std::int64_t statusKiB(const char* field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(field, 0) == 0) return std::atoll(line.c_str() + std::strlen(field));
    }
    return -1;
}

// A fresh process (the bench program itself, re-run with --load-peak-child) loads the file once
// and reports how far its resident set rose above where it stood before the load.
void BM_LoadPeakResident(benchmark::State& state) {
    const fs::path& path = inputFile();
    const fs::path report = folder() / "peak.txt";
    double peak = 0;
    for (auto _ : state) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::execl("/proc/self/exe", "exr_io_bench", "--load-peak-child", path.c_str(), report.c_str(), nullptr);
            ::_exit(127);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        std::ifstream in(report);
        if (!(in >> peak) || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            state.SkipWithError("the measuring child failed");
            return;
        }
    }
    state.counters["peak_MiB"] = peak / (1 << 20);
    state.counters["float_MiB"] = kFloatBytes / (1 << 20);
    state.counters["peak_per_float_byte"] = peak / kFloatBytes;
}
BENCHMARK(BM_LoadPeakResident)->Unit(benchmark::kMillisecond)->Iterations(1);

int loadPeakChild(const char* path, const char* report) {
    // Resets the high-water mark to the current resident set (Linux 4.0 and later).
    std::ofstream("/proc/self/clear_refs") << "5";
    const std::int64_t before = statusKiB("VmHWM:");
    auto loaded = lumora::ExrLoader(true).load(path);
    const std::int64_t after = statusKiB("VmHWM:");
    if (!loaded || before < 0 || after < 0) return 1;
    std::ofstream(report) << static_cast<double>(after - before) * 1024.0;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--load-peak-child") == 0) {
        return loadPeakChild(argv[2], argv[3]);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    fs::remove_all(folder(), ignored);
    return 0;
}
