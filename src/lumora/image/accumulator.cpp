#include "lumora/image/accumulator.hpp"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/float4.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora {

namespace {

constexpr const char* propertiesDifferWarning =
    "One or more postprocessing properties differed among the merged images. Using properties from the "
    "first image.";
constexpr const char* elementsDifferWarning =
    "Element metadata differed among the merged images. Using element metadata from the first image.";
constexpr const char* notLxrWarning =
    "One or more of the merged images have not been recognized as LXR images. The resulting postprocessing "
    "properties and/or render statistics of the merged image may be incorrect.";

// Rows per parallel piece: enough values that a piece outweighs its scheduling.
std::int64_t rowGrain(std::size_t valuesPerRow) {
    constexpr std::size_t valuesPerPiece = std::size_t{1} << 18;
    return static_cast<std::int64_t>(std::max<std::size_t>(1, valuesPerPiece / std::max<std::size_t>(1, valuesPerRow)));
}

// dst[i] += w * src[i]
void multiplyAdd(float* dst, const float* src, float w, int n) {
    const Float4 w4(w);
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        (Float4::load(dst + i) + w4 * Float4::load(src + i)).store(dst + i);
    }
    for (; i < n; ++i) {
        dst[i] += w * src[i];
    }
}

// dst[i] += w[i] * src[i]
void multiplyAdd(float* dst, const float* src, const float* w, int n) {
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        (Float4::load(dst + i) + Float4::load(w + i) * Float4::load(src + i)).store(dst + i);
    }
    for (; i < n; ++i) {
        dst[i] += w[i] * src[i];
    }
}

void addTo(float* dst, float w, int n) {
    const Float4 w4(w);
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        (Float4::load(dst + i) + w4).store(dst + i);
    }
    for (; i < n; ++i) {
        dst[i] += w;
    }
}

void addTo(float* dst, const float* w, int n) {
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        (Float4::load(dst + i) + Float4::load(w + i)).store(dst + i);
    }
    for (; i < n; ++i) {
        dst[i] += w[i];
    }
}

// values[i] /= divisor[i]
void divide(float* values, const float* divisor, int n) {
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        (Float4::load(values + i) / Float4::load(divisor + i)).store(values + i);
    }
    for (; i < n; ++i) {
        values[i] /= divisor[i];
    }
}

// Header names of the stored post-processing properties. The LXR writer stores exactly the
// properties flagged PostProcessing, so only those are compared between inputs.
const std::vector<std::string>& postProcessingAttributeNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> result;
        PropertyDescriptor::enumerate([&](const PropertyDescriptor& d) {
            if (d.hasFlag(PropertyDescriptor::PostProcessing)) {
                result.push_back(getPropertyExrName(d));
            }
        });
        return result;
    }();
    return names;
}

// Copies the input's attribute when the merged image lacks it; false when both hold different values.
bool agreeOrAdopt(ChannelImage& merged, const ChannelImage& input, const std::string& name) {
    const auto in = input.attributes().find(name);
    if (in == input.attributes().end()) {
        return true;
    }
    const auto mine = merged.attributes().find(name);
    if (mine == merged.attributes().end()) {
        merged.attributes().emplace(name, in->second->clone());
        return true;
    }
    return mine->second->equals(*in->second);
}

// Statistics can exceed the int range when many long renders are merged; they stop at its limits
// instead of wrapping round.
int saturatingAdd(int a, int b) {
    const std::int64_t sum = static_cast<std::int64_t>(a) + b;
    return static_cast<int>(std::clamp<std::int64_t>(sum, INT_MIN, INT_MAX));
}

void addIntStatistic(ChannelImage& merged, const ChannelImage& input, const char* name) {
    auto* mine = merged.getAttribute<int>(name);
    const auto* in = input.getAttribute<int>(name);
    if (mine && in) {
        mine->value = saturatingAdd(mine->value, in->value);
    }
}

bool hasSizeOf(const Channel<float>& channel, const Bucket& window) {
    return channel.width == window.width() && channel.height == window.height() &&
           channel.data.size() == static_cast<std::size_t>(window.width()) * static_cast<std::size_t>(window.height());
}

Bucket requireDataWindow(const ChannelImage& input) {
    const auto* window = input.getAttribute<Bucket>(names::dataWindow);
    if (!window) {
        throw Exception("Image to be merged has no data window.");
    }
    if (window->value.width() < 0 || window->value.height() < 0) {
        throw Exception("Image to be merged has an invalid data window.");
    }
    return window->value;
}

// The merged frame as the first input defines it.
Bucket frameOf(const ChannelImage& first, const Bucket& dataWindow) {
    const auto* display = first.getAttribute<Bucket>(names::displayWindow);
    if (display && !display->value.isEmpty()) {
        if (dataWindow.isEmpty()) {
            return display->value;
        }
        const Bucket& d = display->value;
        return Bucket{{std::min(d.min.x, dataWindow.min.x), std::min(d.min.y, dataWindow.min.y)},
                      {std::max(d.max.x, dataWindow.max.x), std::max(d.max.y, dataWindow.max.y)}};
    }
    return dataWindow;
}

