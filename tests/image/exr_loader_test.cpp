#include "lumora/image/exr_loader.hpp"

#include <OpenEXR/ImfBoxAttribute.h>
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfDoubleAttribute.h>
#include <OpenEXR/ImfFloatAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfMatrixAttribute.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <OpenEXR/ImfTiledOutputFile.h>
#include <OpenEXR/ImfVecAttribute.h>
#include <Imath/half.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace lumora {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNoPixelData = "File stores no pixel data.\n\nIts data window is defined empty.";
constexpr const char* kInvalidImage =
    "File stores an invalid image.\n\nIt either does not have all required and properly defined attributes "
    "(data and display windows, gamma), or its pixel data are incomplete.";
constexpr const char* kNoBeauty =
    "File stores an image without a valid beauty element.\n\nIt is either incomplete, or not stored with a "
    "floating-point precision.";

// A fresh folder for the running test.
fs::path testFolder() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name();
    std::replace(name.begin(), name.end(), '/', '_');
    const fs::path folder = fs::path(LUMORA_TEST_TMP) / "exr_loader" / name;
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

Imath::Box2i box(int x0, int y0, int x1, int y1) { return {{x0, y0}, {x1, y1}}; }

struct RawChannel {
    std::string name;
    Imf::PixelType type = Imf::FLOAT;
};

// The value that writeRaw stores in channel c at pixel index i (UINT and FLOAT; HALF holds its
// nearest half).
float floatValue(std::size_t c, std::size_t i) { return 0.25f * static_cast<float>(c + 1) + 0.5f * static_cast<float>(i); }
unsigned uintValue(std::size_t c, std::size_t i) { return 0xFFFF0000u + static_cast<unsigned>(c * 1000 + i); }

