#include "lumora/image/exr_loader.hpp"

#include <OpenEXR/Iex.h>
#include <OpenEXR/ImfBoxAttribute.h>
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfCompression.h>
#include <OpenEXR/ImfDoubleAttribute.h>
#include <OpenEXR/ImfFloatAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfName.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <OpenEXR/ImfThreading.h>
#include <OpenEXR/ImfVecAttribute.h>
#include <OpenEXR/ImfVersion.h>
#include <Imath/half.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <stdexcept>
#include <vector>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/text.hpp"
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

// Refusals found before OpenEXR reads the file. They are reported like the library's own errors,
// so the message names the file.
constexpr const char* kNotAnImage = "File is not an image file.";
constexpr const char* kDeepData = "File stores deep pixel data, which cannot be read.";
constexpr const char* kMultiPart = "File stores several image parts, which cannot be read.";
constexpr const char* kDamagedHeader = "File is damaged: its header is malformed.";
constexpr const char* kDamagedClaims = "File is damaged: its header claims more pixel data than the file holds.";
constexpr const char* kOutOfMemory = "There is not enough memory to read the image.";

// Headers claiming this many bytes of pixel data from a file this many times smaller are damaged:
// no compression of real images comes close.
constexpr std::uint64_t kSuspiciousPixelBytes = std::uint64_t{1} << 30;
constexpr std::uint64_t kImpossibleCompressionRatio = 10000;
// Tile buffers may exceed the image (small images in large tiles), but not by this much.
constexpr std::uint64_t kTileBufferAllowance = std::uint64_t{64} << 20;
// OpenEXR's own limits, a second guard behind the checks below.
constexpr int kMaxImageSide = 1 << 24;
constexpr int kMaxTileSide = 1 << 24;

std::int32_t readInt32(const unsigned char* p) {
    const std::uint32_t v = std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
                            std::uint32_t{p[3]} << 24;
    return static_cast<std::int32_t>(v);
}

std::uint64_t physicalMemoryBytes() {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) {
        return UINT64_MAX;
    }
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

// Scan lines per compressed chunk; unknown methods count as the largest so that the chunk-table
// check below never refuses a file that OpenEXR might read.
std::uint64_t linesPerChunk(int compression) {
    switch (compression) {
        case Imf::NO_COMPRESSION:
        case Imf::RLE_COMPRESSION:
        case Imf::ZIPS_COMPRESSION: return 1;
        case Imf::ZIP_COMPRESSION:
        case Imf::PXR24_COMPRESSION: return 16;
        case Imf::PIZ_COMPRESSION:
        case Imf::B44_COMPRESSION:
        case Imf::B44A_COMPRESSION:
        case Imf::DWAA_COMPRESSION: return 32;
        default: return 256;
    }
}

std::uint64_t ceilDiv(std::uint64_t a, std::uint64_t b) { return a / b + (a % b != 0 ? 1 : 0); }

// What the header says about the pixel data, gathered by walking the attribute table without
// trusting any size in it: OpenEXR sizes its allocations by these values before it reads a pixel.
struct HeaderClaims {
    bool checkable = true;  // false for versions and flags OpenEXR itself refuses
    bool tiled = false;
    bool hasDataWindow = false;
    std::int64_t minX = 0, minY = 0, maxX = 0, maxY = 0;
    std::vector<std::uint64_t> channelBytes;  // bytes per pixel of each channel
    int compression = -1;
    bool hasTiles = false;
    std::uint64_t tileWidth = 0, tileHeight = 0;
    std::string type;
};

class HeaderWalker {
public:
    explicit HeaderWalker(ExrIStreamAdapter& stream) : stream_(stream) {}

    std::string readName() {
        std::string name;
        for (;;) {
            char c = 0;
            stream_.read(&c, 1);
            if (c == 0) {
                return name;
            }
            if (name.size() == static_cast<std::size_t>(Imf::Name::MAX_LENGTH)) {
                throw Iex::InputExc(kDamagedHeader);
            }
            name += c;
        }
    }

