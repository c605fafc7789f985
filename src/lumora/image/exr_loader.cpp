#include "lumora/image/exr_loader.hpp"

#include <OpenEXR/Iex.h>
#include <OpenEXR/ImfBoxAttribute.h>
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfDoubleAttribute.h>
#include <OpenEXR/ImfFloatAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfPartType.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <OpenEXR/ImfThreading.h>
#include <OpenEXR/ImfVecAttribute.h>
#include <Imath/half.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <stdexcept>
#include <vector>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/image/exr_header_claims.hpp"
#include "lumora/image/exr_streams.hpp"

namespace lumora {

namespace {

constexpr const char* kNoPixelData = "File stores no pixel data.\n\nIts data window is defined empty.";
constexpr const char* kDuplicateAttributes = "File stores duplicate attributes.";
constexpr const char* kDuplicateChannels = "File stores duplicate channels.";
constexpr const char* kInvalidImage =
    "File stores an invalid image.\n\nIt either does not have all required and properly defined attributes "
    "(data and display windows, gamma), or its pixel data are incomplete.";
constexpr const char* kNoBeauty =
    "File stores an image without a valid beauty element.\n\nIt is either incomplete, or not stored with a "
    "floating-point precision.";

constexpr const char* kOutOfMemory = "There is not enough memory to read the image.";
// OpenEXR's own limits, a second guard behind the header checks.
constexpr int kMaxImageSide = 1 << 24;
constexpr int kMaxTileSide = 1 << 24;

// Attribute names are 8-bit texts whose bytes map one to one onto code points.
std::string latin1ToUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x80) {
            out += c;
        } else {
            out += static_cast<char>(0xC0 | (b >> 6));
            out += static_cast<char>(0x80 | (b & 0x3F));
        }
    }
    return out;
}

// Texts in the file are UTF-8; ill-formed sequences become U+FFFD so that every text held by an
// image can be written again.
std::string wellFormedUtf8(const std::string& bytes) {
    return text::isValidUtf8(bytes) ? bytes : text::fromUtf32(text::toUtf32(bytes));
}

// The file's inclusive maximum becomes exclusive (wrapping, never overflowing, at the int range).
int exclusive(int inclusiveMax) { return static_cast<int>(static_cast<unsigned>(inclusiveMax) + 1u); }

std::unique_ptr<IAttribute> convertAttribute(const std::string& name, const Imf::Attribute& attribute) {
    if (const auto* a = dynamic_cast<const Imf::StringAttribute*>(&attribute)) {
        return std::make_unique<Attribute<std::string>>(name, wellFormedUtf8(a->value()));
    }
    if (const auto* a = dynamic_cast<const Imf::IntAttribute*>(&attribute)) {
        return std::make_unique<Attribute<int>>(name, a->value());
    }
    if (const auto* a = dynamic_cast<const Imf::FloatAttribute*>(&attribute)) {
        return std::make_unique<Attribute<float>>(name, a->value());
    }
    if (const auto* a = dynamic_cast<const Imf::DoubleAttribute*>(&attribute)) {
        return std::make_unique<Attribute<double>>(name, a->value());
    }
    if (const auto* a = dynamic_cast<const Imf::V2iAttribute*>(&attribute)) {
        return std::make_unique<Attribute<Pixel>>(name, Pixel{a->value().x, a->value().y});
    }
    if (const auto* a = dynamic_cast<const Imf::Box2iAttribute*>(&attribute)) {
        const Imath::Box2i& box = a->value();
        return std::make_unique<Attribute<Bucket>>(
            name, Bucket{{box.min.x, box.min.y}, {exclusive(box.max.x), exclusive(box.max.y)}});
    }
    if (const auto* a = dynamic_cast<const Imf::V3fAttribute*>(&attribute)) {
        return std::make_unique<Attribute<Rgb>>(name, Rgb{a->value().x, a->value().y, a->value().z});
    }
    return nullptr;
}

bool isValidImage(const ChannelImage& image) {
    const auto* display = image.getAttribute<Bucket>(names::displayWindow);
    const auto* data = image.getAttribute<Bucket>(names::dataWindow);
    if (!display || !data || !image.getAttribute<float>(names::gamma) || display->value.isEmpty() ||
        data->value.isEmpty() || image.channels().empty()) {
        return false;
    }
    if (!display->value.contains(data->value) && !data->value.contains(display->value)) {
        return false;
    }
    return std::all_of(image.channels().begin(), image.channels().end(), [&](const auto& entry) {
        return entry.second->getWidth() == data->value.width() && entry.second->getHeight() == data->value.height();
    });
}

// OpenEXR wrote each half into the first two bytes of its 32-bit slot; widen every slot in place.
void widenHalves(Channel<float>& channel) {
    for (float& slot : channel.data) {
        std::uint16_t bits;
        std::memcpy(&bits, &slot, sizeof bits);
        half value;
        value.setBits(bits);
        slot = static_cast<float>(value);
    }
}

