#pragma once
// Queries about the machine and the process, and the secure random source.

#include <cstddef>
#include <filesystem>

namespace lumora::utils {

// Number of logical processors (at least 1).
int getLogicalProcessorCount();

// This is a release build: development-only defaults never apply.
constexpr bool isDevelopmentEnviro() { return false; }

// Fills the buffer from the operating system's secure random source; throws Exception when it
// cannot.
void secureRandom(void* buffer, std::size_t size);

// Makes freed memory stay with the process for the next allocation instead of going back to the
// system. The editor allocates and frees many images of the same size one after the other; handed
// back and requested anew, every page of each would be faulted in and zeroed again by the kernel.
// The process keeps its peak size until it exits. Call once at start-up, before any thread runs.
void keepFreedMemoryForReuse();

// Memory for pixel arrays, released with freePixels. The 2 MiB pages inside a block are marked for
// the processor's large pages where the system offers them, so that a full-size image costs a few
// dozen page faults and address-translation entries instead of thousands (the window filters read
// a dozen rows at once). Throws std::bad_alloc when there is no memory.
void* allocatePixels(std::size_t bytes);
void freePixels(void* pixels) noexcept;

// Full path of the running executable.
std::filesystem::path getExecutableFilePath();

}  // namespace lumora::utils
