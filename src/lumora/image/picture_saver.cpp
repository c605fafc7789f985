#include "lumora/image/picture_saver.hpp"

#include <Imath/half.h>
#include <OpenImageIO/imageio.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/foundation/temporary_files.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/image/exr_loader.hpp"

namespace lumora {

namespace {

// Rows per parallel task of the conversion.
constexpr std::int64_t kRowGrain = 16;

// OpenImageIO's JPEG 2000 writer encodes six resolution levels and silently writes a file
// without image data when a side is shorter than 2^5 pixels.
constexpr int kJpeg2000MinimumSide = 32;

// [0, 1] to the integer steps, nearest step; NaN and everything below 0 give 0.
template <class T, int Max>
T quantize(float v) {
    if (!(v > 0.f)) return 0;
    if (v >= 1.f) return static_cast<T>(Max);
    return static_cast<T>(v * static_cast<float>(Max) + 0.5f);
}

template <class T>
T convert(float v) {
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        return quantize<std::uint8_t, 255>(v);
    } else if constexpr (std::is_same_v<T, std::uint16_t>) {
        return quantize<std::uint16_t, 65535>(v);
    } else {
        return T(std::isnan(v) ? 0.f : v);
    }
}

// The picture's first `channels` lanes as interleaved samples of type T.
template <class T>
std::vector<T> interleave(const Bitmap<Float4>& pixels, int channels) {
    const auto width = static_cast<std::size_t>(pixels.width());
    std::vector<T> samples(width * static_cast<std::size_t>(pixels.height()) * static_cast<std::size_t>(channels));
    scheduler::parallelFor(0, pixels.height(), kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            const Float4* in = pixels.row(y);
            T* out = samples.data() + static_cast<std::size_t>(y) * width * static_cast<std::size_t>(channels);
            for (std::size_t x = 0; x < width; ++x) {
                alignas(16) float p[4];
                in[x].store(p);
                for (int c = 0; c < channels; ++c) *out++ = convert<T>(p[c]);
            }
        }
    });
    return samples;
}

struct Samples {
    OIIO::TypeDesc type;
    std::shared_ptr<const void> data;
};

template <class T>
Samples makeSamples(OIIO::TypeDesc type, const Bitmap<Float4>& pixels, int channels) {
    auto samples = std::make_shared<std::vector<T>>(interleave<T>(pixels, channels));
    return {type, std::shared_ptr<const void>(samples, samples->data())};
}

Samples convertPicture(SampleType sample, const Bitmap<Float4>& pixels, int channels) {
    switch (sample) {
        case SampleType::Uint8:
            return makeSamples<std::uint8_t>(OIIO::TypeDesc::UINT8, pixels, channels);
        case SampleType::Uint16:
            return makeSamples<std::uint16_t>(OIIO::TypeDesc::UINT16, pixels, channels);
        case SampleType::Half:
            return makeSamples<Imath::half>(OIIO::TypeDesc::HALF, pixels, channels);
        case SampleType::Float:
            return makeSamples<float>(OIIO::TypeDesc::FLOAT, pixels, channels);
    }
    LUMORA_STOP();
}

// The writer's message about the temporary file, told about the target instead.
std::string failure(std::string message, const std::filesystem::path& temporary,
                    const std::filesystem::path& target) {
    message = text::replaceAll(text::trim(message), temporary.native(), target.native());
    return rewriteExrErrorMessage(message, target);
}

std::string systemFailure(int error, const std::filesystem::path& target) {
    return rewriteExrErrorMessage(std::string(std::strerror(error)) + ".", target);
}

}  // namespace

std::optional<std::string> checkWritableFormat(const std::filesystem::path& path,
                                               std::optional<ImageFormat> format) {
    if (!format) format = getImageFormatFromFileName(path);
    if (!format) {
        const std::string extension = path.extension().string();
        return "Images cannot be saved in the \"" + (extension.empty() ? extension : extension.substr(1)) +
               "\" format: no supported image format has that file extension.";
    }
    const ImageFormatTraits& traits = imageFormatTraits(*format);
    if (traits.writer.empty()) {
        return "Images cannot be saved in the \"" + std::string(traits.name) +
               "\" format: it can be read, but not written.";
    }
    return std::nullopt;
}

std::expected<bool, std::string> saveImage(const std::filesystem::path& path, const Picture& picture, bool rawData,
                                           std::optional<ImageFormat> format, const ImageSaveSettings& settings) {
    if (const auto refused = checkWritableFormat(path, format)) return std::unexpected(*refused);
    if (!format) format = getImageFormatFromFileName(path);
    const ImageFormatTraits& traits = imageFormatTraits(*format);
    if (*format == ImageFormat::Jp2 &&
        (picture.pixels.width() < kJpeg2000MinimumSide || picture.pixels.height() < kJpeg2000MinimumSide)) {
        return std::unexpected(rewriteExrErrorMessage(
            "JPEG 2000 pictures must be at least " + std::to_string(kJpeg2000MinimumSide) + " pixels wide and high, " +
                "this one is " + std::to_string(picture.pixels.width()) + " x " +
                std::to_string(picture.pixels.height()) + ".",
            path));
    }

    try {
        const int channels = picture.alpha && traits.alpha ? 4 : 3;
        const Samples samples =
            convertPicture(chooseSampleType(*format, settings.pixelFormat), picture.pixels, channels);

        OIIO::ImageSpec spec(picture.pixels.width(), picture.pixels.height(), channels, samples.type);
        if (channels == 4) {
            spec.alpha_channel = 3;
            // The values are written as they are: the writers must not divide colour by alpha
            // (a single-channel element keeps its value in every channel).
            spec.attribute("oiio:UnassociatedAlpha", 1);
        }
        if (settings.writeMetadata) {
            spec.attribute("Software", "Lumora Image Editor " LUMORA_VERSION);
            // Integer files hold display-referred values; float files and raw data stay untagged.
            if (!rawData && (samples.type == OIIO::TypeDesc::UINT8 || samples.type == OIIO::TypeDesc::UINT16)) {
                spec.attribute("oiio:ColorSpace", "sRGB");
            }
        }

        // The temporary name keeps the extension, so that every writer sees the file it expects.
        const auto created = io::createTemporarySibling(path, path.extension().native());
        if (!created) return std::unexpected(systemFailure(created.error(), path));
        io::TemporaryFile temporary(*created);

        auto out = OIIO::ImageOutput::create(std::string(traits.writer));
        if (!out) return std::unexpected(failure(OIIO::geterror(), temporary.path(), path));
        if (!out->open(temporary.path().native(), spec) || !out->write_image(samples.type, samples.data.get()) ||
            !out->close()) {
            return std::unexpected(failure(out->geterror(), temporary.path(), path));
        }
        out.reset();
        if (const int error = temporary.commit(path)) return std::unexpected(systemFailure(error, path));
        return true;
    } catch (const std::bad_alloc&) {
        return std::unexpected(rewriteExrErrorMessage("There is not enough memory to write the image.", path));
    }
}

}  // namespace lumora
