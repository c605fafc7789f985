// Which render elements an image holds, with their channel layouts and the flags that tell the
// pipeline how to treat each one.

#include <algorithm>
#include <array>
#include <set>

#include "lumora/foundation/text.hpp"
#include "lumora/image/channel_image.hpp"

namespace lumora {
namespace {

struct SplitName {
    std::string element;
    std::string component;
};

// Splits at the last "." ("Light.001.R" is component R of "Light.001"). A name without a dot is
// a single-channel element of that name, except the beauty's own R, G, B and A.
SplitName splitChannelName(const std::string& name) {
    const auto dot = name.rfind('.');
    if (dot == std::string::npos) {
        if (name == names::R || name == names::G || name == names::B || name == names::A) {
            return {names::beauty, name};
        }
        return {name, ""};
    }
    return {name.substr(0, dot), name.substr(dot + 1)};
}

struct ChannelGroup {
    std::vector<std::string> components;
    std::vector<std::string> channelNames;
};

ElementLayout layoutOf(const std::string& element, const ChannelGroup& group) {
    const auto has = [&](const char* component) {
        return std::find(group.components.begin(), group.components.end(), component) != group.components.end();
    };
    const std::size_t count = group.components.size();
    // With the exact count, requiring every component also rules out one seen twice (".R" and
    // "R" both give the beauty a component R).
    if (count == 4 && has(names::R) && has(names::G) && has(names::B) && has(names::A)) {
        return ElementLayout::Rgba;
    }
    if (count == 3 && has(names::R) && has(names::G) && has(names::B)) {
        return ElementLayout::Rgb;
    }
    // The channel must carry the element's own name ("Foo." splits to "Foo" too, but is no
    // channel named "Foo").
    if (count == 1 && group.channelNames.front() == element) {
        return ElementLayout::Mono;
    }
    return ElementLayout::Invalid;
}

bool isColor(ElementLayout layout) { return layout == ElementLayout::Rgb || layout == ElementLayout::Rgba; }

constexpr std::array<const char*, 5> kAuxiliaryElements{"VisibleNormals", "VisibleDiffuse", "Hybrid", "HairIds",
                                                         "OptixNormals"};

constexpr std::uint32_t kNotColorMapped =
    ElementFlag::RawData | ElementFlag::NoBloom | ElementFlag::NoGlare | ElementFlag::NoSharpenBlur;

}  // namespace

std::vector<ElementInfo> ChannelImage::listElements() const {
    std::map<std::string, ChannelGroup, Utf16Less> groups;
    for (const auto& name : listFloatChannelNames()) {
        auto split = splitChannelName(name);
        auto& group = groups[split.element];
        group.components.push_back(std::move(split.component));
        group.channelNames.push_back(name);
    }

    std::vector<ElementInfo> elements;
    elements.reserve(groups.size() + 1);
    for (const auto& [element, group] : groups) {
        elements.push_back({element, layoutOf(element, group), 0});
    }
    // The beauty's alpha is offered on its own besides being part of the Rgba beauty.
    if (getChannel<float>(names::A)) {
        elements.push_back({names::A, ElementLayout::Mono, 0});
    }

    std::set<std::string, Utf16Less> listed;
    for (const auto& info : elements) {
        listed.insert(info.name);
    }
    const auto isListed = [&](const std::string& name) { return listed.contains(name); };

    const auto records = getRenderElementInfos();
    const auto isLightSelect = [&](const std::string& name) {
        return std::any_of(records.begin(), records.end(), [&](const RenderElementInfo& record) {
            return record.type.is(RenderElementType::LightSelect) && record.name == name;
        });
    };

    for (auto& info : elements) {
        const auto record = lumora::findRenderElementInfo(records, info.name);
        const bool color = isColor(info.layout);

        if (info.layout == ElementLayout::Mono && info.name == names::weights) {
            info.flags |= ElementFlag::Hidden;
        }
        bool hiddenAuxiliary = false;
        if (color) {
            hiddenAuxiliary =
                std::find(kAuxiliaryElements.begin(), kAuxiliaryElements.end(), info.name) != kAuxiliaryElements.end() ||
                text::startsWith(info.name, names::denoised) || text::startsWith(info.name, names::sqr);
            if (hiddenAuxiliary) {
                info.flags |= ElementFlag::Hidden;
            }
        }
        if (color && !hiddenAuxiliary && isListed(squaredElementName(info.name))) {
            info.flags |= ElementFlag::DenoisingData | ElementFlag::ToBeDenoised;
            if (isListed(std::string(names::denoised) + info.name)) {
                info.flags |= ElementFlag::DenoisedMark;
            }
        }
        if (color && isLightSelect(info.name)) {
            info.flags |= ElementFlag::LightSelect;
        }
        if (!color || (record && !record->hasFlag(RenderElementFlag::ColorMapped))) {
            info.flags |= kNotColorMapped;
        }
        if (record) {
            if (!record->hasFlag(RenderElementFlag::BloomEffect)) {
                info.flags |= ElementFlag::NoBloom;
            }
            if (!record->hasFlag(RenderElementFlag::GlareEffect)) {
                info.flags |= ElementFlag::NoGlare;
            }
        }
    }
    return elements;
}

}  // namespace lumora
