#include "lumora/foundation/optix_libraries.hpp"

#include <cstdlib>

namespace lumora::optix {

std::filesystem::path dataPath() {
    const char* path = std::getenv("LUMORA_OPTIX_PATH");
    return path ? std::filesystem::path(path) : std::filesystem::path();
}

LibrarySet loadLibraries(const std::filesystem::path& folder) {
    LibrarySet set;
    for (const char* name : requiredLibraries) {
        auto library = DynamicLibrary::open(folder.empty() ? std::filesystem::path(name) : folder / name);
        if (!library) {
            set.missing = name;
            break;
        }
        set.loaded.push_back(std::move(*library));
    }
    return set;
}

const LibrarySet& processLibraries() {
    // Never destroyed: the libraries stay loaded until the process ends.
    static const LibrarySet* const libraries = new LibrarySet(loadLibraries(dataPath()));
    return *libraries;
}

}  // namespace lumora::optix
