#pragma once
// The renderer-side identity of a render element, stored beside the pixels in the LXR attribute
// "lumora.elements": a name, a flag set and a type from one of three enumerations.
//
// Conversions never throw: they return the value or the error text. deserialize throws.

#include <cstdint>
#include <expected>
#include <string>
#include <utility>
#include <vector>

namespace lumora {

enum class RenderElement : std::int32_t { Beauty = -1, Alpha = -2 };

enum class RenderElementType : std::int32_t {
    StandaloneAlpha = 1000,
    SourceColor,
    Components,
    Shadows,
    Albedo,
    RawComponent,
    LightSelect,
    Normals,
    NormalsDotProduct,
    NormalsDiscrepancy,
    NormalMap,
    PrimitiveCoords,
    MapCoords,
    Velocity,
    ZDepth,
    WorldPosition,
    Id,
    Texmap,  // 1017
    VirtualBeauty = 2000,
    RenderStamp,
    SamplingFocus,
    BloomGlare,
    LightMix,  // 2004
};

enum class PrivateRenderElementType : std::int32_t {
    VisibleDiffuse = 3000,
    VisibleNormals,
    Hybrid,
    HairIds,
    OptixNormals,
    DenoisingSquaredBeauty,  // 3005
};

enum class RenderElementFlag : std::uint32_t {
    ColorMapped = 1,
    Virtual = 2,
    Antialiased = 4,
    Denoised = 8,
    BloomEffect = 16,
    GlareEffect = 32,
};
// A combination of RenderElementFlag bits.
using RenderElementFlags = std::uint32_t;

// Which of the three enumerations a type value belongs to, and the value.
struct RenderElementTypeVariant {
    enum class Tag : std::uint8_t { RenderElement = 0, RenderElementType = 1, PrivateRenderElementType = 2 };

    Tag tag = Tag::RenderElement;
    std::int32_t value = static_cast<std::int32_t>(RenderElement::Beauty);

    RenderElementTypeVariant() = default;
    RenderElementTypeVariant(RenderElement e) : tag(Tag::RenderElement), value(static_cast<std::int32_t>(e)) {}
    RenderElementTypeVariant(RenderElementType t) : tag(Tag::RenderElementType), value(static_cast<std::int32_t>(t)) {}
    RenderElementTypeVariant(PrivateRenderElementType p)
        : tag(Tag::PrivateRenderElementType), value(static_cast<std::int32_t>(p)) {}

    bool is(RenderElementType t) const { return tag == Tag::RenderElementType && value == static_cast<std::int32_t>(t); }
    bool is(RenderElement e) const { return tag == Tag::RenderElement && value == static_cast<std::int32_t>(e); }
    bool is(PrivateRenderElementType p) const {
        return tag == Tag::PrivateRenderElementType && value == static_cast<std::int32_t>(p);
    }
    bool operator==(const RenderElementTypeVariant&) const = default;
};

class RenderElementInfo {
public:
    RenderElementInfo() = default;
    RenderElementInfo(std::string name, RenderElementTypeVariant type, RenderElementFlags flags = 0)
        : name(std::move(name)), flags(flags), type(type) {}
    virtual ~RenderElementInfo() = default;
    RenderElementInfo(const RenderElementInfo&) = default;
    RenderElementInfo& operator=(const RenderElementInfo&) = default;

    bool hasFlag(RenderElementFlag f) const { return (flags & static_cast<std::uint32_t>(f)) != 0; }
    bool operator==(const RenderElementInfo& o) const {
        return name == o.name && flags == o.flags && type == o.type;
    }

    std::string name;
    RenderElementFlags flags = 0;
    RenderElementTypeVariant type;
};

std::string toStr(RenderElementType value);
std::string toStr(RenderElement value);
std::string toStr(PrivateRenderElementType value);
std::string toStr(const RenderElementTypeVariant& value);
std::string renderElementFlagsToStr(RenderElementFlags flags);  // names joined by "+"

std::expected<RenderElementType, std::string> toRenderElementType(const std::string& name);
std::expected<RenderElement, std::string> toRenderElement(const std::string& name);
std::expected<PrivateRenderElementType, std::string> toPrivateRenderElementType(const std::string& name);
std::expected<RenderElementTypeVariant, std::string> toRenderElementTypeVariant(const std::string& name);
std::expected<RenderElementFlags, std::string> toRenderElementFlags(const std::string& text);

// "name|type|flags".
std::string serialize(const RenderElementInfo& info);
// Throws Exception with the error text of a malformed record.
RenderElementInfo deserialize(const std::string& text);
// deserialize for readers of a whole list: the error names the record,
// "Serialized render element info \"<record>\" is not valid. <reason>".
std::expected<RenderElementInfo, std::string> deserializeListItem(const std::string& record);

// The virtual elements that the editor computes on demand.
inline constexpr const char* kLightMixInteractive = "LightMix Interactive";
inline constexpr const char* kBloomAndGlareInteractive = "Bloom and Glare Interactive";

}  // namespace lumora