ChannelImage readImage(Imf::InputFile& file) {
    const Imf::Header& header = file.header();
    const Imath::Box2i& window = header.dataWindow();
    if (window.max.x < window.min.x || window.max.y < window.min.y) {
        throw Exception(kNoPixelData);
    }

    ChannelImage image;
    Imf::FrameBuffer frameBuffer;
    for (auto it = header.begin(); it != header.end(); ++it) {
        const std::string name = latin1ToUtf8(it.name());
        auto attribute = convertAttribute(name, it.attribute());
        if (!attribute) {
            continue;
        }
        if (!image.attributes().emplace(name, std::move(attribute)).second) {
            throw Exception(kDuplicateAttributes);
        }
    }

    // The header's sanity check keeps window coordinates within half the int range.
    const int width = window.max.x - window.min.x + 1;
    const int height = window.max.y - window.min.y + 1;
    // Deep data arrives composited by OpenEXR, which delivers floats only.
    const bool deep = header.hasType() && Imf::isDeepData(header.type());
    std::vector<Channel<float>*> halfChannels;
    for (auto it = header.channels().begin(); it != header.channels().end(); ++it) {
        const std::string name = wellFormedUtf8(it.name());
        if (image.channels().contains(name)) {
            throw Exception(kDuplicateChannels);
        }
        const Imf::PixelType type = deep && it.channel().type == Imf::HALF ? Imf::FLOAT : it.channel().type;
        void* values = nullptr;
        if (type == Imf::UINT) {
            auto channel = std::make_unique<Channel<unsigned int>>(name, width, height);
            values = channel->data.data();
            image.channels().emplace(name, std::move(channel));
        } else {
            auto channel = std::make_unique<Channel<float>>(name, width, height);
            values = channel->data.data();
            if (type == Imf::HALF) {
                halfChannels.push_back(channel.get());
            }
            image.channels().emplace(name, std::move(channel));
        }
        // Every slot is 32 bits wide, whatever the file's pixel type.
        frameBuffer.insert(it.name(), Imf::Slice::Make(type, values, window, 4, 4 * static_cast<std::size_t>(width)));
    }

    if (!image.getAttribute<float>(names::gamma)) {
        image.setAttribute(names::gamma, 1.0f);
    }
    if (!isValidImage(image)) {
        throw Exception(kInvalidImage);
    }
    if (!image.hasRgb(names::beauty)) {
        throw Exception(kNoBeauty);
    }

    file.setFrameBuffer(frameBuffer);
    file.readPixels(window.min.y, window.max.y);
    for (Channel<float>* channel : halfChannels) {
        widenHalves(*channel);
    }
    return image;
}

void setLibraryLimits() {
    static std::once_flag once;
    std::call_once(once, [] {
        Imf::staticInitialize();
        Imf::Header::setMaxImageSize(kMaxImageSide, kMaxImageSide);
        Imf::Header::setMaxTileSize(kMaxTileSide, kMaxTileSide);
    });
}

}  // namespace

std::string nameImageFile(const std::string& message, const std::filesystem::path& path) {
    const std::string quoted = "\"" + path.native() + "\"";
    // A message names the file when it quotes the path, as OpenEXR's do; a bare match proves
    // nothing for short paths such as "." inside "Is a directory.".
    if (path.empty() || message.find(quoted) != std::string::npos) return message;
    return "Cannot operate with image file " + quoted + ". " + message;
}

std::string rewriteExrErrorMessage(std::string_view message, const std::filesystem::path& path) {
    std::string result = message.empty() ? std::string("Unknown error has occurred.") : std::string(message);
    const std::string& native = path.native();
    if (!native.empty()) {
        std::string forward = native;
        std::replace(forward.begin(), forward.end(), std::filesystem::path::preferred_separator, '/');
        if (forward != native) {
            result = text::replaceAll(result, forward, native);
        }
        result = text::replaceAll(result, "'" + native + "'", "\"" + native + "\"");
        result = nameImageFile(result, path);
    }
    result = text::replaceAll(result, "File is not an image file.", "File is not a supported image file.");
    result = text::trim(result);
    if (!text::endsWith(result, ".")) {
        result += '.';
    }
    return result;
}

std::string describeExrFailure(std::exception_ptr error, std::string_view outOfMemory,
                               const std::filesystem::path& path) {
    try {
        std::rethrow_exception(error);
    } catch (const Exception& e) {
        return e.message();
    } catch (const std::bad_alloc&) {
        return rewriteExrErrorMessage(outOfMemory, path);
    } catch (const std::length_error&) {
        return rewriteExrErrorMessage(outOfMemory, path);
    } catch (const std::exception& e) {
        return rewriteExrErrorMessage(e.what(), path);
    } catch (...) {
        return rewriteExrErrorMessage({}, path);
    }
}

std::expected<ChannelImage, std::string> ExrLoader::load(const std::filesystem::path& path) {
    std::lock_guard lock(exrIoMutex());
    try {
        ExrIStreamAdapter stream(path);
        return read(stream, stream.fileSize());
    } catch (...) {
        // Every reason a file cannot be read, the reader's own included, names the file.
        return std::unexpected(nameImageFile(describeExrFailure(std::current_exception(), kOutOfMemory, path), path));
    }
}

std::expected<ChannelImage, std::string> ExrLoader::loadStream(Imf::IStream& stream, std::uint64_t size) {
    std::lock_guard lock(exrIoMutex());
    try {
        return read(stream, size);
    } catch (...) {
        const std::filesystem::path name = stream.fileName();
        return std::unexpected(nameImageFile(describeExrFailure(std::current_exception(), kOutOfMemory, name), name));
    }
}

ChannelImage ExrLoader::read(Imf::IStream& stream, std::uint64_t size) const {
    setLibraryLimits();
    setExrThreadCount(multithreaded_);
    checkExrHeaderClaims(stream, size);
    stream.seekg(0);
    Imf::InputFile file(stream, Imf::globalThreadCount());
    return readImage(file);
}

}  // namespace lumora
