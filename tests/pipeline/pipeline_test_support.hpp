#pragma once
// Small images, message collectors and scratch folders for the pipeline tests.

#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "lumora/image/channel_image.hpp"

namespace lumora::test {

// A w x h image with the given float channels, value(channel index, x, y) filling them, and the
// display and data windows at the origin.
ChannelImage makeImage(int width, int height, const std::vector<std::string>& channels,
                       const std::function<float(std::size_t, int, int)>& value = {});

// Adds the LXR marker and statistics.
void markAsLxr(ChannelImage& image, int passes = 1);

// Channel names of an image, in its order.
std::vector<std::string> channelNames(const ChannelImage& image);

// Thread-safe collector of the texts an operator reports through one callback.
class MessageLog {
public:
    std::shared_ptr<const std::function<void(const std::string&)>> callback();
    std::vector<std::string> texts() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> texts_;
};

// A folder of this test process's own (ctest runs the test cases in parallel processes).
std::filesystem::path scratchFolder(const std::string& name);

}  // namespace lumora::test
