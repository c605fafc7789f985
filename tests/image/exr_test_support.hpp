#pragma once
// Scratch folders, byte access and files written straight through OpenEXR (bypassing the
// program's writer) for the image reading and writing tests.

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfTiledOutputFile.h>
#include <Imath/half.h>
#include <gtest/gtest.h>

#include "lumora/image/channel_image.hpp"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace lumora::exr_test {

namespace fs = std::filesystem;

// A fresh folder for the running test, unique per test so parallel test processes never share one.
inline fs::path testFolder() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name();
    std::replace(name.begin(), name.end(), '/', '_');
    const fs::path folder = fs::path(LUMORA_TEST_TMP) / "image" / name;
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

inline std::vector<char> readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeBytes(const fs::path& path, const std::vector<char>& bytes) {
    fs::remove(path);  // truncating a file in place can make the file system write it out at once
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Offset of the data window's value (min x, min y, max x, max y) in a scan-line file's bytes.
inline std::size_t dataWindowOffset(const std::vector<char>& bytes) {
    static const std::string key("dataWindow\0box2i\0", 17);
    return static_cast<std::size_t>(std::search(bytes.begin(), bytes.end(), key.begin(), key.end()) - bytes.begin()) +
           key.size() + 4;
}

// A channel's values as 32-bit patterns (floats and uints alike), so that NaNs compare too.
inline std::vector<std::uint32_t> channelBits(const IChannel& channel) {
    std::vector<std::uint32_t> bits(static_cast<std::size_t>(channel.getWidth()) * channel.getHeight());
    if (const auto* f = dynamic_cast<const Channel<float>*>(&channel)) std::memcpy(bits.data(), f->data.data(), bits.size() * 4);
    if (const auto* u = dynamic_cast<const Channel<unsigned>*>(&channel)) std::memcpy(bits.data(), u->data.data(), bits.size() * 4);
    return bits;
}

inline Imath::Box2i box(int x0, int y0, int x1, int y1) { return {{x0, y0}, {x1, y1}}; }

struct RawChannel {
    std::string name;
    Imf::PixelType type = Imf::FLOAT;
};

inline const std::vector<RawChannel> kRgb{{"R"}, {"G"}, {"B"}};

// The value that writeRaw stores in channel c at pixel index i (UINT and FLOAT). HALF channels
// step through the bit patterns instead, so that a few hundred pixels hold denormals, infinities
// and NaNs too.
inline float floatValue(std::size_t c, std::size_t i) {
    return 0.25f * static_cast<float>(c + 1) + 0.5f * static_cast<float>(i);
}
inline unsigned uintValue(std::size_t c, std::size_t i) { return 0xFFFF0000u + static_cast<unsigned>(c * 1000 + i); }

// Writes the channels with the values above; a header with a tile description gives a tiled file.
inline void writeRaw(const fs::path& path, Imf::Header header, const std::vector<RawChannel>& channels) {
    const Imath::Box2i window = header.dataWindow();
    const auto width = static_cast<std::size_t>(window.max.x - window.min.x + 1);
    const auto count = width * static_cast<std::size_t>(window.max.y - window.min.y + 1);
    std::vector<std::vector<float>> floats;
    std::vector<std::vector<unsigned>> uints;
    std::vector<std::vector<half>> halves;
    Imf::FrameBuffer frameBuffer;
    for (std::size_t c = 0; c < channels.size(); ++c) {
        const RawChannel& channel = channels[c];
        header.channels().insert(channel.name, Imf::Channel(channel.type));
        const void* values = nullptr;
        std::size_t size = 4;
        if (channel.type == Imf::UINT) {
            auto& v = uints.emplace_back(count);
            for (std::size_t i = 0; i < count; ++i) v[i] = uintValue(c, i);
            values = v.data();
        } else if (channel.type == Imf::HALF) {
            auto& v = halves.emplace_back(count);
            for (std::size_t i = 0; i < count; ++i) v[i].setBits(static_cast<std::uint16_t>(i * 40503u + c * 7u));
            values = v.data();
            size = 2;
        } else {
            auto& v = floats.emplace_back(count);
            for (std::size_t i = 0; i < count; ++i) v[i] = floatValue(c, i);
            values = v.data();
        }
        frameBuffer.insert(channel.name, Imf::Slice::Make(channel.type, values, window, size, size * width));
    }
    if (header.hasTileDescription()) {
        Imf::TiledOutputFile file(path.c_str(), header);
        file.setFrameBuffer(frameBuffer);
        file.writeTiles(0, file.numXTiles() - 1, 0, file.numYTiles() - 1);
    } else {
        Imf::OutputFile file(path.c_str(), header);
        file.setFrameBuffer(frameBuffer);
        file.writePixels(window.max.y - window.min.y + 1);
    }
}

}  // namespace lumora::exr_test
