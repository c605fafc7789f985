#pragma once
// A quick look at a render: the beauty after a plain gamma 2.2, as an 8-bit picture.

#include <expected>
#include <filesystem>
#include <string>

#include "lumora/image/channel_image.hpp"

namespace lumora::sample {

// The format follows the file name's extension (anything OpenImageIO writes).
std::expected<void, std::string> writePreview(const ChannelImage& image, const std::filesystem::path& path);

}  // namespace lumora::sample