// Writes a file straight through OpenEXR, bypassing the program's writer; a header with a tile
// description gives a tiled file.
void writeRaw(const fs::path& path, Imf::Header header, const std::vector<RawChannel>& channels) {
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
            for (std::size_t i = 0; i < count; ++i) v[i] = half(floatValue(c, i));
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

const std::vector<RawChannel> kRgb{{"R"}, {"G"}, {"B"}};

std::vector<char> readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeBytes(const fs::path& path, const std::vector<char>& bytes) {
    fs::remove(path);  // truncating a file in place can make the file system write it out at once
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string loadError(const fs::path& path) {
    auto result = ExrLoader().load(path);
    return result ? std::string("(loaded)") : result.error();
}

std::string cannotOperate(const fs::path& path, const std::string& reason) {
    return "Cannot operate with image file \"" + path.native() + "\". " + reason;
}

// ---- file content to image ----

TEST(ExrLoader, EveryHalfValueWidensToItsExactFloat) {
    const fs::path path = testFolder() / "halves.exr";
    // 65536 pixels: pixel i of R holds the half whose bits are i, G the same with the sign flipped.
    const Imath::Box2i window = box(-7, 3, -7 + 255, 3 + 255);
    Imf::Header header(window, window);
    header.channels().insert("R", Imf::Channel(Imf::HALF));
    header.channels().insert("G", Imf::Channel(Imf::HALF));
    header.channels().insert("B", Imf::Channel(Imf::FLOAT));
    std::vector<half> r(65536), g(65536);
    std::vector<float> b(65536, 0.5f);
    for (unsigned i = 0; i < 65536; ++i) {
        r[i].setBits(static_cast<std::uint16_t>(i));
        g[i].setBits(static_cast<std::uint16_t>(i ^ 0x8000));
    }
    Imf::FrameBuffer frameBuffer;
    frameBuffer.insert("R", Imf::Slice::Make(Imf::HALF, r.data(), window, 2, 2 * 256));
    frameBuffer.insert("G", Imf::Slice::Make(Imf::HALF, g.data(), window, 2, 2 * 256));
    frameBuffer.insert("B", Imf::Slice::Make(Imf::FLOAT, b.data(), window, 4, 4 * 256));
    {
        Imf::OutputFile file(path.c_str(), header);
        file.setFrameBuffer(frameBuffer);
        file.writePixels(256);
    }

    // Reference conversion from the binary16 layout.
    auto reference = [](unsigned bits) {
        const int exponent = static_cast<int>((bits >> 10) & 31);
        const int mantissa = static_cast<int>(bits & 1023);
        float magnitude = exponent == 0    ? std::ldexp(static_cast<float>(mantissa), -24)
                          : exponent == 31 ? (mantissa ? NAN : INFINITY)
                                           : std::ldexp(static_cast<float>(mantissa + 1024), exponent - 25);
        return (bits & 0x8000) ? -magnitude : magnitude;
    };

    for (bool multithreaded : {true, false}) {
        auto image = ExrLoader(multithreaded).load(path);
        ASSERT_TRUE(image) << image.error();
        const auto* red = image->getChannel<float>("R");
        const auto* green = image->getChannel<float>("G");
        ASSERT_TRUE(red && green);
        ASSERT_EQ(red->data.size(), 65536u);
        for (unsigned i = 0; i < 65536; ++i) {
            for (auto [channel, bits] : {std::pair{red, i}, std::pair{green, i ^ 0x8000}}) {
                const float expected = reference(bits);
                const float actual = channel->data[i];
                if (std::isnan(expected)) {
                    ASSERT_TRUE(std::isnan(actual)) << "half bits " << bits;
                } else {
                    ASSERT_EQ(actual, expected) << "half bits " << bits;
                    ASSERT_EQ(std::signbit(actual), std::signbit(expected)) << "half bits " << bits;
                }
            }
        }
        EXPECT_EQ(image->getChannel<float>("B")->data, b);
    }
}

TEST(ExrLoader, ReadsUintFloatAndTiledFilesAtTheirDataWindow) {
    const fs::path folder = testFolder();
    const Imath::Box2i window = box(10, -4, 10 + 36, -4 + 20);  // 37 x 21, not a multiple of the tiles
    const std::vector<RawChannel> channels{{"R"}, {"G"}, {"B"}, {"ID", Imf::UINT}, {"Key.R", Imf::HALF}};
    Imf::Header header(box(-10, -10, 99, 99), window);
    writeRaw(folder / "scan.exr", header, channels);
    header.setTileDescription(Imf::TileDescription(16, 8, Imf::ONE_LEVEL));
    writeRaw(folder / "tiled.exr", header, channels);

    for (const char* name : {"scan.exr", "tiled.exr"}) {
        SCOPED_TRACE(name);
        auto image = ExrLoader().load(folder / name);
        ASSERT_TRUE(image) << image.error();
        EXPECT_EQ(image->getAttribute<Bucket>(names::dataWindow)->value, (Bucket{{10, -4}, {47, 17}}));
        EXPECT_EQ(image->getAttribute<Bucket>(names::displayWindow)->value, (Bucket{{-10, -10}, {100, 100}}));
        ASSERT_EQ(image->channels().size(), 5u);
        const auto* ids = image->getChannel<unsigned int>("ID");
        ASSERT_NE(ids, nullptr);
        EXPECT_EQ(ids->getWidth(), 37);
        EXPECT_EQ(ids->getHeight(), 21);
        for (std::size_t i = 0; i < 37 * 21; ++i) {
            ASSERT_EQ(ids->data[i], uintValue(3, i)) << "pixel " << i;
            for (std::size_t c = 0; c < 3; ++c) {
                ASSERT_EQ(image->getChannel<float>(channels[c].name)->data[i], floatValue(c, i)) << "pixel " << i;
            }
            ASSERT_EQ(image->getChannel<float>("Key.R")->data[i], static_cast<float>(half(floatValue(4, i))));
        }
    }
}

TEST(ExrLoader, ConvertsSupportedAttributesAndSkipsTheOthers) {
    const fs::path path = testFolder() / "attributes.exr";
    Imf::Header header(box(0, 0, 3, 2), box(0, 0, 3, 2));
    header.insert("gamma", Imf::FloatAttribute(2.2f));
    header.insert("text", Imf::StringAttribute("Gr\xC3\xBC\xC3\x9F" "e \xE2\x9C\x93"));
    header.insert("broken", Imf::StringAttribute("a\xFF" "b"));
    header.insert("d", Imf::DoubleAttribute(1.0 / 3.0));
    header.insert("pos", Imf::V2iAttribute(Imath::V2i(-3, 7)));
    header.insert("region", Imf::Box2iAttribute(box(1, 2, 4, 8)));
    header.insert("tint", Imf::V3fAttribute(Imath::V3f(0.5f, 1.5f, -2.f)));
    header.insert("matrix", Imf::M33fAttribute(Imath::M33f()));
    header.insert("caf\xE9", Imf::IntAttribute(5));  // an 8-bit name
    writeRaw(path, header, kRgb);

    auto image = ExrLoader().load(path);
    ASSERT_TRUE(image) << image.error();
    EXPECT_EQ(image->getAttribute<float>(names::gamma)->value, 2.2f);
    EXPECT_EQ(image->getAttribute<std::string>("text")->value, "Gr\xC3\xBC\xC3\x9F" "e \xE2\x9C\x93");
    EXPECT_EQ(image->getAttribute<std::string>("broken")->value, "a\xEF\xBF\xBD" "b");
    EXPECT_EQ(image->getAttribute<double>("d")->value, 1.0 / 3.0);
    EXPECT_EQ(image->getAttribute<Pixel>("pos")->value, (Pixel{-3, 7}));
    EXPECT_EQ(image->getAttribute<Bucket>("region")->value, (Bucket{{1, 2}, {5, 9}}));
    EXPECT_EQ(image->getAttribute<Rgb>("tint")->value, (Rgb{0.5f, 1.5f, -2.f}));
    EXPECT_EQ(image->getAttribute<int>("caf\xC3\xA9")->value, 5);
    EXPECT_EQ(image->getAttribute<float>(names::pixelAspectRatio)->value, 1.f);
    EXPECT_EQ(image->getAttribute<float>(names::screenWindowWidth)->value, 1.f);
    // v2f, m33f and OpenEXR's own structural types are not kept.
    for (const char* absent : {"matrix", "screenWindowCenter", "channels", "compression", "lineOrder"}) {
        EXPECT_FALSE(image->attributes().contains(absent)) << absent;
    }
}

TEST(ExrLoader, GammaIsAFloatThatDefaultsToOne) {
    const fs::path folder = testFolder();
    Imf::Header withInt(box(0, 0, 0, 0), box(0, 0, 0, 0));
    withInt.insert("gamma", Imf::IntAttribute(3));
    writeRaw(folder / "int.exr", withInt, kRgb);
    writeRaw(folder / "none.exr", Imf::Header(box(0, 0, 0, 0), box(0, 0, 0, 0)), kRgb);

    for (const char* name : {"int.exr", "none.exr"}) {
        auto image = ExrLoader().load(folder / name);
        ASSERT_TRUE(image) << image.error();
        const auto* gamma = image->getAttribute<float>(names::gamma);
        ASSERT_NE(gamma, nullptr) << name;
        EXPECT_EQ(gamma->value, 1.f) << name;
    }
}

TEST(ExrLoader, RecognisesLxrOnlyByExactlyNamedAttributes) {
    const fs::path folder = testFolder();
    auto lxrHeader = [](const char* marker) {
        Imf::Header header(box(0, 0, 1, 1), box(0, 0, 1, 1));
        header.insert(marker, Imf::IntAttribute(1));
        header.insert("lumora.stats.passes", Imf::IntAttribute(12));
        header.insert("lumora.stats.time", Imf::IntAttribute(300));
        header.insert("lumora.stats.rayspersecond", Imf::IntAttribute(1000000));
        header.insert("lumora.stats.rayspersample", Imf::FloatAttribute(2.5f));
        return header;
    };
    writeRaw(folder / "lxr.exr", lxrHeader("lumora.islumoraexr"), kRgb);
    writeRaw(folder / "cased.exr", lxrHeader("lumora.isLumoraExr"), kRgb);

    auto lxr = ExrLoader().load(folder / "lxr.exr");
    auto cased = ExrLoader().load(folder / "cased.exr");
    ASSERT_TRUE(lxr && cased);
    EXPECT_TRUE(isLumoraExr(*lxr));
    EXPECT_FALSE(isLumoraExr(*cased));
    EXPECT_EQ(cased->getAttribute<int>("lumora.isLumoraExr")->value, 1);
}

struct StructureCase {
    const char* name;
    Imath::Box2i display;
    Imath::Box2i data;
    std::vector<RawChannel> channels;
    std::string error;  // empty: the file loads
};

class ExrLoaderStructure : public ::testing::TestWithParam<StructureCase> {};

TEST_P(ExrLoaderStructure, LoadsOrGivesTheMessage) {
    const StructureCase& c = GetParam();
    const fs::path path = testFolder() / "image.exr";
    writeRaw(path, Imf::Header(c.display, c.data), c.channels);
    auto result = ExrLoader().load(path);
    if (c.error.empty()) {
        EXPECT_TRUE(result) << result.error();
    } else {
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error(), c.error);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ExrLoaderStructure,
    ::testing::Values(
        StructureCase{"OneByOneRgb", box(0, 0, 0, 0), box(0, 0, 0, 0), kRgb, ""},
        StructureCase{"HalfRgb", box(0, 0, 3, 3), box(0, 0, 3, 3), {{"R", Imf::HALF}, {"G", Imf::HALF}, {"B", Imf::HALF}}, ""},
        StructureCase{"MissingB", box(0, 0, 0, 0), box(0, 0, 0, 0), {{"R"}, {"G"}, {"A"}}, kNoBeauty},
        StructureCase{"UintRgb", box(0, 0, 0, 0), box(0, 0, 0, 0), {{"R", Imf::UINT}, {"G", Imf::UINT}, {"B", Imf::UINT}}, kNoBeauty},
        StructureCase{"OnlyAnElement", box(0, 0, 0, 0), box(0, 0, 0, 0), {{"Key.R"}, {"Key.G"}, {"Key.B"}}, kNoBeauty},
        StructureCase{"DataInsideDisplay", box(0, 0, 99, 99), box(10, 20, 30, 40), kRgb, ""},
        StructureCase{"DisplayInsideData", box(10, 20, 30, 40), box(-5, -5, 99, 99), kRgb, ""},
        StructureCase{"WindowsOverlapPartly", box(0, 0, 9, 9), box(5, 5, 14, 14), kRgb, kInvalidImage},
        StructureCase{"WindowsDisjoint", box(0, 0, 9, 9), box(20, 20, 29, 29), kRgb, kInvalidImage}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- messages ----

struct RewriteCase {
    const char* message;
    const char* path;
    const char* expected;
};

class ExrMessageRewriting : public ::testing::TestWithParam<RewriteCase> {};

TEST_P(ExrMessageRewriting, NamesTheFileAndEndsTheSentence) {
    const RewriteCase& c = GetParam();
    EXPECT_EQ(rewriteExrErrorMessage(c.message, c.path), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ExrMessageRewriting,
    ::testing::Values(
        RewriteCase{"", "/r/a.exr", "Cannot operate with image file \"/r/a.exr\". Unknown error has occurred."},
        RewriteCase{"", "", "Unknown error has occurred."},
        RewriteCase{"Disk full", "", "Disk full."},
        RewriteCase{"Unexpected end of file. \n", "/r/shot 1/a.exr",
                    "Cannot operate with image file \"/r/shot 1/a.exr\". Unexpected end of file."},
        RewriteCase{"Cannot read image file \"/r/a.exr\". File is not an image file.", "/r/a.exr",
                    "Cannot read image file \"/r/a.exr\". File is not a supported image file."},
        RewriteCase{"Cannot open '/r/a.exr' for reading", "/r/a.exr", "Cannot open \"/r/a.exr\" for reading."},
        RewriteCase{"File is not an image file. File is not an image file.", "",
                    "File is not a supported image file. File is not a supported image file."}));

TEST(ExrLoader, ReportsUnreadablePathsWithTheSystemReason) {
    const fs::path folder = testFolder();
    EXPECT_EQ(loadError(folder / "missing.exr"), cannotOperate(folder / "missing.exr", "No such file or directory."));
    EXPECT_EQ(loadError(folder), cannotOperate(folder, "Is a directory."));
}

// ---- damaged files ----

class ExrLoaderDamaged : public ::testing::Test {
protected:
    void SetUp() override {
        folder = testFolder();
        good = folder / "good.exr";
        writeRaw(good, Imf::Header(box(0, 0, 39, 39), box(0, 0, 39, 39)), kRgb);
        bytes = readBytes(good);
        headerEnd = offsetTableStart();
    }

    // The header ends with an empty attribute name; the offset table starts right after it.
    std::size_t offsetTableStart() const {
        std::size_t i = 8;
        while (bytes[i] != 0) {
            while (bytes[i] != 0) ++i;  // name
            ++i;
            while (bytes[i] != 0) ++i;  // type
            ++i;
            std::int32_t size = 0;
            std::memcpy(&size, &bytes[i], 4);
            i += 4 + static_cast<std::size_t>(size);
        }
        return i + 1;
    }

    // Offset of the dataWindow value (four ints: min x, min y, max x, max y).
    std::size_t dataWindowValue() const {
        static const std::string key("dataWindow\0box2i\0", 17);
        const auto it = std::search(bytes.begin(), bytes.end(), key.begin(), key.end());
        return static_cast<std::size_t>(it - bytes.begin()) + key.size() + 4;
    }

    fs::path withBytes(const std::vector<char>& content, const std::string& name = "damaged.exr") const {
        const fs::path path = folder / name;
        writeBytes(path, content);
        return path;
    }

    fs::path withWindow(std::int32_t minX, std::int32_t minY, std::int32_t maxX, std::int32_t maxY) const {
        std::vector<char> patched = bytes;
        const std::int32_t values[] = {minX, minY, maxX, maxY};
        std::memcpy(&patched[dataWindowValue()], values, sizeof values);
        return withBytes(patched);
    }

    fs::path folder;
    fs::path good;
    std::vector<char> bytes;
    std::size_t headerEnd = 0;
};

TEST_F(ExrLoaderDamaged, TruncatedFilesAreRefused) {
    ASSERT_TRUE(ExrLoader().load(good));
    // ZIP keeps 16 lines per chunk: the table of 3 chunk offsets follows the header.
    std::uint64_t firstChunk = 0;
    std::memcpy(&firstChunk, &bytes[headerEnd], 8);
    ASSERT_EQ(firstChunk, headerEnd + 24);
    const std::size_t lengths[] = {0,  3, 8, 20, headerEnd - 1, headerEnd, headerEnd + 8, headerEnd + 24,
                                   headerEnd + 40, bytes.size() / 2, bytes.size() - 1};
    for (std::size_t length : lengths) {
        const fs::path path = withBytes({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)});
        for (bool multithreaded : {true, false}) {
            auto result = ExrLoader(multithreaded).load(path);
            ASSERT_FALSE(result) << "length " << length;
            EXPECT_NE(result.error().find(path.native()), std::string::npos) << result.error();
        }
    }
    EXPECT_EQ(loadError(withBytes({})), cannotOperate(folder / "damaged.exr", "File is not a supported image file."));
}

TEST_F(ExrLoaderDamaged, RandomBytesAreNotAnImage) {
    std::mt19937 random(11);
    for (std::size_t size : {1, 100, 5000}) {
        std::vector<char> noise(size);
        for (char& c : noise) c = static_cast<char>(random());
        const fs::path path = withBytes(noise);
        EXPECT_EQ(loadError(path), cannotOperate(path, "File is not a supported image file."));
    }
    // Noise behind a valid magic number and version.
    std::vector<char> noise(bytes.begin(), bytes.begin() + 8);
    for (int i = 0; i < 3000; ++i) noise.push_back(static_cast<char>(random()));
    EXPECT_FALSE(ExrLoader().load(withBytes(noise)));
}

TEST_F(ExrLoaderDamaged, HeadersClaimingMorePixelsThanTheFileHoldsAreRefused) {
    const std::string damaged = "File is damaged: its header claims more pixel data than the file holds.";
    const std::pair<Imath::V2i, Imath::V2i> windows[] = {
        {{0, 0}, {999999, 999999}},                 // terabytes of pixels
        {{0, 0}, {39, (1 << 24) - 1}},               // below a gigabyte, but the chunk table alone exceeds the file
        {{-(1 << 30), 0}, {(1 << 30) - 1, 39}},      // a width that overflows 32 bits
        {{INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MAX}}};
    for (const auto& [min, max] : windows) {
        const fs::path path = withWindow(min.x, min.y, max.x, max.y);
        EXPECT_EQ(loadError(path), cannotOperate(path, damaged)) << max.x << " " << max.y;
    }
}

TEST_F(ExrLoaderDamaged, AttributeSizeBeyondTheFileIsRefused) {
    std::vector<char> patched = bytes;
    const std::int32_t size = 1 << 30;
    std::memcpy(&patched[dataWindowValue() - 4], &size, 4);
    const fs::path path = withBytes(patched);
    EXPECT_EQ(loadError(path), cannotOperate(path, "File is damaged: its header is malformed."));
}

TEST_F(ExrLoaderDamaged, ImagesLargerThanTheMemoryAreRefused) {
    // 1048576 x 16384 pixels of 3 floats: 192 GiB, from a (sparse) file large enough to hold them.
    if (::sysconf(_SC_PHYS_PAGES) * ::sysconf(_SC_PAGESIZE) >= (std::int64_t{192} << 30)) {
        GTEST_SKIP() << "this computer has the memory";
    }
    const fs::path path = withWindow(0, 0, (1 << 20) - 1, (1 << 14) - 1);
    fs::resize_file(path, std::uintmax_t{64} << 20);
    EXPECT_EQ(loadError(path), cannotOperate(path, "File stores an image too large for the memory of this computer: "
                                                   "1048576 x 16384 pixels in 3 channels need 196608 MiB."));
}

TEST_F(ExrLoaderDamaged, EmptyDataWindowIsReported) {
    EXPECT_EQ(loadError(withWindow(0, 0, -1, 39)), kNoPixelData);
    EXPECT_EQ(loadError(withWindow(5, 5, 39, 4)), kNoPixelData);
}

TEST_F(ExrLoaderDamaged, DeepAndMultiPartFilesAreRefused) {
    // The version field's flags: 0x800 marks deep data, 0x1000 several parts.
    std::vector<char> deep = bytes;
    deep[5] = static_cast<char>(deep[5] | 0x08);
    std::vector<char> parts = bytes;
    parts[5] = static_cast<char>(parts[5] | 0x10);
    const fs::path deepPath = withBytes(deep, "deep.exr");
    const fs::path partsPath = withBytes(parts, "parts.exr");
    EXPECT_EQ(loadError(deepPath), cannotOperate(deepPath, "File stores deep pixel data, which cannot be read."));
    EXPECT_EQ(loadError(partsPath), cannotOperate(partsPath, "File stores several image parts, which cannot be read."));
}

TEST_F(ExrLoaderDamaged, CorruptedBytesNeverCrash) {
    // Every header byte and a sample of the pixel data, each replaced by two different values.
    for (std::size_t i = 0; i < bytes.size(); i += i < headerEnd + 24 ? 1 : 37) {
        for (char value : {'\xFF', '\x00'}) {
            if (bytes[i] == value) continue;
            std::vector<char> corrupted = bytes;
            corrupted[i] = value;
            (void)ExrLoader(false).load(withBytes(corrupted));
        }
    }
}

}  // namespace
}  // namespace lumora
