#pragma once
// The vendor libraries of the GPU AI denoiser (OptiX, its denoiser, cuDNN, the CUDA runtime and
// the CUDA driver) and the one check per process that they can be loaded. The check only loads
// them: it never starts the driver or creates a GPU context, so it is cheap enough to answer at
// every start whether the AI denoiser can run here.

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "lumora/foundation/dynamic_library.hpp"

namespace lumora::optix {

// In the order they are checked; the index names the library in LibrarySet::loaded.
inline constexpr std::array<const char*, 5> requiredLibraries{
    "liboptix.so.51", "libcudnn.so.7", "libcudart.so.9.0", "liboptix_denoiser.so.51", "libcuda.so.1"};
inline constexpr std::size_t optixLibrary = 0;
inline constexpr std::size_t cudaDriverLibrary = 4;

// The folder the libraries are loaded from: the environment variable LUMORA_OPTIX_PATH, or empty
// (the dynamic loader's search path) when it is unset or empty.
std::filesystem::path dataPath();

struct LibrarySet {
    std::vector<DynamicLibrary> loaded;  // the required libraries up to the first missing one
    std::string missing;                 // the name of the first one that could not be loaded

    bool complete() const { return missing.empty(); }
};

// Loads the required libraries from folder (empty: the loader's search path) in order, stopping
// at the first that cannot be loaded.
LibrarySet loadLibraries(const std::filesystem::path& folder);

// The libraries of this process: loaded from dataPath() on the first call, kept loaded until the
// process ends (a GPU driver must not be unloaded under its own threads).
const LibrarySet& processLibraries();

}  // namespace lumora::optix
