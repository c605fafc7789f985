#include "lumora/foundation/dynamic_library.hpp"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <utility>

namespace lumora {

namespace {

bool fileExists(std::string_view folder, const std::string& fileName) {
    const std::string path = std::string(folder.empty() ? "." : folder) + "/" + fileName;
    return ::access(path.c_str(), F_OK) == 0;
}

// The cache that ldconfig writes holds the full path of every library it lists.
bool inLoaderCache(const std::string& fileName) {
    std::ifstream in("/etc/ld.so.cache", std::ios::binary | std::ios::ate);
    if (!in) return false;
    std::string cache(static_cast<std::size_t>(std::max<std::streamoff>(in.tellg(), 0)), '\0');
    in.seekg(0);
    in.read(cache.data(), static_cast<std::streamsize>(cache.size()));
    cache.resize(static_cast<std::size_t>(in.gcount()));
    const std::string entry = "/" + fileName + '\0';
    return cache.find(entry) != std::string::npos;
}

}  // namespace

bool dynamicLibraryFindable(const std::string& fileName) {
    if (const char* paths = std::getenv("LD_LIBRARY_PATH")) {
        std::string_view rest(paths);
        while (true) {
            const auto end = rest.find_first_of(":;");
            if (fileExists(rest.substr(0, end), fileName)) return true;
            if (end == std::string_view::npos) break;
            rest.remove_prefix(end + 1);
        }
    }
    if (inLoaderCache(fileName)) return true;
    for (const char* folder : {"/lib/x86_64-linux-gnu", "/usr/lib/x86_64-linux-gnu", "/lib64", "/usr/lib64", "/lib",
                               "/usr/lib"}) {
        if (fileExists(folder, fileName)) return true;
    }
    return false;
}

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
