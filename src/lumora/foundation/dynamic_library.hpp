#pragma once
// A shared object loaded at run time, and the entry points looked up in it.

#include <expected>
#include <filesystem>
#include <string>

namespace lumora {

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
