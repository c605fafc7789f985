#include "lumora/foundation/hash.hpp"

namespace lumora::utils {

std::uint64_t hash(const void* data, std::size_t size) {
    std::uint64_t h = 0xcbf29ce484222325ULL;
    const auto* p = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        h ^= p[i];
        h *= 0x100000001b3ULL;
    }
    return h;
}

std::uint64_t hash(std::span<const std::byte> bytes) { return hash(bytes.data(), bytes.size()); }

}  // namespace lumora::utils
