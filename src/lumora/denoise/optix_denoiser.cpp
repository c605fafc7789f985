#include "lumora/denoise/optix_denoiser.hpp"

#include <array>
#include <cstdio>
#include <cstring>
#include <expected>
#include <type_traits>
#include <utility>

#include "lumora/denoise/optix_api.hpp"
#include "lumora/foundation/debug_log.hpp"
#include "lumora/foundation/exception.hpp"

namespace lumora {

using namespace optix;

namespace {

static_assert(sizeof(Float4) == 4 * sizeof(float) && std::is_trivially_copyable_v<Float4>,
              "pixels are copied to and from buffers of four plain floats");

constexpr unsigned expectedVersion = 50102;

// Buffer roles, by index.
enum BufferRole { inputBuffer = 0, outputBuffer = 1, normalBuffer = 2, albedoBuffer = 3 };
constexpr std::array<const char*, 4> bufferVariables{"input_buffer", "output_buffer", "input_normal_buffer",
                                                     "input_albedo_buffer"};

std::string errorText(RTcontext context, RTresult code) {
    const char* text = nullptr;
    api().rtContextGetErrorString(context, code, &text);
    return text ? text : "Unknown OptiX error";
}

void check(RTcontext context, RTresult code) {
    if (code != RT_SUCCESS) throw Exception(errorText(context, code));
}

std::string versionText(unsigned version) {
    return std::to_string(version / 10000) + "." + std::to_string(version % 10000 / 100) + "." +
           std::to_string(version % 100);
}

// OptiX's usage reports are diagnostics for developers: they go to the debug log.
void usageReport(int level, const char* tag, const char* message, void*) {
    if (!debug::logEnabled()) return;
    debug::log("OptiX [" + std::to_string(level) + "][" + (tag ? tag : "") + "] " + (message ? message : ""));
}
constexpr int usageReportVerbosity = 1;  // errors and the most important notes only

std::string cudaMemoryError(CUresult code) {
    switch (code) {
        case CUDA_ERROR_INVALID_VALUE: return "CUDA error: Invalid value";
        case CUDA_ERROR_NOT_INITIALIZED: return "CUDA error: Not initialized";
        case CUDA_ERROR_DEINITIALIZED: return "CUDA error: Deinitialized";
        case CUDA_ERROR_INVALID_CONTEXT: return "CUDA error: Invalid context";
        default: return "CUDA error: Unknown error";
    }
}

// The GPU memory the stage may use: 80 % of the device's memory, or why it is not known. The
// product is formed in double and rounded once to the float that the stage variable takes.
std::expected<float, std::string> gpuMemoryLimit() {
    const Api& a = api();
    if (a.cuInit(0) != CUDA_SUCCESS) return std::unexpected("Cannot initialize the CUDA driver");
    CUcontext context = nullptr;
    if (a.cuCtxGetCurrent(&context) != CUDA_SUCCESS) return std::unexpected("Cannot obtain CUDA context");
    if (!context) {
        CUdevice device = 0;
        if (a.cuDeviceGet(&device, 0) != CUDA_SUCCESS) return std::unexpected("Cannot obtain the CUDA device");
        if (a.cuCtxCreate_v2(&context, 0, device) != CUDA_SUCCESS) {
            return std::unexpected("Cannot create the CUDA context");
        }
    }
    std::size_t free = 0, total = 0;
    if (const CUresult code = a.cuMemGetInfo_v2(&free, &total); code != CUDA_SUCCESS) {
        return std::unexpected(cudaMemoryError(code));
    }
    return static_cast<float>(0.8 * static_cast<double>(total));
}

// A stage variable of the given name, declared when the stage has none yet.
RTvariable stageVariable(RTcontext context, RTpostprocessingstage stage, const char* name) {
    RTvariable variable = nullptr;
    check(context, api().rtPostProcessingStageQueryVariable(stage, name, &variable));
    if (!variable) check(context, api().rtPostProcessingStageDeclareVariable(stage, name, &variable));
    return variable;
}

// A buffer mapped into host memory for the lifetime of the object.
class MappedBuffer {
public:
    MappedBuffer(RTcontext context, RTbuffer buffer, unsigned flags) : buffer_(buffer) {
        check(context, api().rtBufferMapEx(buffer, flags, 0, nullptr, &data_));
        RTsize width = 0, height = 0;
        if (const RTresult code = api().rtBufferGetSize2D(buffer, &width, &height); code != RT_SUCCESS) {
            throw Exception("Cannot obtain the buffer size.\n " + errorText(context, code));
        }
        width_ = width;
        height_ = height;
    }
    ~MappedBuffer() { api().rtBufferUnmapEx(buffer_, 0); }
    MappedBuffer(const MappedBuffer&) = delete;
    MappedBuffer& operator=(const MappedBuffer&) = delete;

