#pragma once
// A shared object loaded at run time, and the entry points looked up in it.

#include <expected>
#include <filesystem>
#include <string>

namespace lumora {

// Whether the dynamic loader could find a library of this bare file name: in a folder of
// LD_LIBRARY_PATH, in the loader's cache or in its default folders. A cheap way to learn that a
// library is absent, where the loader itself tries dozens of subfolders per folder; libraries
// reachable only through an executable's RUNPATH or hardware-capability subfolders are not seen.
bool dynamicLibraryFindable(const std::string& fileName);

class DynamicLibrary {
public:
    // Loads the shared object at path; a bare file name is searched for the way the dynamic
    // loader searches for a program's own dependencies. The error is the loader's reason.
    static std::expected<DynamicLibrary, std::string> open(const std::filesystem::path& path);

    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;
    ~DynamicLibrary();

    // The address of an exported entry point, or null when the library has none of that name.
    void* symbol(const char* name) const;

private:
    explicit DynamicLibrary(void* handle) : handle_(handle) {}
    void* handle_ = nullptr;
};

}  // namespace lumora
