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

// Full path of the running executable.
std::filesystem::path getExecutableFilePath();

}  // namespace lumora::utils
