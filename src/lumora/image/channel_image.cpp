#include "lumora/image/channel_image.hpp"

#include <algorithm>
#include <array>

#include "lumora/settings/text_scanner.hpp"

namespace lumora {
namespace {

// UTF-8 byte order is code point order. UTF-16 differs only in putting the supplementary
// characters (lead bytes F0..F4, encoded as surrogates D800..DFFF) before U+E000..U+FFFF (lead
// bytes EE and EF). The first differing byte of two names either starts a character in both or
// lies inside one character that both share the lead byte of, so ranking F0..FF below EE and EF
// gives UTF-16 order and keeps plain byte order everywhere else.
constexpr unsigned utf16Rank(unsigned char c) {
    if (c < 0xEE) {
        return c;
    }
    return c >= 0xF0 ? c - 2u : c + 0x10u;
}

std::vector<RenderElementInfo> parseLightMixNames(const std::string& text) {
    std::vector<RenderElementInfo> infos;
    if (auto names = Str::parseExportStringArray(text)) {
        for (auto& name : *names) {
            infos.emplace_back(std::move(name), RenderElementType::LightSelect,
                               static_cast<RenderElementFlags>(RenderElementFlag::ColorMapped));
        }
    }
    return infos;
}

}  // namespace

bool Utf16Less::operator()(std::string_view a, std::string_view b) const {
    const auto [ia, ib] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    if (ia == a.end() || ib == b.end()) {
        return ib != b.end();  // a is a proper prefix of b
    }
    return utf16Rank(static_cast<unsigned char>(*ia)) < utf16Rank(static_cast<unsigned char>(*ib));
}

std::string channelName(std::string_view element, std::string_view component) {
    if (element.empty()) {
        return std::string(component);
    }
    if (component.empty()) {
        return std::string(element);
    }
    std::string name;
    name.reserve(element.size() + 1 + component.size());
    name.append(element).append(".").append(component);
    return name;
}

std::string toDisplayName(std::string_view element) {
    if (element.empty()) {
        return "BEAUTY";
    }
    if (element == names::A) {
        return "Alpha";
    }
    return std::string(element);
}

std::string fromDisplayName(std::string_view display) {
    if (display == "BEAUTY") {
        return names::beauty;
    }
    if (display == "Alpha") {
        return names::A;
    }
    return std::string(display);
}

std::string squaredElementName(std::string_view element) {
    return std::string(names::sqr) + (element.empty() ? std::string("Beauty") : std::string(element));
}

ChannelImage::ChannelImage(const ChannelImage& other) {
    for (const auto& [name, attribute] : other.attributes_) {
        attributes_.emplace(name, attribute->clone());
    }
    for (const auto& [name, channel] : other.channels_) {
        channels_.emplace(name, channel->clone());
    }
}

ChannelImage& ChannelImage::operator=(const ChannelImage& other) {
    if (this != &other) {
        ChannelImage copy(other);
        *this = std::move(copy);
    }
    return *this;
}

void ChannelImage::addChannel(std::unique_ptr<IChannel> channel) {
    LUMORA_ASSERT(channel != nullptr);
    const std::string name = channel->getName();
    channels_[name] = std::move(channel);
}

Pixel ChannelImage::getSize() const {
    if (const auto* window = getAttribute<Bucket>(names::dataWindow)) {
        return {std::max(0, window->value.width()), std::max(0, window->value.height())};
    }
    if (!channels_.empty()) {
        const auto& channel = *channels_.begin()->second;
        return {channel.getWidth(), channel.getHeight()};
    }
    return Pixel::ZERO;
}

bool ChannelImage::hasRgb(std::string_view element) const {
    return getChannel<float>(channelName(element, names::R)) && getChannel<float>(channelName(element, names::G)) &&
           getChannel<float>(channelName(element, names::B));
}

bool ChannelImage::hasRgba(std::string_view element) const {
    return hasRgb(element) && getChannel<float>(channelName(element, names::A));
}

bool ChannelImage::hasLayout(std::string_view element, ElementLayout layout) const {
    switch (layout) {
        case ElementLayout::Rgb:
            return hasRgb(element);
        case ElementLayout::Rgba:
            return hasRgba(element);
        case ElementLayout::Mono:
            return getChannel<float>(element) != nullptr;
        default:
            LUMORA_STOP();
    }
}

std::vector<std::string> ChannelImage::listFloatChannelNames() const {
    std::vector<std::string> result;
    for (const auto& [name, channel] : channels_) {
        if (dynamic_cast<const Channel<float>*>(channel.get())) {
            result.push_back(name);
        }
    }
    return result;
}

std::vector<RenderElementInfo> ChannelImage::getRenderElementInfos() const {
    if (const auto* elements = getAttribute<std::string>(names::elements)) {
        std::vector<RenderElementInfo> infos;
        if (const auto records = Str::parseExportStringArray(elements->value)) {
            for (const auto& record : *records) {
                // A record this program cannot read is left out rather than failing the image.
                if (auto info = deserializeListItem(record)) {
                    infos.push_back(std::move(*info));
                }
            }
        }
        return infos;
    }
    if (const auto* lightMix = getAttribute<std::string>(names::lightmixElements)) {
        return parseLightMixNames(lightMix->value);
    }
    return {};
}

std::optional<RenderElementInfo> findRenderElementInfo(const std::vector<RenderElementInfo>& infos,
                                                       std::string_view displayName) {
    const auto matches = [&](const RenderElementInfo& info) {
        if (displayName == kLightMixInteractive) {
            return info.type.is(RenderElementType::LightMix);
        }
        if (displayName == kBloomAndGlareInteractive) {
            return info.type.is(RenderElementType::BloomGlare);
        }
        return info.name == displayName;
    };
    const auto it = std::find_if(infos.begin(), infos.end(), matches);
    if (it == infos.end()) {
        return std::nullopt;
    }
    return *it;
}

std::optional<RenderElementInfo> ChannelImage::findRenderElementInfo(std::string_view displayName) const {
    return lumora::findRenderElementInfo(getRenderElementInfos(), displayName);
}

void ChannelImage::addRenderElementInfo(const RenderElementInfo& info) {
    auto infos = getRenderElementInfos();
    infos.push_back(info);
    setRenderElementInfos(*this, infos);
}

void ChannelImage::ensureRgb(std::string_view element) {
    const Pixel size = getSize();
    for (const char* component : {names::R, names::G, names::B}) {
        std::string name = channelName(element, component);
        if (!getChannel<float>(name)) {
            addChannel(std::make_unique<Channel<float>>(std::move(name), size.x, size.y));
        }
    }
}

void ChannelImage::ensureRgba(std::string_view element) {
    if (!hasRgb(element)) {
        ensureRgb(element);
    }
    std::string name = channelName(element, names::A);
    if (!getChannel<float>(name)) {
        const Pixel size = getSize();
        addChannel(std::make_unique<Channel<float>>(std::move(name), size.x, size.y));
    }
}

void ChannelImage::setRgbBitmap(std::string_view element, const Bitmap<Rgb>& bitmap) {
    ensureRgb(element);
    std::array<Channel<float>*, 3> rgb{getChannel<float>(channelName(element, names::R)),
                                       getChannel<float>(channelName(element, names::G)),
                                       getChannel<float>(channelName(element, names::B))};
    for (const auto* channel : rgb) {
        LUMORA_ASSERT(channel->data.size() == bitmap.size());
    }
    const Rgb* pixels = bitmap.data();
    for (std::size_t i = 0; i < bitmap.size(); ++i) {
        rgb[0]->data[i] = pixels[i].r;
        rgb[1]->data[i] = pixels[i].g;
        rgb[2]->data[i] = pixels[i].b;
    }
}

void ChannelImage::setRgbaBitmap(std::string_view element, const Bitmap<Float4>& bitmap) {
    ensureRgba(element);
    std::array<Channel<float>*, 4> rgba{
        getChannel<float>(channelName(element, names::R)), getChannel<float>(channelName(element, names::G)),
        getChannel<float>(channelName(element, names::B)), getChannel<float>(channelName(element, names::A))};
    for (const auto* channel : rgba) {
        LUMORA_ASSERT(channel->data.size() == bitmap.size());
    }
    const Float4* pixels = bitmap.data();
    alignas(16) float lanes[4];
    for (std::size_t i = 0; i < bitmap.size(); ++i) {
        pixels[i].store(lanes);
        for (std::size_t c = 0; c < 4; ++c) {
            rgba[c]->data[i] = lanes[c];
        }
    }
}

void ChannelImage::copyChannelData(std::string_view element, ElementLayout layout, float* destination,
                                   std::size_t rowStride) const {
    if (layout != ElementLayout::Mono) {
        LUMORA_STOP();
    }
    const auto* channel = getChannel<float>(element);
    if (!channel) {
        return;
    }
    const auto width = static_cast<std::size_t>(channel->width);
    LUMORA_ASSERT(rowStride >= width);
    for (int y = 0; y < channel->height; ++y) {
        std::copy_n(channel->row(y), width, destination + static_cast<std::size_t>(y) * rowStride);
    }
}

void setRenderElementInfos(ChannelImage& image, const std::vector<RenderElementInfo>& infos) {
    std::vector<std::string> records;
    records.reserve(infos.size());
    for (const auto& info : infos) {
        records.push_back(serialize(info));
    }
    image.setAttribute<std::string>(names::elements, Str::getExportStringArray(records));
}

bool isLumoraExr(const ChannelImage& image) {
    const auto* marker = image.getAttribute<int>(names::isLumoraExr);
    return marker && marker->value == 1 && image.getAttribute<int>(names::statsPasses) &&
           image.getAttribute<int>(names::statsTime) && image.getAttribute<int>(names::statsRaysPerSecond) &&
           image.getAttribute<float>(names::statsRaysPerSample);
}

}  // namespace lumora
