#pragma once
// 64-bit FNV-1a over a byte range. Hashes stored in files are only comparable between builds
// that use this same function, so it must never change.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace lumora::utils {

std::uint64_t hash(std::span<const std::byte> bytes);
std::uint64_t hash(const void* data, std::size_t size);

}  // namespace lumora::utils
