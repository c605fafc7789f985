#pragma once
// Expansion of file-name wildcards ("*", "?", "[...]") in input paths.

#include <filesystem>
#include <string>
#include <vector>

namespace lumora::io {

// Every existing path that matches the pattern, sorted; empty when nothing matches.
std::vector<std::filesystem::path> resolvePathWildcards(const std::string& pattern);

}  // namespace lumora::io
