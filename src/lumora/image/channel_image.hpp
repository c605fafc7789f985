#pragma once
// The in-memory form of one multi-layer image: named scalar channels of equal size and named,
// typed attributes. Format-neutral: nothing here knows OpenEXR.
//
// Conventions:
// - A render element is a naming convention over channels: element E has channels E.R, E.G,
//   E.B and optionally E.A; the beauty has the empty name (channels R, G, B, A); a single-channel
//   element is one channel named after the element.
// - Channel values are row-major, index y * width + x, relative to the image's data window.
// - Maps are ordered by UTF-16 code units (the order in which elements are listed and light
//   selects are indexed), case-sensitive, a prefix first.
// - Absent channels and attributes are reported as null or false; only an undefined layout value
//   is a defect (LUMORA_STOP).

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/float4.hpp"
#include "lumora/foundation/geometry.hpp"
#include "lumora/image/element_info.hpp"
#include "lumora/image/render_element_info.hpp"

namespace lumora {

// Orders UTF-8 names as their UTF-16 code units compare.
struct Utf16Less {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const;
};

class IAttribute {
public:
    virtual ~IAttribute() = default;
    virtual std::unique_ptr<IAttribute> clone() const = 0;
    // A new attribute that takes over this one's value.
    virtual std::unique_ptr<IAttribute> extract() = 0;
    virtual const std::string& getName() const = 0;
    // Same value type and equal value.
    virtual bool equals(const IAttribute& other) const = 0;
};

// T is one of int, float, double, std::string, Rgb, Pixel, Bucket.
template <class T>
class Attribute final : public IAttribute {
public:
    Attribute(std::string name, T value) : name(std::move(name)), value(std::move(value)) {}
    std::unique_ptr<IAttribute> clone() const override { return std::make_unique<Attribute>(name, value); }
    std::unique_ptr<IAttribute> extract() override { return std::make_unique<Attribute>(name, std::move(value)); }
    const std::string& getName() const override { return name; }
    bool equals(const IAttribute& other) const override {
        const auto* o = dynamic_cast<const Attribute<T>*>(&other);
        return o && o->value == value;
    }

    std::string name;
    T value;
};

class IChannel {
public:
    virtual ~IChannel() = default;
    virtual std::unique_ptr<IChannel> clone() const = 0;
    // A new channel of the same name that takes over this one's data, leaving this one empty.
    virtual std::unique_ptr<IChannel> extract() = 0;
    virtual const std::string& getName() const = 0;
    virtual int getWidth() const = 0;
    virtual int getHeight() const = 0;
    virtual std::size_t getSize() const = 0;
    void resize(Pixel size) { resize(size.x, size.y); }
    // Sets the size and zero-fills every value.
    virtual void resize(int width, int height) = 0;
};

// T is float (colour data) or unsigned int (UINT channels of a file).
template <class T>
class Channel final : public IChannel {
public:
    explicit Channel(std::string name) : name(std::move(name)) {}
    Channel(std::string name, int width, int height) : name(std::move(name)) { resize(width, height); }

    std::unique_ptr<IChannel> clone() const override { return std::make_unique<Channel>(*this); }
    std::unique_ptr<IChannel> extract() override {
        auto taken = std::make_unique<Channel>(name);
        taken->data = std::move(data);
        taken->width = std::exchange(width, 0);
        taken->height = std::exchange(height, 0);
        data.clear();
        return taken;
    }
    const std::string& getName() const override { return name; }
    int getWidth() const override { return width; }
    int getHeight() const override { return height; }
    std::size_t getSize() const override { return data.size(); }
    using IChannel::resize;
    void resize(int w, int h) override {
        LUMORA_ASSERT(w >= 0 && h >= 0);
        data.assign(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), T{});
        width = w;
        height = h;
    }

    T& at(int x, int y) { return data[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x]; }
    const T& at(int x, int y) const {
        return data[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x];
    }
    T* row(int y) { return data.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width); }
    const T* row(int y) const { return data.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width); }

    std::string name;
    std::vector<T> data;
    int width = 0;
    int height = 0;
};

using AttributeMap = std::map<std::string, std::unique_ptr<IAttribute>, Utf16Less>;
using ChannelMap = std::map<std::string, std::unique_ptr<IChannel>, Utf16Less>;

// Well-known attribute and channel names.
namespace names {
inline constexpr const char* displayWindow = "displayWindow";
inline constexpr const char* dataWindow = "dataWindow";
inline constexpr const char* gamma = "gamma";
inline constexpr const char* pixelAspectRatio = "pixelAspectRatio";
inline constexpr const char* screenWindowCenter = "screenWindowCenter";
inline constexpr const char* screenWindowWidth = "screenWindowWidth";
inline constexpr const char* isLumoraExr = "lumora.islumoraexr";
inline constexpr const char* elements = "lumora.elements";
inline constexpr const char* lightmixElements = "lumora.lightmix.elements";
inline constexpr const char* statsPasses = "lumora.stats.passes";
inline constexpr const char* statsTime = "lumora.stats.time";
inline constexpr const char* statsRaysPerSecond = "lumora.stats.rayspersecond";
inline constexpr const char* statsRaysPerSample = "lumora.stats.rayspersample";
inline constexpr const char* R = "R";
inline constexpr const char* G = "G";
inline constexpr const char* B = "B";
inline constexpr const char* A = "A";
inline constexpr const char* denoised = "Denoised";
inline constexpr const char* sqr = "Sqr";
inline constexpr const char* weights = "LUMORA_FB_WEIGHTS";
inline constexpr const char* beauty = "";
}  // namespace names

