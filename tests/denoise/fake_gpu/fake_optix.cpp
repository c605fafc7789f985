// Stands in for OptiX 5.1: real host-memory buffers, a "DLDenoiser" stage whose result is
// input + 2 * normal + 4 * albedo (so a test can tell every binding apart), and checks of the
// misuse that the real library would reject (unknown handles' state, double mapping, launching
// with a mapped buffer or an unfinished command list).
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fake_gpu.hpp"
#include "lumora/denoise/optix_api.hpp"

using namespace lumora::optix;

namespace {

constexpr RTresult invalidValue = 0x501;
constexpr RTresult variableNotFound = 0x504;
constexpr RTresult alreadyMapped = 0x605;

struct Buffer {
    int format = 0;
    RTsize width = 0, height = 0;
    std::vector<float> data;
    bool mapped = false;
};

struct Variable {
    std::string name;
    Buffer* buffer = nullptr;
};

struct Stage {
    std::map<std::string, std::unique_ptr<Variable>> variables;
};

struct CommandList {
    Stage* stage = nullptr;
    RTsize width = 0, height = 0;
    bool finalized = false;
};

struct Context {};

template <class Object, class Handle>
Object* object(Handle handle) {
    return reinterpret_cast<Object*>(handle);
}

template <class Handle, class Object>
Handle made(Object* object) {
    fake_gpu::objectMade();
    return reinterpret_cast<Handle>(object);
}

template <class Object, class Handle>
RTresult destroy(Handle handle) {
    if (!handle) return invalidValue;
    delete object<Object>(handle);
    fake_gpu::objectDestroyed();
    return RT_SUCCESS;
}

const Buffer* bound(const Stage& stage, const char* name) {
    const auto it = stage.variables.find(name);
    return it == stage.variables.end() ? nullptr : it->second->buffer;
}

}  // namespace

// The destroy entry points differ only in their handle and object types.
#define FAKE_DESTROY(function, Handle, Object) \
    RTresult function(Handle handle) {         \
        FAKE_GPU_ENTER                         \
        return destroy<Object>(handle);        \
    }

