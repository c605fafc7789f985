#include "lumora/foundation/wildcards.hpp"

#include <glob.h>

#include <algorithm>

namespace lumora::io {

std::vector<std::filesystem::path> resolvePathWildcards(const std::string& pattern) {
    std::vector<std::filesystem::path> result;
    if (pattern.empty()) return result;
    glob_t matches{};
    if (::glob(pattern.c_str(), 0, nullptr, &matches) == 0) {
        for (size_t i = 0; i < matches.gl_pathc; ++i) result.emplace_back(matches.gl_pathv[i]);
    }
    ::globfree(&matches);
    std::sort(result.begin(), result.end());
    return result;
}

}  // namespace lumora::io
