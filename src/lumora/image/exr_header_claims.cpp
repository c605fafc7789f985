#include "lumora/image/exr_header_claims.hpp"

#include <OpenEXR/Iex.h>
#include <OpenEXR/ImfCompression.h>
#include <OpenEXR/ImfName.h>
#include <OpenEXR/ImfPixelType.h>
#include <OpenEXR/ImfTileDescription.h>
#include <OpenEXR/ImfVersion.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "lumora/foundation/exception.hpp"

namespace lumora {

namespace {

constexpr const char* kNotAnImage = "File is not an image file.";
constexpr const char* kDamagedHeader = "File is damaged: its header is malformed.";
constexpr const char* kNoPixelData = "File stores no pixel data.\n\nIts data window is defined empty.";
// Tile buffers may exceed the image (small images in large tiles), but not by this much.
constexpr std::uint64_t kTileBufferAllowance = std::uint64_t{64} << 20;
// More parts than this cannot be real; OpenEXR keeps a record for each.
constexpr std::size_t kMaxParts = 1 << 16;

std::int32_t readInt32(const unsigned char* p) {
    const std::uint32_t v = std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
                            std::uint32_t{p[3]} << 24;
    return static_cast<std::int32_t>(v);
}

std::uint64_t ceilDiv(std::uint64_t a, std::uint64_t b) { return a / b + (a % b != 0 ? 1 : 0); }

std::uint64_t physicalMemoryBytes() {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return UINT64_MAX;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

// Scan lines per compressed chunk; unknown methods count as the largest so that the chunk-table
// check never refuses a file that OpenEXR might read.
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

// The most uncompressed bytes one stored byte can stand for: RLE codes a run of 127 bytes in 2,
// zlib's deflate expands at most 1032-fold (PXR24 adds 4/3 for floats stored in 24 bits), B44
// stores 32 bytes in at least 14 and B44A a flat block in 3; PIZ's Huffman runs stay far below
// 4096. The lossy DWA methods compress flat blocks to a zlib-packed DC value each, so they get the
// widest bound.
std::uint64_t maxInflation(int compression) {
    switch (compression) {
        case Imf::NO_COMPRESSION: return 1;
        case Imf::RLE_COMPRESSION: return 64;
        case Imf::ZIPS_COMPRESSION:
        case Imf::ZIP_COMPRESSION: return 1032;
        case Imf::PXR24_COMPRESSION: return 1376;
        case Imf::B44_COMPRESSION: return 3;
        case Imf::B44A_COMPRESSION: return 11;
        case Imf::PIZ_COMPRESSION: return 4096;
        default: return std::uint64_t{1} << 17;
    }
}

struct PartClaims {
    std::string type;  // the "type" attribute; empty when absent
    bool hasDataWindow = false;
    std::int64_t minX = 0, minY = 0, maxX = 0, maxY = 0;
    std::vector<std::uint64_t> channelBytes;  // bytes per pixel of each channel
    int compression = -1;
    bool hasTiles = false;
    std::uint64_t tileWidth = 0, tileHeight = 0;
    int levelMode = Imf::ONE_LEVEL;
    int roundingMode = Imf::ROUND_DOWN;
    std::int64_t chunkCount = -1;  // the "chunkCount" attribute of multi-part files

    bool isDeep() const { return type == "deepscanline" || type == "deeptile"; }
};

class HeaderWalker {
public:
    HeaderWalker(Imf::IStream& stream, std::uint64_t fileSize) : stream_(stream), size_(fileSize) {}

    std::string readName() {
        std::string name;
        for (;;) {
            char c = 0;
            stream_.read(&c, 1);
            if (c == 0) return name;
            if (name.size() == static_cast<std::size_t>(Imf::Name::MAX_LENGTH)) throw Iex::InputExc(kDamagedHeader);
            name += c;
        }
    }

    std::vector<unsigned char> readBytes(std::uint64_t count) {
        std::vector<unsigned char> bytes(count);
        stream_.read(reinterpret_cast<char*>(bytes.data()), static_cast<int>(count));
        return bytes;
    }

    std::uint64_t remaining() const { return size_ - std::min(size_, stream_.tellg()); }
    void skip(std::uint64_t count) { stream_.seekg(stream_.tellg() + count); }

    // The attributes of one header whose first name has been read; ends at the empty name.
    PartClaims readHeader(std::string name) {
        PartClaims claims;
        for (; !name.empty(); name = readName()) {
            const std::string type = readName();
            const std::int32_t size = readInt32(readBytes(4).data());
            if (size < 0 || static_cast<std::uint64_t>(size) > remaining()) throw Iex::InputExc(kDamagedHeader);
            const auto length = static_cast<std::uint64_t>(size);
            if (name == "dataWindow" && type == "box2i" && length == 16) {
                const auto v = readBytes(length);
                claims.hasDataWindow = true;
                claims.minX = readInt32(&v[0]);
                claims.minY = readInt32(&v[4]);
                claims.maxX = readInt32(&v[8]);
                claims.maxY = readInt32(&v[12]);
            } else if (name == "channels" && type == "chlist") {
                parseChannelList(readBytes(length), claims);
            } else if (name == "compression" && type == "compression" && length == 1) {
                claims.compression = readBytes(1)[0];
            } else if (name == "tiles" && type == "tiledesc" && length == 9) {
                const auto v = readBytes(length);
                claims.hasTiles = true;
                claims.tileWidth = static_cast<std::uint32_t>(readInt32(&v[0]));
                claims.tileHeight = static_cast<std::uint32_t>(readInt32(&v[4]));
                claims.levelMode = v[8] & 0x0f;
                claims.roundingMode = v[8] >> 4;
            } else if (name == "type" && type == "string" && length <= 64) {
                const auto v = readBytes(length);
                claims.type.assign(v.begin(), v.end());
            } else if (name == "chunkCount" && type == "int" && length == 4) {
                claims.chunkCount = readInt32(readBytes(4).data());
            } else {
                skip(length);
            }
        }
        return claims;
    }

private:
    static void parseChannelList(const std::vector<unsigned char>& bytes, PartClaims& claims) {
        std::size_t i = 0;
        while (i < bytes.size() && bytes[i] != 0) {
            while (i < bytes.size() && bytes[i] != 0) ++i;
            ++i;  // the name's terminator
            if (i + 16 > bytes.size()) throw Iex::InputExc(kDamagedHeader);
            claims.channelBytes.push_back(readInt32(&bytes[i]) == Imf::HALF ? 2 : 4);
            i += 16;  // pixel type, linear flag, reserved bytes, x and y sampling
        }
    }

    Imf::IStream& stream_;
    std::uint64_t size_;
};

// The number of pixels along one axis of a mip or rip level, as OpenEXR rounds it.
std::uint64_t levelSize(std::uint64_t size, int level, int roundingMode) {
    const std::uint64_t divisor = std::uint64_t{1} << level;
    const std::uint64_t value = roundingMode == Imf::ROUND_UP ? ceilDiv(size, divisor) : size / divisor;
    return std::max<std::uint64_t>(value, 1);
}

int levelCount(std::uint64_t size, int roundingMode) {
    int levels = 1;
    while (levels < 64 && levelSize(size, levels - 1, roundingMode) > 1) ++levels;
    return levels;
}

// Saturating arithmetic keeps absurd claims absurd instead of wrapping them into small numbers.
std::uint64_t mulSat(std::uint64_t a, std::uint64_t b) {
    std::uint64_t r = 0;
    return __builtin_mul_overflow(a, b, &r) ? UINT64_MAX : r;
}
std::uint64_t addSat(std::uint64_t a, std::uint64_t b) { return a > UINT64_MAX - b ? UINT64_MAX : a + b; }

// The chunks of one part: scan-line blocks, or tiles over every level that the file stores.
std::uint64_t chunkCount(const PartClaims& part, bool tiled, std::uint64_t w, std::uint64_t h) {
    if (!tiled) return ceilDiv(h, linesPerChunk(part.compression));
    const auto tiles = [&](int lx, int ly) {
        return mulSat(ceilDiv(levelSize(w, lx, part.roundingMode), part.tileWidth),
                      ceilDiv(levelSize(h, ly, part.roundingMode), part.tileHeight));
    };
    std::uint64_t count = 0;
    if (part.levelMode == Imf::MIPMAP_LEVELS) {
        const int levels = levelCount(std::max(w, h), part.roundingMode);
        for (int l = 0; l < levels; ++l) count = addSat(count, tiles(l, l));
    } else if (part.levelMode == Imf::RIPMAP_LEVELS) {
        const int levelsX = levelCount(w, part.roundingMode);
        const int levelsY = levelCount(h, part.roundingMode);
        for (int ly = 0; ly < levelsY; ++ly) {
            for (int lx = 0; lx < levelsX; ++lx) count = addSat(count, tiles(lx, ly));
        }
    } else {
        count = tiles(0, 0);
    }
    return count;
}

std::string describeTooLarge(std::int64_t width, std::int64_t height, std::size_t channels, std::uint64_t bytes) {
    return "File stores an image too large for the memory of this computer: " + std::to_string(width) + " x " +
           std::to_string(height) + " pixels in " + std::to_string(channels) + " channels need " +
           std::to_string(bytes >> 20) + " MiB.";
}

// The part that is read: its pixels must fit the machine, and a flat part's pixel data must be
// something the file's bytes can decompress to.
void checkReadPart(const PartClaims& part, bool tiled, std::uint64_t w, std::uint64_t h, std::uint64_t fileSize) {
    if (part.channelBytes.empty()) return;
    std::uint64_t bytesPerPixel = 0;
    for (std::uint64_t b : part.channelBytes) bytesPerPixel += b;
    const std::uint64_t pixels = mulSat(w, h);
    const std::uint64_t pixelBytes = mulSat(pixels, bytesPerPixel);
    const std::uint64_t memoryBytes = mulSat(pixels, 4 * part.channelBytes.size());
    if (memoryBytes == UINT64_MAX) throw Iex::InputExc(kExrDamagedClaims);
    // Deep parts hold a sample count per pixel, not pixel values; their chunks are checked below.
    if (!part.isDeep() && pixelBytes > mulSat(maxInflation(part.compression), fileSize)) {
        throw Iex::InputExc(kExrDamagedClaims);
    }
    if (tiled && part.hasTiles && part.tileWidth > 0 && part.tileHeight > 0) {
        // OpenEXR buffers whole tiles and whole rows of tiles.
        const std::uint64_t allowance = std::max(pixelBytes, kTileBufferAllowance);
        if (mulSat(mulSat(part.tileWidth, part.tileHeight), bytesPerPixel) > allowance ||
            mulSat(mulSat(w, part.tileHeight), bytesPerPixel) > allowance) {
            throw Iex::InputExc(kExrDamagedClaims);
        }
    }
    if (memoryBytes > physicalMemoryBytes()) {
        throw Iex::InputExc(describeTooLarge(static_cast<std::int64_t>(w), static_cast<std::int64_t>(h),
                                             part.channelBytes.size(), memoryBytes));
    }
}

}  // namespace

void checkExrHeaderClaims(Imf::IStream& stream, std::uint64_t fileSize) {
    if (fileSize < 8) throw Iex::InputExc(kNotAnImage);
    unsigned char start[8];
    stream.read(reinterpret_cast<char*>(start), 8);
    if (readInt32(start) != Imf::MAGIC) throw Iex::InputExc(kNotAnImage);
    const int version = readInt32(start + 4);
    if (Imf::getVersion(version) != Imf::EXR_VERSION || !Imf::supportsFlags(Imf::getFlags(version))) return;
    const bool multiPart = Imf::isMultiPart(version);

    HeaderWalker walker(stream, fileSize);
    std::vector<PartClaims> parts;
    if (multiPart) {
        for (std::string name = walker.readName(); !name.empty(); name = walker.readName()) {
            if (parts.size() == kMaxParts) throw Iex::InputExc(kExrDamagedClaims);
            parts.push_back(walker.readHeader(std::move(name)));
        }
    } else {
        parts.push_back(walker.readHeader(walker.readName()));
    }
    if (parts.empty()) return;  // OpenEXR reports a file without parts

    // Every part's table of chunk offsets is read and kept, 8 bytes per chunk.
    std::uint64_t chunks = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const PartClaims& part = parts[i];
        if (!part.hasDataWindow) return;  // OpenEXR reports what is missing
        const std::int64_t width = part.maxX - part.minX + 1;
        const std::int64_t height = part.maxY - part.minY + 1;
        if (width <= 0 || height <= 0) {
            if (i == 0) throw Exception(kNoPixelData);
            return;  // OpenEXR refuses other parts' empty windows itself
        }
        const bool tiled = multiPart ? part.type == "tiledimage" || part.type == "deeptile"
                                     : Imf::isTiled(version) && part.type != "deepscanline";
        if (tiled && (!part.hasTiles || part.tileWidth == 0 || part.tileHeight == 0)) return;
        const auto w = static_cast<std::uint64_t>(width);
        const auto h = static_cast<std::uint64_t>(height);
        const std::uint64_t claimed = part.chunkCount > 0 ? static_cast<std::uint64_t>(part.chunkCount) : 0;
        chunks = addSat(chunks, std::max(chunkCount(part, tiled, w, h), claimed));
        if (i == 0) checkReadPart(part, tiled, w, h, fileSize);
    }
    if (chunks > fileSize / 8) throw Iex::InputExc(kExrDamagedClaims);
}

}  // namespace lumora
