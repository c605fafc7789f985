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
        // On the search path, an absent library is told cheaply before the loader searches.
        auto library = folder.empty() ? (dynamicLibraryFindable(name) ? DynamicLibrary::open(name)
                                                                      : std::unexpected(std::string("not found")))
                                      : DynamicLibrary::open(folder / name);
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
