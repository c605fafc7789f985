#include "lumora/foundation/dynamic_library.hpp"

#include <dlfcn.h>

#include <utility>

namespace lumora {

std::expected<DynamicLibrary, std::string> DynamicLibrary::open(const std::filesystem::path& path) {
    // Lazy binding: a library that is only checked for presence costs no symbol resolution.
    void* handle = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (!handle) {
        const char* reason = ::dlerror();
        return std::unexpected(std::string(reason ? reason : "cannot be loaded"));
    }
    return DynamicLibrary(handle);
}

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    if (this != &other) {
        if (handle_) ::dlclose(handle_);
        handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
}

DynamicLibrary::~DynamicLibrary() {
    if (handle_) ::dlclose(handle_);
}

void* DynamicLibrary::symbol(const char* name) const { return handle_ ? ::dlsym(handle_, name) : nullptr; }

}  // namespace lumora
