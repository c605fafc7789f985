// Files shaped like OpenEXR's public sample images (multi-part, deep, tiled, mip- and rip-mapped,
// half, uint, odd windows) are read with the values and windows that OpenEXR's own InputFile
// gives. Half channels are read as floats, so an LXR written from them holds 32-bit channels
// only; the EXR round trip checks that such an image is written and read back unchanged.

#include <OpenEXR/ImfDeepFrameBuffer.h>
#include <OpenEXR/ImfDeepScanLineOutputFile.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfMultiPartOutputFile.h>
#include <OpenEXR/ImfOutputPart.h>
#include <OpenEXR/ImfPartType.h>
#include <OpenEXR/ImfTiledOutputPart.h>

#include <functional>
#include <map>

#include "exr_test_support.hpp"
#include "lumora/image/exr_loader.hpp"

namespace lumora {
namespace {

using namespace exr_test;

// Every channel as OpenEXR's InputFile delivers it in 32-bit slots (floats, or uints as floats'
// bit patterns), keyed by name, with the data window.
struct Reference {
    Imath::Box2i window;
    std::map<std::string, std::vector<std::uint32_t>> bits;
};

Reference readWithInputFile(const fs::path& path) {
    Imf::InputFile file(path.c_str());
    Reference reference{file.header().dataWindow(), {}};
    const auto width = static_cast<std::size_t>(reference.window.max.x - reference.window.min.x + 1);
    const auto height = static_cast<std::size_t>(reference.window.max.y - reference.window.min.y + 1);
    Imf::FrameBuffer frameBuffer;
    for (auto it = file.header().channels().begin(); it != file.header().channels().end(); ++it) {
        auto& values = reference.bits[it.name()];
        values.resize(width * height);
        const Imf::PixelType type = it.channel().type == Imf::UINT ? Imf::UINT : Imf::FLOAT;
        frameBuffer.insert(it.name(), Imf::Slice::Make(type, values.data(), reference.window, 4, 4 * width));
    }
    file.setFrameBuffer(frameBuffer);
    file.readPixels(reference.window.min.y, reference.window.max.y);
    return reference;
}

void expectSameAsReference(const ChannelImage& image, const Reference& reference) {
    const auto* window = image.getAttribute<Bucket>(names::dataWindow);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->value, (Bucket{{reference.window.min.x, reference.window.min.y},
                                     {reference.window.max.x + 1, reference.window.max.y + 1}}));
    ASSERT_EQ(image.channels().size(), reference.bits.size());
    for (const auto& [name, bits] : reference.bits) {
        const auto it = image.channels().find(name);
        ASSERT_NE(it, image.channels().end()) << name;
        EXPECT_EQ(channelBits(*it->second), bits) << name;
    }
}

Imf::Header partHeader(const Imath::Box2i& display, const Imath::Box2i& data, const std::string& name,
                       const std::string& type) {
    Imf::Header header(display, data);
    header.setName(name);
    header.setType(type);
    return header;
}

// Two parts as in the public multi-part samples: a scan-line beauty first, then a tiled part with
// other channels and another data window (parts share their display window).
void writeMultiPart(const fs::path& path, const Imath::Box2i& display, const Imath::Box2i& data) {
    Imf::Header first = partHeader(display, data, "rgba", Imf::SCANLINEIMAGE);
    Imf::Header second = partHeader(display, box(0, 0, 9, 9), "depth", Imf::TILEDIMAGE);
    second.setTileDescription(Imf::TileDescription(4, 4));
    for (const RawChannel& c : {RawChannel{"R", Imf::HALF}, {"G", Imf::HALF}, {"B", Imf::HALF}, {"id", Imf::UINT}}) {
        first.channels().insert(c.name, Imf::Channel(c.type));
    }
    second.channels().insert("Z", Imf::Channel(Imf::FLOAT));
    Imf::MultiPartOutputFile file(path.c_str(), std::vector<Imf::Header>{first, second}.data(), 2);

    const auto width = static_cast<std::size_t>(data.max.x - data.min.x + 1);
    const auto count = width * static_cast<std::size_t>(data.max.y - data.min.y + 1);
    std::vector<std::vector<half>> halves(3, std::vector<half>(count));
    std::vector<unsigned> ids(count);
    Imf::FrameBuffer rgb;
    for (std::size_t c = 0; c < 3; ++c) {
        for (std::size_t i = 0; i < count; ++i) halves[c][i] = half(floatValue(c, i));
        rgb.insert(std::string(1, "RGB"[c]), Imf::Slice::Make(Imf::HALF, halves[c].data(), data, 2, 2 * width));
    }
    for (std::size_t i = 0; i < count; ++i) ids[i] = uintValue(3, i);
    rgb.insert("id", Imf::Slice::Make(Imf::UINT, ids.data(), data, 4, 4 * width));
    Imf::OutputPart scanLines(file, 0);
    scanLines.setFrameBuffer(rgb);
    scanLines.writePixels(data.max.y - data.min.y + 1);

    std::vector<float> depth(100, 7.f);
    Imf::FrameBuffer z;
    z.insert("Z", Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(depth.data()), 4, 40));
    Imf::TiledOutputPart tiles(file, 1);
    tiles.setFrameBuffer(z);
    tiles.writeTiles(0, tiles.numXTiles() - 1, 0, tiles.numYTiles() - 1);
}