    // Row y of the buffer, four floats a pixel.
    float* row(int y) const { return static_cast<float*>(data_) + 4 * static_cast<std::size_t>(y) * width_; }
    void requireSize(const Bitmap<Float4>& image) const {
        if (width_ != static_cast<RTsize>(image.width()) || height_ != static_cast<RTsize>(image.height())) {
            throw Exception("An image of " + std::to_string(image.width()) + " x " + std::to_string(image.height()) +
                            " pixels does not fit a GPU buffer of " + std::to_string(width_) + " x " +
                            std::to_string(height_) + " pixels.");
        }
    }

private:
    RTbuffer buffer_;
    void* data_ = nullptr;
    RTsize width_ = 0, height_ = 0;
};

// Rows map one to one; each row is one task.
template <class CopyRow>
void copyRows(int height, CopyRow copyRow) {
    scheduler::parallelFor(0, height, 1, [&](std::int64_t begin, std::int64_t end) {
        for (auto y = static_cast<int>(begin); y < end; ++y) copyRow(y);
    });
}

const Bitmap<Float4>& feature(const DenoisingData& data, FeatureType type) {
    const auto it = data.features.find(type);
    if (it == data.features.end() || it->second.mean.empty()) {
        throw Exception(std::string("The \"") + getFeatureElementName(type) + "\" feature is missing.");
    }
    return it->second.mean;
}

}  // namespace

// Destroyed in the order command list, stage, buffers, context, on the standby thread.
struct OptixDenoiser::State {
    RTcontext context = nullptr;
    RTpostprocessingstage stage = nullptr;
    RTcommandlist commandList = nullptr;
    std::array<RTbuffer, 4> buffers{};
    int width = 0;
    int height = 0;

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        const Api& a = api();
        if (commandList) a.rtCommandListDestroy(commandList);
        if (stage) a.rtPostProcessingStageDestroy(stage);
        for (RTbuffer buffer : buffers) {
            if (buffer) a.rtBufferDestroy(buffer);
        }
        if (context) a.rtContextDestroy(context);
    }

    void copyIn(const Bitmap<Float4>& image, BufferRole role) const {
        const MappedBuffer mapped(context, buffers[role], RT_BUFFER_MAP_WRITE_DISCARD);
        mapped.requireSize(image);
        copyRows(image.height(), [&](int y) {
            std::memcpy(mapped.row(y), image.row(y), sizeof(Float4) * static_cast<std::size_t>(image.width()));
        });
    }

    void copyOut(BufferRole role, Bitmap<Float4>& image) const {
        const MappedBuffer mapped(context, buffers[role], RT_BUFFER_MAP_READ);
        mapped.requireSize(image);
        copyRows(image.height(), [&](int y) {
            std::memcpy(static_cast<void*>(image.row(y)), mapped.row(y), sizeof(Float4) * static_cast<std::size_t>(image.width()));
        });
    }
};

OptixDenoiser::OptixDenoiser(std::shared_ptr<Logger> logger, DenoisingData data) : logger_(std::move(logger)) {
    api();  // the library check, once per process
    initialized_ = standby_.submit([this, data = std::move(data)]() mutable { initialize(data); });
}

OptixDenoiser::~OptixDenoiser() {
    // The OptiX objects go on the thread that made them, after any job still queued.
    standby_.submit([this] { state_.reset(); }).wait();
}

void OptixDenoiser::logError(const std::string& text) const {
    if (logger_) logger_->error(text);
}

