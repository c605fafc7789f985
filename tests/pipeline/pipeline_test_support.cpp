#include "pipeline/pipeline_test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "lumora/pipeline/region_sampling.hpp"

namespace lumora::test {

ChannelImage makeImage(int width, int height, const std::vector<std::string>& channels,
                       const std::function<float(std::size_t, int, int)>& value) {
    ChannelImage image;
    image.setAttribute<Bucket>(names::displayWindow, Bucket{{0, 0}, {width, height}});
    image.setAttribute<Bucket>(names::dataWindow, Bucket{{0, 0}, {width, height}});
    for (std::size_t c = 0; c < channels.size(); ++c) {
        auto channel = std::make_unique<Channel<float>>(channels[c], width, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) channel->at(x, y) = value ? value(c, x, y) : 1.f;
        }
        image.addChannel(std::move(channel));
    }
    return image;
}

void markAsLxr(ChannelImage& image, int passes) {
    image.setAttribute<int>(names::isLumoraExr, 1);
    image.setAttribute<int>(names::statsPasses, passes);
    image.setAttribute<int>(names::statsTime, 10);
    image.setAttribute<int>(names::statsRaysPerSecond, 1000);
    image.setAttribute<float>(names::statsRaysPerSample, 2.f);
}

std::vector<std::string> channelNames(const ChannelImage& image, bool sorted) {
    std::vector<std::string> result;
    for (const auto& [name, channel] : image.channels()) result.push_back(name);
    if (sorted) std::ranges::sort(result);
    return result;
}

void expectPixels(const Bitmap<Float4>& actual, const Bitmap<Float4>& expected, std::optional<Pixel> at,
                  float tolerance) {
    if (!at) {
        ASSERT_EQ(actual.width(), expected.width());
        ASSERT_EQ(actual.height(), expected.height());
    }
    const Pixel offset = at.value_or(Pixel::ZERO);
    ASSERT_LE(offset.x + actual.width(), expected.width());
    ASSERT_LE(offset.y + actual.height(), expected.height());
    for (int y = 0; y < actual.height(); ++y) {
        for (int x = 0; x < actual.width(); ++x) {
            for (int c = 0; c < 4; ++c) {
                ASSERT_NEAR(actual(x, y)[c], expected(offset.x + x, offset.y + y)[c], tolerance)
                    << "pixel " << offset.x + x << "," << offset.y + y << " lane " << c;
            }
        }
    }
}

std::vector<std::string> filesIn(const std::filesystem::path& folder, const std::vector<std::string>& except) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::string name = entry.path().filename().string();
        if (std::ranges::find(except, name) == except.end()) names.push_back(std::move(name));
    }
    std::ranges::sort(names);
    return names;
}

template <class Picture>
std::optional<Picture> FakeSource::serve(const std::map<std::string, Picture>& pictures, const ElementInfo& element,
                                         const Bucket& region, float scale) {
    std::lock_guard lock(mutex_);
    ++calls_[element.name];
    lastScale = scale;
    const auto it = pictures.find(element.name);
    if (it == pictures.end()) return std::nullopt;
    if (anyPart) return sampleRegion(it->second, Bucket{Pixel::ZERO, rect.size()}, region, scale);
    if (region != rect || scale != 1.f) return std::nullopt;
    return it->second;
}

std::optional<Bitmap<Float4>> FakeSource::compute(const ElementInfo& element, const Bucket& region, float scale,
                                                  unsigned) {
    return serve(colour, element, region, scale);
}

std::optional<Bitmap<float>> FakeSource::computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                                     unsigned) {
    return serve(mono, element, region, scale);
}

int FakeSource::calls(const std::string& name) const {
    std::lock_guard lock(mutex_);
    const auto it = calls_.find(name);
    return it == calls_.end() ? 0 : it->second;
}

std::shared_ptr<const std::function<void(const std::string&)>> MessageLog::callback() {
    return std::make_shared<const std::function<void(const std::string&)>>([this](const std::string& text) {
        std::lock_guard lock(mutex_);
        texts_.push_back(text);
    });
}

std::vector<std::string> MessageLog::texts() const {
    std::lock_guard lock(mutex_);
    return texts_;
}

std::string missingWeightsMessage(const std::string& image, const std::string& channel,
                                  const std::string& executable) {
    std::string text = "Image \"" + image + "\" is missing channel \"" + channel +
                       "\", expected to contain pixel weights.\n\nFor each pixel to be merged its weight is required. "
                       "For this purpose mergeable images store a special weight channel defining a weight of each "
                       "pixel of the image. By default Lumora Renderer names this channel \"LUMORA_FB_WEIGHTS\".";
    if (executable.empty()) return text;
    return text + "\n\nIf the weight channel exists but with a different name than the expected default, please "
                  "explicitly specify the channel name - see help (" +
           executable + " -h) for how to do this. The other available option is to specify a constant weight for "
                        "all pixels.";
}

}  // namespace lumora::test
