#include "lumora/image/exr_loader.hpp"

#include <OpenEXR/ImfBoxAttribute.h>
#include <OpenEXR/ImfFloatAttribute.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfMatrixAttribute.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "exr_test_support.hpp"

namespace lumora {
namespace {

using namespace exr_test;

constexpr const char* kNoPixelData = "File stores no pixel data.\n\nIts data window is defined empty.";
constexpr const char* kInvalidImage =
    "File stores an invalid image.\n\nIt either does not have all required and properly defined attributes "
    "(data and display windows, gamma), or its pixel data are incomplete.";
constexpr const char* kNoBeauty =
    "File stores an image without a valid beauty element.\n\nIt is either incomplete, or not stored with a "
    "floating-point precision.";

std::string loadError(const fs::path& path) {
    auto result = ExrLoader().load(path);
    return result ? std::string("(loaded)") : result.error();
}

std::string cannotOperate(const fs::path& path, const std::string& reason) {
    return "Cannot operate with image file \"" + path.native() + "\". " + reason;
}

// ---- file content to image ----

TEST(ExrLoader, ConvertsSupportedAttributesAndSkipsTheOthers) {
    const fs::path folder = testFolder();
    Imf::Header header(box(0, 0, 3, 2), box(0, 0, 3, 2));
    header.insert("gamma", Imf::FloatAttribute(2.2f));
    header.insert("broken", Imf::StringAttribute("a\xFF" "b"));
    header.insert("region", Imf::Box2iAttribute(box(1, 2, 4, 8)));
    header.insert("matrix", Imf::M33fAttribute(Imath::M33f()));
    header.insert("caf\xE9", Imf::IntAttribute(5));  // an 8-bit name
    // Types the writer also stores are checked by the LXR round trip. LXR is recognised by exactly
    // named attributes; a marker in another case is an ordinary one.
    header.insert("lumora.islumoraexr", Imf::IntAttribute(1));
    header.insert("lumora.isLumoraExr", Imf::IntAttribute(7));
    header.insert("lumora.stats.passes", Imf::IntAttribute(12));
    header.insert("lumora.stats.time", Imf::IntAttribute(300));
    header.insert("lumora.stats.rayspersecond", Imf::IntAttribute(1000000));
    header.insert("lumora.stats.rayspersample", Imf::FloatAttribute(2.5f));
    writeRaw(folder / "attributes.exr", header, kRgb);

    auto image = ExrLoader().load(folder / "attributes.exr");
    ASSERT_TRUE(image) << image.error();
    EXPECT_EQ(image->getAttribute<float>(names::gamma)->value, 2.2f);
    EXPECT_EQ(image->getAttribute<std::string>("broken")->value, "a\xEF\xBF\xBD" "b");
    EXPECT_EQ(image->getAttribute<Bucket>("region")->value, (Bucket{{1, 2}, {5, 9}}));
    EXPECT_EQ(image->getAttribute<int>("caf\xC3\xA9")->value, 5);
    EXPECT_EQ(image->getAttribute<float>(names::pixelAspectRatio)->value, 1.f);
    EXPECT_TRUE(isLumoraExr(*image));
    EXPECT_EQ(image->getAttribute<int>("lumora.isLumoraExr")->value, 7);
    // v2f, m33f and OpenEXR's own structural types are not kept.
    for (const char* absent : {"matrix", "screenWindowCenter", "channels", "compression", "lineOrder"}) {
        EXPECT_FALSE(image->attributes().contains(absent)) << absent;
    }

    // Gamma is a float that defaults to 1, whatever else the file stores under its name.
    Imf::Header withInt(box(0, 0, 0, 0), box(0, 0, 0, 0));
    withInt.insert("gamma", Imf::IntAttribute(3));
    writeRaw(folder / "int.exr", withInt, kRgb);
    writeRaw(folder / "none.exr", Imf::Header(box(0, 0, 0, 0), box(0, 0, 0, 0)), kRgb);
    for (const char* name : {"int.exr", "none.exr"}) {
        auto plain = ExrLoader().load(folder / name);
        ASSERT_TRUE(plain) << plain.error();
        ASSERT_NE(plain->getAttribute<float>(names::gamma), nullptr) << name;
        EXPECT_EQ(plain->getAttribute<float>(names::gamma)->value, 1.f) << name;
        EXPECT_FALSE(isLumoraExr(*plain));
    }
}

TEST(ExrLoader, LoadsValidStructuresAndNamesWhatIsMissing) {
    struct Case {
        const char* name;
        Imath::Box2i display, data;
        std::vector<RawChannel> channels;
        std::string error;  // empty: the file loads
    };
    const std::vector<Case> cases{
        {"one by one", box(0, 0, 0, 0), box(0, 0, 0, 0), kRgb, ""},
        {"no B", box(0, 0, 0, 0), box(0, 0, 0, 0), {{"R"}, {"G"}, {"A"}}, kNoBeauty},
        {"uint beauty", box(0, 0, 0, 0), box(0, 0, 0, 0), {{"R", Imf::UINT}, {"G", Imf::UINT}, {"B", Imf::UINT}},
         kNoBeauty},
        {"only an element", box(0, 0, 0, 0), box(0, 0, 0, 0), {{"Key.R"}, {"Key.G"}, {"Key.B"}}, kNoBeauty},
        {"data inside display", box(0, 0, 99, 99), box(10, 20, 30, 40), kRgb, ""},
        {"display inside data", box(10, 20, 30, 40), box(-5, -5, 99, 99), kRgb, ""},
        {"windows overlap partly", box(0, 0, 9, 9), box(5, 5, 14, 14), kRgb, kInvalidImage},
        {"windows disjoint", box(0, 0, 9, 9), box(20, 20, 29, 29), kRgb, kInvalidImage},
    };
    const fs::path folder = testFolder();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const fs::path path = folder / (std::string(c.name) + ".exr");
        writeRaw(path, Imf::Header(c.display, c.data), c.channels);
        EXPECT_EQ(loadError(path), c.error.empty() ? "(loaded)" : cannotOperate(path, c.error));
    }
}

TEST(ExrLoader, MessagesNameTheFileAndEndTheSentence) {
    struct Case {
        const char* message;
        const char* path;
        const char* expected;
    };
    const Case cases[] = {
        {"", "/r/a.exr", "Cannot operate with image file \"/r/a.exr\". Unknown error has occurred."},
        {"", "", "Unknown error has occurred."},
        {"Disk full", "", "Disk full."},
        {"Unexpected end of file. \n", "/r/shot 1/a.exr",
         "Cannot operate with image file \"/r/shot 1/a.exr\". Unexpected end of file."},
        {"Cannot read image file \"/r/a.exr\". File is not an image file.", "/r/a.exr",
         "Cannot read image file \"/r/a.exr\". File is not a supported image file."},
        {"Cannot open '/r/a.exr' for reading", "/r/a.exr", "Cannot open \"/r/a.exr\" for reading."},
        {"File is not an image file. File is not an image file.", "",
         "File is not a supported image file. File is not a supported image file."},
    };
    for (const Case& c : cases) EXPECT_EQ(rewriteExrErrorMessage(c.message, c.path), c.expected) << c.message;
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

    fs::path withBytes(const std::vector<char>& content) const {
        const fs::path path = folder / "damaged.exr";
        writeBytes(path, content);
        return path;
    }

    // The file's bytes with another data window.
    std::vector<char> withWindow(std::int32_t minX, std::int32_t minY, std::int32_t maxX, std::int32_t maxY) const {
        std::vector<char> patched = bytes;
        const std::int32_t values[] = {minX, minY, maxX, maxY};
        std::memcpy(&patched[dataWindowOffset(bytes)], values, sizeof values);
        return patched;
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

TEST_F(ExrLoaderDamaged, DamagedOrUnsupportedHeadersGiveTheirMessage) {
    const std::string claimsMore = "File is damaged: its header claims more pixel data than the file holds.";
    std::vector<char> hugeAttribute = bytes;
    const std::int32_t size = 1 << 30;
    std::memcpy(&hugeAttribute[dataWindowOffset(bytes) - 4], &size, 4);
    struct Case {
        const char* what;
        std::vector<char> bytes;
        std::string reason;  // after the file's name
    };
    const std::vector<Case> cases{
        {"terabytes of pixels", withWindow(0, 0, 999999, 999999), claimsMore},
        {"a chunk table alone larger than the file", withWindow(0, 0, 39, (1 << 24) - 1), claimsMore},
        {"a width that overflows 32 bits", withWindow(-(1 << 30), 0, (1 << 30) - 1, 39), claimsMore},
        {"the largest window", withWindow(INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX), claimsMore},
        {"an attribute larger than the file", hugeAttribute, "File is damaged: its header is malformed."},
        {"empty data window", withWindow(0, 0, -1, 39), kNoPixelData},
        {"inverted data window", withWindow(5, 5, 39, 4), kNoPixelData},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const fs::path path = withBytes(c.bytes);
        EXPECT_EQ(loadError(path), cannotOperate(path, c.reason));
    }
}

TEST_F(ExrLoaderDamaged, ImagesLargerThanTheMemoryAreRefused) {
    // 1048576 x 16384 pixels of 3 floats: 192 GiB, from a (sparse) file large enough to hold them.
    if (::sysconf(_SC_PHYS_PAGES) * ::sysconf(_SC_PAGESIZE) >= (std::int64_t{192} << 30)) {
        GTEST_SKIP() << "this computer has the memory";
    }
    const fs::path path = withBytes(withWindow(0, 0, (1 << 20) - 1, (1 << 14) - 1));
    fs::resize_file(path, std::uintmax_t{256} << 20);
    EXPECT_EQ(loadError(path), cannotOperate(path, "File stores an image too large for the memory of this computer: "
                                                   "1048576 x 16384 pixels in 3 channels need 196608 MiB."));
}

}  // namespace
}  // namespace lumora