    std::vector<unsigned char> readBytes(std::uint64_t count) {
        std::vector<unsigned char> bytes(count);
        stream_.read(reinterpret_cast<char*>(bytes.data()), static_cast<int>(count));
        return bytes;
    }

    std::uint64_t remaining() const { return stream_.fileSize() - std::min(stream_.fileSize(), stream_.tellg()); }
    void skip(std::uint64_t count) { stream_.seekg(stream_.tellg() + count); }

private:
    ExrIStreamAdapter& stream_;
};

void parseChannelList(const std::vector<unsigned char>& bytes, HeaderClaims& claims) {
    std::size_t i = 0;
    while (i < bytes.size() && bytes[i] != 0) {
        while (i < bytes.size() && bytes[i] != 0) {
            ++i;
        }
        ++i;  // the name's terminator
        if (i + 16 > bytes.size()) {
            throw Iex::InputExc(kDamagedHeader);
        }
        claims.channelBytes.push_back(readInt32(&bytes[i]) == Imf::HALF ? 2 : 4);
        i += 16;  // pixel type, linear flag, reserved bytes, x and y sampling
    }
}

HeaderClaims readHeaderClaims(ExrIStreamAdapter& stream) {
    HeaderClaims claims;
    if (stream.fileSize() < 8) {
        throw Iex::InputExc(kNotAnImage);
    }
    unsigned char start[8];
    stream.read(reinterpret_cast<char*>(start), 8);
    if (readInt32(start) != Imf::MAGIC) {
        throw Iex::InputExc(kNotAnImage);
    }
    const int version = readInt32(start + 4);
    if (Imf::isMultiPart(version)) {
        throw Iex::InputExc(kMultiPart);
    }
    if (Imf::isNonImage(version)) {
        throw Iex::InputExc(kDeepData);
    }
    if (Imf::getVersion(version) != Imf::EXR_VERSION || !Imf::supportsFlags(Imf::getFlags(version))) {
        claims.checkable = false;
        return claims;
    }
    claims.tiled = Imf::isTiled(version);

    HeaderWalker walker(stream);
    for (std::string name = walker.readName(); !name.empty(); name = walker.readName()) {
        const std::string type = walker.readName();
        const auto sizeBytes = walker.readBytes(4);
        const std::int32_t size = readInt32(sizeBytes.data());
        if (size < 0 || static_cast<std::uint64_t>(size) > walker.remaining()) {
            throw Iex::InputExc(kDamagedHeader);
        }
        const auto length = static_cast<std::uint64_t>(size);
        if (name == "dataWindow" && type == "box2i" && length == 16) {
            const auto v = walker.readBytes(length);
            claims.hasDataWindow = true;
            claims.minX = readInt32(&v[0]);
            claims.minY = readInt32(&v[4]);
            claims.maxX = readInt32(&v[8]);
            claims.maxY = readInt32(&v[12]);
        } else if (name == "channels" && type == "chlist") {
            parseChannelList(walker.readBytes(length), claims);
        } else if (name == "compression" && type == "compression" && length == 1) {
            claims.compression = walker.readBytes(1)[0];
        } else if (name == "tiles" && type == "tiledesc" && length == 9) {
            const auto v = walker.readBytes(length);
            claims.hasTiles = true;
            claims.tileWidth = static_cast<std::uint32_t>(readInt32(&v[0]));
            claims.tileHeight = static_cast<std::uint32_t>(readInt32(&v[4]));
        } else if (name == "type" && type == "string" && length <= 64) {
            const auto v = walker.readBytes(length);
            claims.type.assign(v.begin(), v.end());
        } else {
            walker.skip(length);
        }
    }
    return claims;
}

std::string describeTooLarge(std::int64_t width, std::int64_t height, std::size_t channels, std::uint64_t bytes) {
    return "File stores an image too large for the memory of this computer: " + std::to_string(width) + " x " +
           std::to_string(height) + " pixels in " + std::to_string(channels) + " channels need " +
           std::to_string(bytes >> 20) + " MiB.";
}