bool liesInside(const Bucket& window, const Bucket& region) {
    return window.isEmpty() || region.contains(window);
}

}  // namespace

Accumulator::Accumulator(std::string weightChannelName, WarningLogger warningLogger)
    : weightChannelName_(std::move(weightChannelName)), warningLogger_(std::move(warningLogger)) {}

std::optional<Bucket> Accumulator::getRegion() const {
    if (count_ < 0) {
        return std::nullopt;
    }
    const auto* window = image_.getAttribute<Bucket>(names::dataWindow);
    LUMORA_ASSERT(window != nullptr);
    return window->value;
}

bool Accumulator::fits(const ChannelImage& input) const {
    const auto* window = input.getAttribute<Bucket>(names::dataWindow);
    if (!window || window->value.width() < 0 || window->value.height() < 0) {
        return false;
    }
    const auto region = getRegion();
    return !region || liesInside(window->value, *region);
}

void Accumulator::add(ChannelImage&& input, const WeightDescriptor& weight) {
    add(static_cast<const ChannelImage&>(input), weight);
    input = ChannelImage();
}

void Accumulator::add(const ChannelImage& input, const WeightDescriptor& weight) {
    // Everything is checked before the merged image is touched, so a rejected input leaves the
    // accumulator as it was.
    const Bucket window = requireDataWindow(input);
    const bool first = count_ < 0;
    const Bucket region = first ? frameOf(input, window) : *getRegion();
    if (!liesInside(window, region)) {
        throw Exception("Image to be merged does not fit within the merged output image.");
    }
    if (weight.isChannel()) {
        const auto* w = input.getChannel<float>(weight.getChannelName());
        if (!w) {
            throw Exception("Image to be merged is missing channel \"" + weight.getChannelName() +
                            "\", expected to contain pixel weights.");
        }
        if (!hasSizeOf(*w, window)) {
            throw Exception("Channel \"" + weight.getChannelName() +
                            "\" of the image to be merged does not match the size of its data window.");
        }
    }
    for (const auto& [name, channel] : input.channels()) {
        const auto* values = dynamic_cast<const Channel<float>*>(channel.get());
        if (values && !hasSizeOf(*values, window)) {
            throw Exception("Channel \"" + name +
                            "\" of the image to be merged does not match the size of its data window.");
        }
    }

    if (first) {
        start(input, weight, region);
    }
    accumulate(input, weight, window, region);
    if (isLumoraExr(image_) && isLumoraExr(input)) {
        mergeMetadata(input);
    } else {
        warn(notLxrWarning);
    }
    ++count_;
}

void Accumulator::start(const ChannelImage& first, const WeightDescriptor& weight, const Bucket& region) {
    image_ = ChannelImage();
    image_.setAttribute(names::displayWindow, region);
    image_.setAttribute(names::dataWindow, region);
    if (const auto gamma = first.attributes().find(names::gamma); gamma != first.attributes().end()) {
        image_.attributes().emplace(names::gamma, gamma->second->clone());
    }

    std::vector<std::string> channelNames = first.listFloatChannelNames();
    if (weight.isChannel()) {
        std::erase(channelNames, weight.getChannelName());
    }
    channelNames.push_back(weightChannelName_);
    for (const auto& name : channelNames) {
        image_.addChannel(std::make_unique<Channel<float>>(name, region.width(), region.height()));
    }

    if (isLumoraExr(first)) {
        image_.setAttribute(names::isLumoraExr, 1);
        image_.setAttribute(names::statsPasses, 0);
        image_.setAttribute(names::statsTime, 0);
        image_.setAttribute(names::statsRaysPerSecond, 0);
        image_.setAttribute(names::statsRaysPerSample, 0.f);
    }
}

