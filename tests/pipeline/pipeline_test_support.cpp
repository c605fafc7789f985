#include "pipeline/pipeline_test_support.hpp"

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

std::vector<std::string> channelNames(const ChannelImage& image) {
    std::vector<std::string> result;
    for (const auto& [name, channel] : image.channels()) result.push_back(name);
    return result;
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

std::filesystem::path scratchFolder(const std::string& name) {
    const auto folder = std::filesystem::path(LUMORA_TEST_TMP) / (name + "_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    return folder;
}

}  // namespace lumora::test