// Deep scan lines with 0 to 3 samples per pixel, half colour and float depth, as in the public
// deep samples; OpenEXR composites them front to back.
void writeDeep(const fs::path& path, const Imath::Box2i& window) {
    Imf::Header header(window, window);
    header.setType(Imf::DEEPSCANLINE);
    header.compression() = Imf::ZIPS_COMPRESSION;
    const char* names[] = {"R", "G", "B", "A", "Z"};
    for (const char* name : names) header.channels().insert(name, Imf::Channel(*name == 'Z' ? Imf::FLOAT : Imf::HALF));
    const auto width = static_cast<std::size_t>(window.max.x - window.min.x + 1);
    const auto count = width * static_cast<std::size_t>(window.max.y - window.min.y + 1);
    std::vector<unsigned> samples(count);
    std::vector<std::vector<std::vector<half>>> colour(4, std::vector<std::vector<half>>(count));
    std::vector<std::vector<float>> depth(count);
    std::vector<std::vector<char*>> pointers(5, std::vector<char*>(count));
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<unsigned>(i % 4);
        for (std::size_t c = 0; c < 4; ++c) {
            for (unsigned s = 0; s < samples[i]; ++s) colour[c][i].push_back(half(c == 3 ? 0.5f : floatValue(c, i + s)));
            pointers[c][i] = reinterpret_cast<char*>(colour[c][i].data());
        }
        for (unsigned s = 0; s < samples[i]; ++s) depth[i].push_back(1.f + static_cast<float>(s));
        pointers[4][i] = reinterpret_cast<char*>(depth[i].data());
    }
    Imf::DeepFrameBuffer frameBuffer;
    const auto shift = static_cast<std::ptrdiff_t>(window.min.x) + static_cast<std::ptrdiff_t>(window.min.y) * width;
    frameBuffer.insertSampleCountSlice(Imf::Slice(Imf::UINT, reinterpret_cast<char*>(samples.data() - shift), 4, 4 * width));
    for (std::size_t c = 0; c < 5; ++c) {
        frameBuffer.insert(names[c], Imf::DeepSlice(c == 4 ? Imf::FLOAT : Imf::HALF,
                                                    reinterpret_cast<char*>(pointers[c].data() - shift), sizeof(char*),
                                                    sizeof(char*) * width, c == 4 ? 4 : 2));
    }
    Imf::DeepScanLineOutputFile file(path.c_str(), header);
    file.setFrameBuffer(frameBuffer);
    file.writePixels(window.max.y - window.min.y + 1);
}

