#pragma once
// The C entry points of OptiX 5.1 and of the CUDA driver that the GPU denoiser calls, declared
// here with their published signatures and result codes, so that no vendor header is needed to
// build. The entry points are looked up in the libraries loaded at run time.
//
// Conventions: every OptiX call returns an RTresult and every CUDA call a CUresult; 0 is success.
// Handles are opaque pointers owned by the vendor library.

#include <cstddef>

namespace lumora::optix {

using RTresult = int;  // an enumeration of int size in the vendor header
inline constexpr RTresult RT_SUCCESS = 0;

using RTcontext = struct RTcontext_api*;
using RTbuffer = struct RTbuffer_api*;
using RTvariable = struct RTvariable_api*;
using RTpostprocessingstage = struct RTpostprocessingstage_api*;
using RTcommandlist = struct RTcommandlist_api*;
using RTobject = void*;
using RTsize = unsigned long long;
using RTusagereportcallback = void (*)(int level, const char* tag, const char* message, void* data);

inline constexpr unsigned RT_BUFFER_INPUT_OUTPUT = 0x3;  // RT_BUFFER_INPUT | RT_BUFFER_OUTPUT
inline constexpr int RT_FORMAT_FLOAT4 = 0x104;
inline constexpr unsigned RT_BUFFER_MAP_READ = 0x1;
inline constexpr unsigned RT_BUFFER_MAP_WRITE_DISCARD = 0x8;

using CUresult = int;
inline constexpr CUresult CUDA_SUCCESS = 0;
inline constexpr CUresult CUDA_ERROR_INVALID_VALUE = 1;
inline constexpr CUresult CUDA_ERROR_NOT_INITIALIZED = 3;
inline constexpr CUresult CUDA_ERROR_DEINITIALIZED = 4;
inline constexpr CUresult CUDA_ERROR_INVALID_CONTEXT = 201;

using CUcontext = struct CUctx_st*;
using CUdevice = int;

struct Api {
    // liboptix
    RTresult (*rtGetVersion)(unsigned* version);
    void (*rtContextGetErrorString)(RTcontext context, RTresult code, const char** text);
    RTresult (*rtContextCreate)(RTcontext* context);
    RTresult (*rtContextDestroy)(RTcontext context);
    RTresult (*rtContextSetUsageReportCallback)(RTcontext context, RTusagereportcallback callback, int verbosity,
                                                void* data);
    RTresult (*rtBufferCreate)(RTcontext context, unsigned type, RTbuffer* buffer);
    RTresult (*rtBufferSetFormat)(RTbuffer buffer, int format);
    RTresult (*rtBufferSetSize2D)(RTbuffer buffer, RTsize width, RTsize height);
    RTresult (*rtBufferGetSize2D)(RTbuffer buffer, RTsize* width, RTsize* height);
    RTresult (*rtBufferMapEx)(RTbuffer buffer, unsigned flags, unsigned level, void* userOwned, void** optixOwned);
    RTresult (*rtBufferUnmapEx)(RTbuffer buffer, unsigned level);
    RTresult (*rtBufferDestroy)(RTbuffer buffer);
    RTresult (*rtPostProcessingStageCreateBuiltin)(RTcontext context, const char* name, RTpostprocessingstage* stage);
    RTresult (*rtPostProcessingStageQueryVariable)(RTpostprocessingstage stage, const char* name, RTvariable* variable);
    RTresult (*rtPostProcessingStageDeclareVariable)(RTpostprocessingstage stage, const char* name,
                                                     RTvariable* variable);
    RTresult (*rtPostProcessingStageDestroy)(RTpostprocessingstage stage);
    RTresult (*rtVariableSetObject)(RTvariable variable, RTobject object);
    RTresult (*rtVariableSet1f)(RTvariable variable, float value);
    RTresult (*rtCommandListCreate)(RTcontext context, RTcommandlist* list);
    RTresult (*rtCommandListAppendPostprocessingStage)(RTcommandlist list, RTpostprocessingstage stage,
                                                       RTsize width, RTsize height);
    RTresult (*rtCommandListFinalize)(RTcommandlist list);
    RTresult (*rtCommandListExecute)(RTcommandlist list);
    RTresult (*rtCommandListDestroy)(RTcommandlist list);

    // libcuda
    CUresult (*cuInit)(unsigned flags);
    CUresult (*cuCtxGetCurrent)(CUcontext* context);
    CUresult (*cuDeviceGet)(CUdevice* device, int ordinal);
    CUresult (*cuCtxCreate_v2)(CUcontext* context, unsigned flags, CUdevice device);
    CUresult (*cuMemGetInfo_v2)(std::size_t* free, std::size_t* total);
};

// The entry points of this process's libraries, resolved once. Throws Exception with the
// missing-library message when a required library cannot be loaded or lacks an entry point.
const Api& api();

}  // namespace lumora::optix
