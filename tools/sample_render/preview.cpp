#include "sample_render/preview.hpp"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace lumora::sample {

std::expected<void, std::string> writePreview(const ChannelImage& image, const std::filesystem::path& path) {
    const Channel<float>* rgb[3] = {image.getChannel<float>(names::R), image.getChannel<float>(names::G),
                                    image.getChannel<float>(names::B)};
    if (!rgb[0] || !rgb[1] || !rgb[2]) {
        return std::unexpected(std::string("The image has no beauty to preview."));
    }
    const int width = rgb[0]->width;
    const int height = rgb[0]->height;
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const float v = std::clamp(rgb[i % 3]->data[i / 3], 0.f, 1.f);
        pixels[i] = static_cast<std::uint8_t>(std::lround(std::pow(v, 1.f / 2.2f) * 255.f));
    }
    auto out = OIIO::ImageOutput::create(path.string());
    if (!out) {
        return std::unexpected("Cannot write the preview \"" + path.string() + "\": " + OIIO::geterror() + ".");
    }
    const OIIO::ImageSpec spec(width, height, 3, OIIO::TypeDesc::UINT8);
    if (!out->open(path.string(), spec) || !out->write_image(OIIO::TypeDesc::UINT8, pixels.data()) || !out->close()) {
        return std::unexpected("Cannot write the preview \"" + path.string() + "\": " + out->geterror() + ".");
    }
    return {};
}

}  // namespace lumora::sample