void OptixDenoiser::reportInternalError(const std::string& details) const {
    logError("Internal error in NVIDIA AI Denoiser. Please report this to Lumora support with this info:\n\n" +
             details);
    unsigned version = 0;
    const std::string running =
        api().rtGetVersion(&version) == RT_SUCCESS ? versionText(version) : "Cannot obtain optix version";
    const std::string expected = versionText(expectedVersion);
    if (running != expected) {
        // The console has no message boxes: the user reads this on standard error.
        const std::string text =
            "Version mismatch detected in NVIDIA AI Denoiser, most likely caused by other render engine loading "
            "different OptiX DLLs. Please report this to Lumora support.\n\nRunning version: " +
            running + ", expected version: " + expected + "\n";
        std::fputs(text.c_str(), stderr);
    }
}

void OptixDenoiser::initialize(DenoisingData& data) {
    const Api& a = api();
    try {
        auto state = std::make_unique<State>();
        const Bitmap<Float4>& albedo = feature(data, FeatureType::VisibleDiffuse);
        const Bitmap<Float4>& normals = feature(data, FeatureType::OptixNormals);
        state->width = albedo.width();
        state->height = albedo.height();
        const auto width = static_cast<RTsize>(state->width);
        const auto height = static_cast<RTsize>(state->height);

        check(nullptr, a.rtContextCreate(&state->context));
        const RTcontext context = state->context;
        if (const RTresult code =
                a.rtContextSetUsageReportCallback(context, usageReport, usageReportVerbosity, nullptr);
            code != RT_SUCCESS) {
            throw Exception("Cannot set report callback: \n" + errorText(context, code));
        }
        check(context, a.rtPostProcessingStageCreateBuiltin(context, "DLDenoiser", &state->stage));
        for (std::size_t role = 0; role < state->buffers.size(); ++role) {
            RTbuffer& buffer = state->buffers[role];
            check(context, a.rtBufferCreate(context, RT_BUFFER_INPUT_OUTPUT, &buffer));
            check(context, a.rtBufferSetFormat(buffer, RT_FORMAT_FLOAT4));
            check(context, a.rtBufferSetSize2D(buffer, width, height));
            check(context, a.rtVariableSetObject(stageVariable(context, state->stage, bufferVariables[role]), buffer));
        }
        check(context, a.rtCommandListCreate(context, &state->commandList));
        check(context, a.rtCommandListAppendPostprocessingStage(state->commandList, state->stage, width, height));
        check(context, a.rtCommandListFinalize(state->commandList));

        state->copyIn(albedo, albedoBuffer);
        state->copyIn(normals, normalBuffer);
        state_ = std::move(state);
    } catch (const std::exception& e) {
        reportInternalError(std::string("Failed to initialize the denoiser.\n") + e.what());
        logError(std::string("Failed to initialize NVIDIA AI denoiser: ") + e.what());
    }
}

Bitmap<Float4> OptixDenoiser::denoiseOnGpu(const Bitmap<Float4>& image) {
    const Api& a = api();
    const State& s = *state_;
    Bitmap<Float4> output(s.width, s.height);
    try {
        s.copyIn(image, inputBuffer);
        const auto limit = gpuMemoryLimit();
        if (limit) {
            check(s.context, a.rtVariableSet1f(stageVariable(s.context, s.stage, "maxmem"), *limit));
        } else {
            reportInternalError("Error encountered during denoising.\n" + limit.error());
        }
        check(s.context, a.rtCommandListExecute(s.commandList));
        s.copyOut(outputBuffer, output);
    } catch (const std::exception& e) {
        reportInternalError(std::string("Error encountered during denoising.\n") + e.what());
    }
    return output;
}

std::optional<Bitmap<Float4>> OptixDenoiser::denoise(Bitmap<Float4> image, Bitmap<Float4>, ElementId,
                                                     DenoiseProgress) {
    if (initialized_.valid()) initialized_.get();
    if (!state_) return std::nullopt;
    if (image.width() != state_->width || image.height() != state_->height) {
        throw Exception("The NVIDIA AI denoiser cannot denoise an image of " + std::to_string(image.width()) + " x " +
                        std::to_string(image.height()) + " pixels: its auxiliary denoising data have " +
                        std::to_string(state_->width) + " x " + std::to_string(state_->height) + " pixels.");
    }
    Bitmap<Float4> output;
    standby_.run([&] { output = denoiseOnGpu(image); });
    return output;
}

}  // namespace lumora
