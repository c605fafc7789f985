#include "lumora/image/image_format.hpp"

#include <array>
#include <utility>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/text.hpp"

namespace lumora {

namespace {

using S = SampleType;

// Indexed by the enumeration's value. Cineon, DDS and PSD are formats OpenImageIO only reads.
constexpr std::array<ImageFormatTraits, 16> kTraits{{
    {"bmp", "bmp", true, S::Uint8, false, false},
    {"png", "png", true, S::Uint8, true, false},
    {"jpg", "jpeg", false, S::Uint8, false, false},
    {"exr", "openexr", true, S::Half, false, true},
    {"gif", "gif", true, S::Uint8, false, false},
    {"tga", "targa", true, S::Uint8, false, false},
    {"tiff", "tiff", true, S::Uint8, true, false},
    {"hdr", "hdr", false, S::Float, false, true},
    {"cin", "", false, S::Uint8, false, false},
    {"dds", "", false, S::Uint8, false, false},
    {"ico", "ico", true, S::Uint8, false, false},
    {"iff", "iff", true, S::Uint8, true, false},
    {"jp2", "jpeg2000", true, S::Uint8, true, false},
    {"psd", "", false, S::Uint8, false, false},
    {"rla", "rla", true, S::Uint8, false, false},
    {"sgi", "sgi", true, S::Uint8, true, false},
}};

constexpr std::array<std::pair<std::string_view, ImageFormat>, 6> kOtherExtensions{{
    {"jpeg", ImageFormat::Jpg},
    {"jpe", ImageFormat::Jpg},
    {"tif", ImageFormat::Tiff},
    {"rgb", ImageFormat::Sgi},
    {"rgba", ImageFormat::Sgi},
    {"bw", ImageFormat::Sgi},
}};

bool holdsFloats(const ImageFormatTraits& traits) { return traits.sample == S::Half || traits.sample == S::Float; }

}  // namespace

std::optional<ImageFormat> getImageFormatFromFileName(const std::filesystem::path& path) {
    const std::string extension = path.extension().string();
    if (extension.size() < 2) return std::nullopt;
    const std::string name = text::toLower(extension.substr(1));
    for (std::size_t i = 0; i < kTraits.size(); ++i) {
        if (kTraits[i].name == name) return static_cast<ImageFormat>(i);
    }
    for (const auto& [other, format] : kOtherExtensions) {
        if (other == name) return format;
    }
    return std::nullopt;
}

const ImageFormatTraits& imageFormatTraits(ImageFormat format) {
    const auto index = static_cast<std::size_t>(format);
    if (index >= kTraits.size()) LUMORA_STOP();
    return kTraits[index];
}

SampleType chooseSampleType(ImageFormat format, SavePixelFormat requested) {
    const ImageFormatTraits& traits = imageFormatTraits(format);
    const bool floats = holdsFloats(traits);
    const S deepestInteger = traits.uint16 ? S::Uint16 : S::Uint8;
    switch (requested) {
        case SavePixelFormat::Default:
            return traits.sample;
        case SavePixelFormat::Uint8Rgb:
            return floats ? traits.sample : S::Uint8;
        case SavePixelFormat::Uint16Rgb:
            return floats ? traits.sample : deepestInteger;
        case SavePixelFormat::Flt16LinearRgb:
            return floats ? traits.sample : deepestInteger;
        case SavePixelFormat::Flt32LinearRgb:
            return traits.float32 ? S::Float : deepestInteger;
    }
    LUMORA_STOP();
}

}  // namespace lumora
