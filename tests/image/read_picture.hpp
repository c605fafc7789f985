#pragma once
// Reads a picture file back with OpenImageIO, as any other program would open it.

#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <string>
#include <vector>

namespace lumora::test {

struct ReadPicture {
    std::string error;  // empty when the file was read
    std::string format;  // OpenImageIO's name of the format it found
    int width = 0;
    int height = 0;
    int channels = 0;
    OIIO::TypeDesc type;
    std::vector<float> values;  // interleaved, converted to float (integers to [0, 1])

    float at(int x, int y, int c) const {
        return values[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) *
                          static_cast<std::size_t>(channels) +
                      static_cast<std::size_t>(c)];
    }
};

inline ReadPicture readPicture(const std::filesystem::path& path) {
    ReadPicture result;
    // The values as stored: readers must not multiply colour by alpha.
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    auto in = OIIO::ImageInput::open(path.string(), &config);
    if (!in) {
        result.error = OIIO::geterror();
        return result;
    }
    const OIIO::ImageSpec& spec = in->spec();
    result.format = in->format_name();
    result.width = spec.width;
    result.height = spec.height;
    result.channels = spec.nchannels;
    result.type = spec.format;
    result.values.resize(static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(spec.height) *
                         static_cast<std::size_t>(spec.nchannels));
    if (!in->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::FLOAT, result.values.data())) {
        result.error = in->geterror();
    }
    return result;
}

}  // namespace lumora::test