void writeTiled(const fs::path& path, const Imath::Box2i& window, Imf::LevelMode mode, Imf::LevelRoundingMode rounding) {
    Imf::Header header(window, window);
    header.setTileDescription(Imf::TileDescription(16, 8, mode, rounding));
    header.compression() = Imf::RLE_COMPRESSION;
    if (mode == Imf::ONE_LEVEL) {
        writeRaw(path, header, {{"R", Imf::HALF}, {"G", Imf::HALF}, {"B", Imf::HALF}, {"A", Imf::FLOAT}});
        return;
    }
    // Every level holds its own pixels; level 0 is the one the editor reads.
    const auto width = static_cast<std::size_t>(window.max.x - window.min.x + 1);
    const auto count = width * static_cast<std::size_t>(window.max.y - window.min.y + 1);
    for (const char* name : {"R", "G", "B"}) header.channels().insert(name, Imf::Channel(Imf::FLOAT));
    Imf::TiledOutputFile file(path.c_str(), header);
    std::vector<std::vector<float>> values(3, std::vector<float>(count));
    for (int ly = 0; ly < file.numYLevels(); ++ly) {
        for (int lx = 0; lx < file.numXLevels(); ++lx) {
            if (mode == Imf::MIPMAP_LEVELS && lx != ly) continue;
            Imf::FrameBuffer frameBuffer;
            for (std::size_t c = 0; c < 3; ++c) {
                for (std::size_t i = 0; i < count; ++i) values[c][i] = floatValue(c, i) + 100.f * (lx + 10 * ly);
                frameBuffer.insert(std::string(1, "RGB"[c]),
                                   Imf::Slice::Make(Imf::FLOAT, values[c].data(), window, 4, 4 * width));
            }
            file.setFrameBuffer(frameBuffer);
            file.writeTiles(0, file.numXTiles(lx) - 1, 0, file.numYTiles(ly) - 1, lx, ly);
        }
    }
}

TEST(ExrConformance, SampleShapedFilesReadAsInputFileReadsThem) {
    const fs::path folder = testFolder();
    const Imath::Box2i odd = box(-13, 7, 23, 31);  // 37 x 25 at a negative origin
    const std::vector<std::pair<const char*, std::function<void(const fs::path&)>>> samples{  // name, writer
        {"multi-part", [&](const fs::path& p) { writeMultiPart(p, box(-20, 0, 40, 40), odd); }},
        {"deep scan lines", [&](const fs::path& p) { writeDeep(p, odd); }},
        {"tiled half", [&](const fs::path& p) { writeTiled(p, odd, Imf::ONE_LEVEL, Imf::ROUND_DOWN); }},
        {"mip-mapped", [&](const fs::path& p) { writeTiled(p, odd, Imf::MIPMAP_LEVELS, Imf::ROUND_UP); }},
        {"rip-mapped", [&](const fs::path& p) { writeTiled(p, odd, Imf::RIPMAP_LEVELS, Imf::ROUND_DOWN); }},
    };
    for (const auto& [name, write] : samples) {
        SCOPED_TRACE(name);
        const fs::path path = folder / (std::string(name) + ".exr");
        write(path);
        const Reference reference = readWithInputFile(path);
        for (bool multithreaded : {false, true}) {
            auto image = ExrLoader(multithreaded).load(path);
            ASSERT_TRUE(image) << image.error();
            expectSameAsReference(*image, reference);
        }
    }
}

TEST(ExrConformance, MultiPartFilesGiveTheFirstPartsMessages) {
    const fs::path folder = testFolder();
    const fs::path path = folder / "partly overlapping.exr";
    writeMultiPart(path, box(0, 0, 9, 9), box(5, 5, 14, 14));
    EXPECT_EQ(ExrLoader().load(path).error(),
              "Cannot operate with image file \"" + path.native() +
                  "\". File stores an invalid image.\n\nIt either does not have all required and properly defined "
                  "attributes (data and display windows, gamma), or its pixel data are incomplete.");
}

}  // namespace
}  // namespace lumora