extern "C" {

RTresult rtGetVersion(unsigned* version) {
    FAKE_GPU_ENTER
    *version = fake_gpu::config().version;
    return RT_SUCCESS;
}

void rtContextGetErrorString(RTcontext, RTresult code, const char** text) {
    thread_local std::string held;
    held = fake_gpu::errorText(code);
    *text = held.c_str();
}

RTresult rtContextCreate(RTcontext* context) {
    FAKE_GPU_ENTER
    *context = made<RTcontext>(new Context);
    return RT_SUCCESS;
}

FAKE_DESTROY(rtContextDestroy, RTcontext, Context)

RTresult rtContextSetUsageReportCallback(RTcontext context, RTusagereportcallback callback, int verbosity, void* data) {
    FAKE_GPU_ENTER
    if (!context || verbosity < 0 || verbosity > 3) return invalidValue;
    if (callback) callback(1, "FAKE", "usage report", data);
    return RT_SUCCESS;
}

RTresult rtBufferCreate(RTcontext context, unsigned type, RTbuffer* buffer) {
    FAKE_GPU_ENTER
    if (!context || type != RT_BUFFER_INPUT_OUTPUT) return invalidValue;
    *buffer = made<RTbuffer>(new Buffer);
    return RT_SUCCESS;
}

RTresult rtBufferSetFormat(RTbuffer buffer, int format) {
    FAKE_GPU_ENTER
    object<Buffer>(buffer)->format = format;
    return RT_SUCCESS;
}

RTresult rtBufferSetSize2D(RTbuffer handle, RTsize width, RTsize height) {
    FAKE_GPU_ENTER
    Buffer* buffer = object<Buffer>(handle);
    if (buffer->format != RT_FORMAT_FLOAT4) return invalidValue;
    buffer->width = width;
    buffer->height = height;
    buffer->data.assign(static_cast<std::size_t>(width * height * 4), 0.f);
    return RT_SUCCESS;
}

RTresult rtBufferGetSize2D(RTbuffer handle, RTsize* width, RTsize* height) {
    FAKE_GPU_ENTER
    *width = object<Buffer>(handle)->width;
    *height = object<Buffer>(handle)->height;
    return RT_SUCCESS;
}

RTresult rtBufferMapEx(RTbuffer handle, unsigned, unsigned level, void* userOwned, void** optixOwned) {
    FAKE_GPU_ENTER
    Buffer* buffer = object<Buffer>(handle);
    if (level != 0 || userOwned) return invalidValue;
    if (buffer->mapped) return alreadyMapped;
    buffer->mapped = true;
    *optixOwned = buffer->data.data();
    return RT_SUCCESS;
}

RTresult rtBufferUnmapEx(RTbuffer handle, unsigned level) {
    FAKE_GPU_ENTER
    Buffer* buffer = object<Buffer>(handle);
    if (level != 0 || !buffer->mapped) return invalidValue;
    buffer->mapped = false;
    return RT_SUCCESS;
}

FAKE_DESTROY(rtBufferDestroy, RTbuffer, Buffer)

RTresult rtPostProcessingStageCreateBuiltin(RTcontext context, const char* name, RTpostprocessingstage* handle) {
    FAKE_GPU_ENTER
    if (!context || std::string(name) != "DLDenoiser") return invalidValue;
    auto* stage = new Stage;
    // The real stage declares its main buffers itself; the others are declared by the caller.
    for (const char* declared : {"input_buffer", "output_buffer"}) {
        stage->variables[declared] = std::make_unique<Variable>(Variable{declared});
    }
    *handle = made<RTpostprocessingstage>(stage);
    return RT_SUCCESS;
}

RTresult rtPostProcessingStageQueryVariable(RTpostprocessingstage handle, const char* name, RTvariable* variable) {
    FAKE_GPU_ENTER
    const auto& variables = object<Stage>(handle)->variables;
    const auto it = variables.find(name);
    *variable = it == variables.end() ? nullptr : reinterpret_cast<RTvariable>(it->second.get());
    return RT_SUCCESS;
}

RTresult rtPostProcessingStageDeclareVariable(RTpostprocessingstage handle, const char* name, RTvariable* variable) {
    FAKE_GPU_ENTER
    auto& slot = object<Stage>(handle)->variables[name];
    if (slot) return invalidValue;  // redeclared
    slot = std::make_unique<Variable>(Variable{name});
    *variable = reinterpret_cast<RTvariable>(slot.get());
    return RT_SUCCESS;
}

FAKE_DESTROY(rtPostProcessingStageDestroy, RTpostprocessingstage, Stage)

RTresult rtVariableSetObject(RTvariable variable, RTobject buffer) {
    FAKE_GPU_ENTER
    if (!variable || !buffer) return invalidValue;
    object<Variable>(variable)->buffer = object<Buffer>(buffer);
    return RT_SUCCESS;
}

RTresult rtVariableSet1f(RTvariable variable, float value) {
    FAKE_GPU_ENTER
    if (!variable) return invalidValue;
    if (object<Variable>(variable)->name == "maxmem") fake_gpu::setMaxmem(value);
    return RT_SUCCESS;
}

RTresult rtCommandListCreate(RTcontext context, RTcommandlist* list) {
    FAKE_GPU_ENTER
    if (!context) return invalidValue;
    *list = made<RTcommandlist>(new CommandList);
    return RT_SUCCESS;
}

RTresult rtCommandListAppendPostprocessingStage(RTcommandlist handle, RTpostprocessingstage stage, RTsize width,
                                                RTsize height) {
    FAKE_GPU_ENTER
    CommandList* list = object<CommandList>(handle);
    if (list->finalized || !stage) return invalidValue;
    *list = CommandList{object<Stage>(stage), width, height, false};
    return RT_SUCCESS;
}

RTresult rtCommandListFinalize(RTcommandlist handle) {
    FAKE_GPU_ENTER
    object<CommandList>(handle)->finalized = true;
    return RT_SUCCESS;
}

RTresult rtCommandListExecute(RTcommandlist handle) {
    FAKE_GPU_ENTER
    const CommandList* list = object<CommandList>(handle);
    if (!list->finalized) return invalidValue;
    const Buffer* input = bound(*list->stage, "input_buffer");
    Buffer* output = const_cast<Buffer*>(bound(*list->stage, "output_buffer"));
    const Buffer* normal = bound(*list->stage, "input_normal_buffer");
    const Buffer* albedo = bound(*list->stage, "input_albedo_buffer");
    if (!input || !output) return variableNotFound;
    for (const Buffer* b : {input, static_cast<const Buffer*>(output), normal, albedo}) {
        if (b && (b->mapped || b->width != list->width || b->height != list->height)) return invalidValue;
    }
    for (std::size_t i = 0; i < output->data.size(); ++i) {
        output->data[i] = input->data[i] + (normal ? 2.f * normal->data[i] : 0.f) + (albedo ? 4.f * albedo->data[i] : 0.f);
    }
    return RT_SUCCESS;
}

FAKE_DESTROY(rtCommandListDestroy, RTcommandlist, CommandList)

}  // extern "C"
