#include "lumora/denoise/optix_api.hpp"

#include <expected>
#include <string>

#include "lumora/foundation/debug_log.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/optix_libraries.hpp"

namespace lumora::optix {

namespace {

template <class F>
bool resolve(const DynamicLibrary& library, const char* name, F*& entry) {
    entry = reinterpret_cast<F*>(library.symbol(name));
    if (!entry) debug::log(std::string("GPU denoiser: entry point ") + name + " not found");
    return entry != nullptr;
}

// Empty when every entry point was found, else the name of the library that lacks one.
std::string resolveAll(const LibrarySet& set, Api& a) {
    const DynamicLibrary& rt = set.loaded[optixLibrary];
    const DynamicLibrary& cu = set.loaded[cudaDriverLibrary];
#define LUMORA_RESOLVE(library, name) resolve(library, #name, a.name)
    const bool optixComplete =
        LUMORA_RESOLVE(rt, rtGetVersion) & LUMORA_RESOLVE(rt, rtContextGetErrorString) &
        LUMORA_RESOLVE(rt, rtContextCreate) & LUMORA_RESOLVE(rt, rtContextDestroy) &
        LUMORA_RESOLVE(rt, rtContextSetUsageReportCallback) & LUMORA_RESOLVE(rt, rtBufferCreate) &
        LUMORA_RESOLVE(rt, rtBufferSetFormat) & LUMORA_RESOLVE(rt, rtBufferSetSize2D) &
        LUMORA_RESOLVE(rt, rtBufferGetSize2D) & LUMORA_RESOLVE(rt, rtBufferMapEx) &
        LUMORA_RESOLVE(rt, rtBufferUnmapEx) & LUMORA_RESOLVE(rt, rtBufferDestroy) &
        LUMORA_RESOLVE(rt, rtPostProcessingStageCreateBuiltin) &
        LUMORA_RESOLVE(rt, rtPostProcessingStageQueryVariable) &
        LUMORA_RESOLVE(rt, rtPostProcessingStageDeclareVariable) &
        LUMORA_RESOLVE(rt, rtPostProcessingStageDestroy) & LUMORA_RESOLVE(rt, rtVariableSetObject) &
        LUMORA_RESOLVE(rt, rtVariableSet1f) & LUMORA_RESOLVE(rt, rtCommandListCreate) &
        LUMORA_RESOLVE(rt, rtCommandListAppendPostprocessingStage) & LUMORA_RESOLVE(rt, rtCommandListFinalize) &
        LUMORA_RESOLVE(rt, rtCommandListExecute) & LUMORA_RESOLVE(rt, rtCommandListDestroy);
    if (!optixComplete) return requiredLibraries[optixLibrary];
    const bool cudaComplete = LUMORA_RESOLVE(cu, cuInit) & LUMORA_RESOLVE(cu, cuCtxGetCurrent) &
                              LUMORA_RESOLVE(cu, cuDeviceGet) & LUMORA_RESOLVE(cu, cuCtxCreate_v2) &
                              LUMORA_RESOLVE(cu, cuMemGetInfo_v2);
#undef LUMORA_RESOLVE
    if (!cudaComplete) return requiredLibraries[cudaDriverLibrary];
    return {};
}

std::expected<Api, std::string> resolveProcessApi() {
    const LibrarySet& set = processLibraries();
    if (!set.complete()) return std::unexpected(set.missing);
    Api a{};
    // A library without the entry points of this version is as good as missing.
    if (std::string lacking = resolveAll(set, a); !lacking.empty()) return std::unexpected(lacking);
    return a;
}

}  // namespace

const Api& api() {
    static const std::expected<Api, std::string> resolved = resolveProcessApi();
    if (!resolved) {
        throw Exception(
            "Unable to load required DLLs. Please follow the provided link for more information and suggestions on how "
            "to fix this issue.\nMissing DLL: " +
            resolved.error());
    }
    return *resolved;
}

}  // namespace lumora::optix