void Accumulator::accumulate(const ChannelImage& input, const WeightDescriptor& weight, const Bucket& window,
                             const Bucket& region) {
    const int width = window.width();
    const int height = window.height();
    if (width == 0 || height == 0) {
        return;
    }
    const Pixel offset = window.min - region.min;
    const auto mergedStride = static_cast<std::size_t>(region.width());
    const auto inputStride = static_cast<std::size_t>(width);
    const std::size_t mergedStart =
        static_cast<std::size_t>(offset.y) * mergedStride + static_cast<std::size_t>(offset.x);

    // Only channels on both sides take part; the weight channels are never accumulated as values.
    struct Target {
        float* merged;
        const float* input;
    };
    std::vector<Target> targets;
    for (const auto& name : input.listFloatChannelNames()) {
        if (name == weightChannelName_ || (weight.isChannel() && name == weight.getChannelName())) {
            continue;
        }
        if (auto* merged = image_.getChannel<float>(name)) {
            targets.push_back({merged->data.data() + mergedStart, input.getChannel<float>(name)->data.data()});
        }
    }
    float* const weightSum = image_.getChannel<float>(weightChannelName_)->data.data() + mergedStart;
    const float* const weights =
        weight.isChannel() ? input.getChannel<float>(weight.getChannelName())->data.data() : nullptr;
    const float constant = weight.isConstant() ? weight.getConstant() : 0.f;

    // Rows are independent, so they may run in parallel.
    const std::int64_t grain = rowGrain(inputStride * (targets.size() + 1));
    scheduler::parallelFor(0, height, grain, [&](std::int64_t begin, std::int64_t end) {
        for (auto y = static_cast<std::size_t>(begin); y < static_cast<std::size_t>(end); ++y) {
            const std::size_t mergedRow = y * mergedStride;
            const std::size_t inputRow = y * inputStride;
            if (weights) {
                const float* w = weights + inputRow;
                for (const Target& t : targets) {
                    multiplyAdd(t.merged + mergedRow, t.input + inputRow, w, width);
                }
                addTo(weightSum + mergedRow, w, width);
            } else {
                for (const Target& t : targets) {
                    multiplyAdd(t.merged + mergedRow, t.input + inputRow, constant, width);
                }
                addTo(weightSum + mergedRow, constant, width);
            }
        }
    });
}

void Accumulator::mergeMetadata(const ChannelImage& input) {
    bool propertiesAgree = true;
    for (const auto& name : postProcessingAttributeNames()) {
        propertiesAgree = agreeOrAdopt(image_, input, name) && propertiesAgree;
    }
    if (!propertiesAgree) {
        warn(propertiesDifferWarning);
    }

    const bool elementsAgree = agreeOrAdopt(image_, input, names::elements);
    const bool lightmixAgree = agreeOrAdopt(image_, input, names::lightmixElements);
    if (!elementsAgree || !lightmixAgree) {
        warn(elementsDifferWarning);
    }

    addIntStatistic(image_, input, names::statsPasses);
    addIntStatistic(image_, input, names::statsTime);
    addIntStatistic(image_, input, names::statsRaysPerSecond);
    auto* raysPerSample = image_.getAttribute<float>(names::statsRaysPerSample);
    const auto* inputRaysPerSample = input.getAttribute<float>(names::statsRaysPerSample);
    if (raysPerSample && inputRaysPerSample) {
        raysPerSample->value += inputRaysPerSample->value;
    }
}

void Accumulator::warn(const std::string& text) {
    if (warnings_.insert(text).second && warningLogger_) {
        warningLogger_(text);
    }
}

ChannelImage Accumulator::finish() {
    if (count_ < 0) {
        return ChannelImage();
    }
    const Bucket region = *getRegion();
    const int width = region.width();
    const auto stride = static_cast<std::size_t>(width);
    const float* const weightSum = image_.getChannel<float>(weightChannelName_)->data.data();
    std::vector<float*> values;
    for (const auto& [name, channel] : image_.channels()) {
        auto* c = dynamic_cast<Channel<float>*>(channel.get());
        if (c && name != weightChannelName_) {
            values.push_back(c->data.data());
        }
    }

    if (width > 0 && !values.empty()) {
        const std::int64_t grain = rowGrain(stride * values.size());
        scheduler::parallelFor(0, region.height(), grain, [&](std::int64_t begin, std::int64_t end) {
            // Pixels without weight become 0 rather than 0/0; they are rare, so they are patched
            // after a plain division by 1.
            std::vector<float> divisor(stride);
            std::vector<std::size_t> unweighted;
            for (auto y = static_cast<std::size_t>(begin); y < static_cast<std::size_t>(end); ++y) {
                const float* sum = weightSum + y * stride;
                unweighted.clear();
                for (std::size_t x = 0; x < stride; ++x) {
                    if (sum[x] == 0.f) {
                        divisor[x] = 1.f;
                        unweighted.push_back(x);
                    } else {
                        divisor[x] = sum[x];
                    }
                }
                for (float* channel : values) {
                    float* row = channel + y * stride;
                    divide(row, divisor.data(), width);
                    for (const std::size_t x : unweighted) {
                        row[x] = 0.f;
                    }
                }
            }
        });
    }

    if (isLumoraExr(image_)) {
        // The rays-per-sample sum is divided by the number of inputs after the first (one less than
        // the number merged); this divisor is intended. A single input has no later ones and keeps
        // its own value rather than becoming infinite.
        auto* raysPerSample = image_.getAttribute<float>(names::statsRaysPerSample);
        raysPerSample->value /= static_cast<float>(count_ > 0 ? count_ : 1);
    }

    ChannelImage result = std::move(image_);
    image_ = ChannelImage();
    count_ = -1;
    warnings_.clear();
    return result;
}

}  // namespace lumora