// element + "." + component; either alone when the other is empty.
std::string channelName(std::string_view element, std::string_view component);
// "" -> "BEAUTY", "A" -> "Alpha", others unchanged.
std::string toDisplayName(std::string_view element);
// "BEAUTY" -> "", "Alpha" -> "A", others unchanged (exact, case-sensitive).
std::string fromDisplayName(std::string_view display);
// "SqrBeauty" for the beauty, else "Sqr" + element.
std::string squaredElementName(std::string_view element);

// The record that a display name selects: "LightMix Interactive" the first LightMix record,
// "Bloom and Glare Interactive" the first BloomGlare record, any other name the first record of
// that name.
std::optional<RenderElementInfo> findRenderElementInfo(const std::vector<RenderElementInfo>& infos,
                                                       std::string_view displayName);

class ChannelImage {
public:
    ChannelImage() = default;
    ChannelImage(const ChannelImage& other);  // deep copy
    ChannelImage& operator=(const ChannelImage& other);
    ChannelImage(ChannelImage&&) noexcept = default;
    ChannelImage& operator=(ChannelImage&&) noexcept = default;

    AttributeMap& attributes() { return attributes_; }
    const AttributeMap& attributes() const { return attributes_; }
    ChannelMap& channels() { return channels_; }
    const ChannelMap& channels() const { return channels_; }

    template <class T>
    Channel<T>* getChannel(std::string_view name) {
        auto it = channels_.find(name);
        return it == channels_.end() ? nullptr : dynamic_cast<Channel<T>*>(it->second.get());
    }
    template <class T>
    const Channel<T>* getChannel(std::string_view name) const {
        auto it = channels_.find(name);
        return it == channels_.end() ? nullptr : dynamic_cast<const Channel<T>*>(it->second.get());
    }
    template <class T>
    Attribute<T>* getAttribute(std::string_view name) {
        auto it = attributes_.find(name);
        return it == attributes_.end() ? nullptr : dynamic_cast<Attribute<T>*>(it->second.get());
    }
    template <class T>
    const Attribute<T>* getAttribute(std::string_view name) const {
        auto it = attributes_.find(name);
        return it == attributes_.end() ? nullptr : dynamic_cast<const Attribute<T>*>(it->second.get());
    }
    // Replaces or inserts an Attribute<T>.
    template <class T>
    void setAttribute(const std::string& name, T value) {
        attributes_[name] = std::make_unique<Attribute<T>>(name, std::move(value));
    }
    // Inserts under the channel's own name, replacing a channel of that name.
    void addChannel(std::unique_ptr<IChannel> channel);

    // Size of the data window ("dataWindow" when present, else the first channel's size).
    Pixel getSize() const;

    bool hasRgb(std::string_view element) const;
    bool hasRgba(std::string_view element) const;
    // Rgb, Rgba or Mono; any other layout value (Invalid included) is a defect.
    bool hasLayout(std::string_view element, ElementLayout layout) const;

    std::vector<std::string> listFloatChannelNames() const;  // sorted
    std::vector<ElementInfo> listElements() const;

    std::vector<RenderElementInfo> getRenderElementInfos() const;
    std::optional<RenderElementInfo> findRenderElementInfo(std::string_view displayName) const;
    void addRenderElementInfo(const RenderElementInfo& info);

    // Create missing (or non-float) element channels zero-filled at the image's size.
    void ensureRgb(std::string_view element);
    void ensureRgba(std::string_view element);

    // The bitmaps have the image's size.
    void setRgbBitmap(std::string_view element, const Bitmap<Rgb>& bitmap);
    void setRgbaBitmap(std::string_view element, const Bitmap<Float4>& bitmap);

    // Region in data-window pixel coordinates (relative to the data window's origin); scale > 1
    // shrinks by point sampling, scale < 1 enlarges by pixel replication. The output has
    // ceil(size / scale) pixels per axis. Returns an empty bitmap when the channels are missing,
    // when the region is empty or not entirely inside the channels, or when scale is not a
    // positive finite number: nothing outside the stored values is ever read.
    Bitmap<float> extractMonoBitmap(std::string_view channel, const Bucket& region, float scale) const;
    Bitmap<Rgb> extractRgbBitmap(std::string_view element, const Bucket& region, float scale) const;
    Bitmap<Float4> extractRgbaBitmap(std::string_view element, const Bucket& region, float scale) const;

    // Copies the Mono element's values into a caller buffer of width x height floats with the
    // given row stride (in floats); nothing is written when the channel is missing. Any other
    // layout is a defect.
    void copyChannelData(std::string_view element, ElementLayout layout, float* destination,
                         std::size_t rowStride) const;

private:
    AttributeMap attributes_;
    ChannelMap channels_;
};

// Writes the records as "lumora.elements" (the quoted array form of serialised records).
void setRenderElementInfos(ChannelImage& image, const std::vector<RenderElementInfo>& infos);

// An LXR image: the marker "lumora.islumoraexr" = 1 and the four statistics attributes with
// their types (int passes, time, rays per second; float rays per sample), names exact.
bool isLumoraExr(const ChannelImage& image);

}  // namespace lumora