// Refuses headers whose claims would make OpenEXR or this reader allocate more than the file can
// justify or the machine can give. All sizes are computed in 64 bits.
void checkHeaderClaims(const HeaderClaims& claims, std::uint64_t fileSize) {
    if (claims.type == "deepscanline" || claims.type == "deeptile") {
        throw Iex::InputExc(kDeepData);
    }
    if (!claims.checkable || !claims.hasDataWindow) {
        return;  // OpenEXR reports what is missing
    }
    const std::int64_t width = claims.maxX - claims.minX + 1;
    const std::int64_t height = claims.maxY - claims.minY + 1;
    if (width <= 0 || height <= 0) {
        throw Exception(kNoPixelData);
    }
    if (claims.channelBytes.empty()) {
        return;
    }
    const auto w = static_cast<std::uint64_t>(width);
    const auto h = static_cast<std::uint64_t>(height);
    std::uint64_t bytesPerPixel = 0;
    for (std::uint64_t b : claims.channelBytes) {
        bytesPerPixel += b;
    }
    std::uint64_t pixels = 0;
    std::uint64_t pixelBytes = 0;
    std::uint64_t memoryBytes = 0;
    if (__builtin_mul_overflow(w, h, &pixels) || __builtin_mul_overflow(pixels, bytesPerPixel, &pixelBytes) ||
        __builtin_mul_overflow(pixels, std::uint64_t{4} * claims.channelBytes.size(), &memoryBytes)) {
        throw Iex::InputExc(kDamagedClaims);
    }
    if (pixelBytes >= kSuspiciousPixelBytes && pixelBytes / kImpossibleCompressionRatio >= fileSize) {
        throw Iex::InputExc(kDamagedClaims);
    }

    std::uint64_t chunks = 0;
    if (claims.tiled) {
        if (!claims.hasTiles || claims.tileWidth == 0 || claims.tileHeight == 0) {
            return;  // OpenEXR reports the tile description
        }
        // Level 0 alone needs this many tiles; OpenEXR buffers whole tiles and whole rows of tiles.
        const std::uint64_t allowance = std::max(pixelBytes, kTileBufferAllowance);
        std::uint64_t tileArea = 0, tileBytes = 0, rowArea = 0, rowBytes = 0;
        if (__builtin_mul_overflow(ceilDiv(w, claims.tileWidth), ceilDiv(h, claims.tileHeight), &chunks) ||
            __builtin_mul_overflow(claims.tileWidth, claims.tileHeight, &tileArea) ||
            __builtin_mul_overflow(tileArea, bytesPerPixel, &tileBytes) ||
            __builtin_mul_overflow(w, claims.tileHeight, &rowArea) ||
            __builtin_mul_overflow(rowArea, bytesPerPixel, &rowBytes) || tileBytes > allowance ||
            rowBytes > allowance) {
            throw Iex::InputExc(kDamagedClaims);
        }
    } else {
        chunks = ceilDiv(h, linesPerChunk(claims.compression));
    }
    if (chunks > fileSize / 8) {  // the table of chunk offsets alone would not fit
        throw Iex::InputExc(kDamagedClaims);
    }
    if (memoryBytes > physicalMemoryBytes()) {
        throw Iex::InputExc(describeTooLarge(width, height, claims.channelBytes.size(), memoryBytes));
    }
}

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
    std::vector<Channel<float>*> halfChannels;
    for (auto it = header.channels().begin(); it != header.channels().end(); ++it) {
        const std::string name = wellFormedUtf8(it.name());
        if (image.channels().contains(name)) {
            throw Exception(kDuplicateChannels);
        }
        const Imf::PixelType type = it.channel().type;
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
        if (result.find(native) == std::string::npos) {
            result = "Cannot operate with image file \"" + native + "\". " + result;
        }
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
        setLibraryLimits();
        setExrThreadCount(multithreaded_);
        ExrIStreamAdapter stream(path);
        checkHeaderClaims(readHeaderClaims(stream), stream.fileSize());
        stream.seekg(0);
        Imf::InputFile file(stream, Imf::globalThreadCount());
        return readImage(file);
    } catch (...) {
        return std::unexpected(describeExrFailure(std::current_exception(), kOutOfMemory, path));
    }
}

}  // namespace lumora
