#pragma once
// One render element of an image as the pipeline sees it: name, channel layout and flags.

#include <cstdint>
#include <string>

namespace lumora {

enum class ElementLayout : std::int32_t { Rgb = 0, Rgba = 1, Mono = 2, Invalid = 3 };

// Bits of ElementInfo::flags.
namespace ElementFlag {
inline constexpr std::uint32_t Virtual = 1u << 0;            // computed on demand
inline constexpr std::uint32_t Hidden = 1u << 1;
inline constexpr std::uint32_t LightSelect = 1u << 2;        // a LightMix layer
inline constexpr std::uint32_t DenoisingData = 1u << 3;      // squared companion stored
inline constexpr std::uint32_t ToBeDenoised = 1u << 4;
inline constexpr std::uint32_t DenoisedMark = 1u << 5;       // a denoised variant is stored
inline constexpr std::uint32_t RawData = 1u << 6;            // not colour-mapped
inline constexpr std::uint32_t NoBloom = 1u << 7;
inline constexpr std::uint32_t NoGlare = 1u << 8;
inline constexpr std::uint32_t NoSharpenBlur = 1u << 9;
}  // namespace ElementFlag

struct ElementInfo {
    std::string name;  // empty for the beauty, "A" for its alpha
    ElementLayout layout = ElementLayout::Invalid;
    std::uint32_t flags = 0;

    bool has(std::uint32_t flag) const { return (flags & flag) != 0; }
    bool operator==(const ElementInfo&) const = default;
};

}  // namespace lumora
