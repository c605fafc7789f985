// Stands in for the CUDA driver library: one device with the configured memory.
#include "fake_gpu.hpp"
#include "lumora/denoise/optix_api.hpp"

using namespace lumora::optix;

namespace {
int deviceContext;  // the address is the fake context
}

extern "C" {

CUresult cuInit(unsigned) {
    FAKE_GPU_ENTER
    return CUDA_SUCCESS;
}

CUresult cuCtxGetCurrent(CUcontext* context) {
    FAKE_GPU_ENTER
    *context = static_cast<CUcontext>(fake_gpu::cudaContext());
    return CUDA_SUCCESS;
}

CUresult cuDeviceGet(CUdevice* device, int ordinal) {
    FAKE_GPU_ENTER
    if (ordinal != 0) return CUDA_ERROR_INVALID_VALUE;
    *device = 0;
    return CUDA_SUCCESS;
}

CUresult cuCtxCreate_v2(CUcontext* context, unsigned, CUdevice device) {
    FAKE_GPU_ENTER
    if (device != 0) return CUDA_ERROR_INVALID_VALUE;
    *context = reinterpret_cast<CUcontext>(&deviceContext);
    fake_gpu::setCudaContext(*context);
    return CUDA_SUCCESS;
}

CUresult cuMemGetInfo_v2(std::size_t* free, std::size_t* total) {
    FAKE_GPU_ENTER
    if (!fake_gpu::cudaContext()) return CUDA_ERROR_INVALID_CONTEXT;
    *total = fake_gpu::config().totalMemory;
    *free = *total / 2;
    return CUDA_SUCCESS;
}

}  // extern "C"
