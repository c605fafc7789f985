#include "lumora/image/render_element_info.hpp"

#include <array>
#include <string_view>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/text.hpp"

namespace lumora {
namespace {

template <class E>
struct NameEntry {
    E value;
    std::string_view name;
};

constexpr std::array<NameEntry<RenderElement>, 2> kRenderElementNames{{
    {RenderElement::Beauty, "Beauty"},
    {RenderElement::Alpha, "Alpha"},
}};

constexpr std::array<NameEntry<RenderElementType>, 23> kRenderElementTypeNames{{
    {RenderElementType::StandaloneAlpha, "StandaloneAlpha"},
    {RenderElementType::SourceColor, "SourceColor"},
    {RenderElementType::Components, "Components"},
    {RenderElementType::Shadows, "Shadows"},
    {RenderElementType::Albedo, "Albedo"},
    {RenderElementType::RawComponent, "RawComponent"},
    {RenderElementType::LightSelect, "LightSelect"},
    {RenderElementType::Normals, "Normals"},
    {RenderElementType::NormalsDotProduct, "NormalsDotProduct"},
    {RenderElementType::NormalsDiscrepancy, "NormalsDiscrepancy"},
    {RenderElementType::NormalMap, "NormalMap"},
    {RenderElementType::PrimitiveCoords, "PrimitiveCoords"},
    {RenderElementType::MapCoords, "MapCoords"},
    {RenderElementType::Velocity, "Velocity"},
    {RenderElementType::ZDepth, "ZDepth"},
    {RenderElementType::WorldPosition, "WorldPosition"},
    {RenderElementType::Id, "Id"},
    {RenderElementType::Texmap, "Texmap"},
    {RenderElementType::VirtualBeauty, "VirtualBeauty"},
    {RenderElementType::RenderStamp, "RenderStamp"},
    {RenderElementType::SamplingFocus, "SamplingFocus"},
    {RenderElementType::BloomGlare, "BloomGlare"},
    {RenderElementType::LightMix, "LightMix"},
}};

// The listing order puts DenoisingSquaredBeauty before OptixNormals; lookups go by value.
constexpr std::array<NameEntry<PrivateRenderElementType>, 6> kPrivateRenderElementTypeNames{{
    {PrivateRenderElementType::VisibleDiffuse, "VisibleDiffuse"},
    {PrivateRenderElementType::VisibleNormals, "VisibleNormals"},
    {PrivateRenderElementType::Hybrid, "Hybrid"},
    {PrivateRenderElementType::HairIds, "HairIds"},
    {PrivateRenderElementType::DenoisingSquaredBeauty, "DenoisingSquaredBeauty"},
    {PrivateRenderElementType::OptixNormals, "OptixNormals"},
}};

// In bit order, which is also the order of the names in the flags text.
constexpr std::array<NameEntry<RenderElementFlag>, 6> kRenderElementFlagNames{{
    {RenderElementFlag::ColorMapped, "ColorMapped"},
    {RenderElementFlag::Virtual, "Virtual"},
    {RenderElementFlag::Antialiased, "Antialiased"},
    {RenderElementFlag::Denoised, "Denoised"},
    {RenderElementFlag::BloomEffect, "BloomEffect"},
    {RenderElementFlag::GlareEffect, "GlareEffect"},
}};

template <class E, std::size_t N>
std::string nameOf(const std::array<NameEntry<E>, N>& table, E value) {
    for (const auto& entry : table) {
        if (entry.value == value) {
            return std::string(entry.name);
        }
    }
    LUMORA_STOP();
}

template <class E, std::size_t N>
std::expected<E, std::string> valueOf(const std::array<NameEntry<E>, N>& table, std::string_view name,
                                      std::string_view suffix) {
    for (const auto& entry : table) {
        if (entry.name == name) {
            return entry.value;
        }
    }
    return std::unexpected("String name \"" + std::string(name) + std::string(suffix));
}

}  // namespace

std::string toStr(RenderElementType value) { return nameOf(kRenderElementTypeNames, value); }
std::string toStr(RenderElement value) { return nameOf(kRenderElementNames, value); }
std::string toStr(PrivateRenderElementType value) { return nameOf(kPrivateRenderElementTypeNames, value); }

std::string toStr(const RenderElementTypeVariant& value) {
    switch (value.tag) {
        case RenderElementTypeVariant::Tag::RenderElement:
            return toStr(static_cast<RenderElement>(value.value));
        case RenderElementTypeVariant::Tag::RenderElementType:
            return toStr(static_cast<RenderElementType>(value.value));
        case RenderElementTypeVariant::Tag::PrivateRenderElementType:
            return toStr(static_cast<PrivateRenderElementType>(value.value));
    }
    LUMORA_STOP();
}

std::string renderElementFlagsToStr(RenderElementFlags flags) {
    std::string text;
    for (const auto& entry : kRenderElementFlagNames) {
        if ((flags & static_cast<RenderElementFlags>(entry.value)) != 0) {
            if (!text.empty()) {
                text += '+';
            }
            text += entry.name;
        }
    }
    return text;
}

std::expected<RenderElementType, std::string> toRenderElementType(const std::string& name) {
    return valueOf(kRenderElementTypeNames, name, "\" does not match any render element type.");
}

std::expected<RenderElement, std::string> toRenderElement(const std::string& name) {
    return valueOf(kRenderElementNames, name, "\" does not match any render element.");
}

std::expected<PrivateRenderElementType, std::string> toPrivateRenderElementType(const std::string& name) {
    return valueOf(kPrivateRenderElementTypeNames, name, "\" does not match any private render element type.");
}

std::expected<RenderElementTypeVariant, std::string> toRenderElementTypeVariant(const std::string& name) {
    // The fixed elements win over the public types, which win over the private ones.
    if (const auto element = toRenderElement(name)) {
        return RenderElementTypeVariant(*element);
    }
    if (const auto type = toRenderElementType(name)) {
        return RenderElementTypeVariant(*type);
    }
    if (const auto type = toPrivateRenderElementType(name)) {
        return RenderElementTypeVariant(*type);
    }
    return std::unexpected("String name \"" + name + "\" does not match any render element type variant.");
}

std::expected<RenderElementFlags, std::string> toRenderElementFlags(const std::string& text) {
    const std::string trimmed = text::trim(text);
    if (trimmed.empty()) {
        return RenderElementFlags{0};
    }
    RenderElementFlags flags = 0;
    for (const auto& piece : text::explode(trimmed, "+")) {
        const auto flag =
            valueOf(kRenderElementFlagNames, text::trim(piece), "\" does not match any render element flag.");
        if (!flag) {
            return std::unexpected(flag.error());
        }
        flags |= static_cast<RenderElementFlags>(*flag);
    }
    return flags;
}

std::string serialize(const RenderElementInfo& info) {
    return info.name + "|" + toStr(info.type) + "|" + renderElementFlagsToStr(info.flags);
}

RenderElementInfo deserialize(const std::string& text) {
    // The name is everything before the second-to-last separator, so it may contain "|" itself.
    const auto later = text.rfind('|');
    const auto earlier = (later == std::string::npos || later == 0) ? std::string::npos : text.rfind('|', later - 1);
    if (earlier == std::string::npos || earlier == 0) {
        throw Exception("Field separators in the serialization are not well-formed.");
    }
    const auto flags = toRenderElementFlags(text.substr(later + 1));
    if (!flags) {
        throw Exception(flags.error());
    }
    const auto type = toRenderElementTypeVariant(text.substr(earlier + 1, later - earlier - 1));
    if (!type) {
        throw Exception(type.error());
    }
    return RenderElementInfo(text.substr(0, earlier), *type, *flags);
}

std::expected<RenderElementInfo, std::string> deserializeListItem(const std::string& record) {
    try {
        return deserialize(record);
    } catch (const Exception& e) {
        return std::unexpected("Serialized render element info \"" + record + "\" is not valid. " + e.message());
    }
}

}  // namespace lumora
