// Stands in for a vendor library that the GPU denoiser only needs to be loadable (cuDNN, the CUDA
// runtime, the OptiX denoiser).
extern "C" int fakeVendorLibrary() { return 1; }
