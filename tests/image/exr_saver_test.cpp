#include "lumora/image/exr_saver.hpp"

#include <OpenEXR/ImfInputFile.h>

#include <cmath>
#include <csignal>
#include <limits>
#include <typeinfo>

#include "exr_test_support.hpp"
#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_streams.hpp"

namespace lumora {
namespace {

using namespace exr_test;

std::vector<std::string> folderEntries(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().native());
    std::sort(names.begin(), names.end());
    return names;
}

template <class T>
void addChannel(ChannelImage& image, const std::string& name, const Bucket& window, T (*value)(int x, int y)) {
    auto channel = std::make_unique<Channel<T>>(name, window.width(), window.height());
    for (int y = 0; y < window.height(); ++y) {
        for (int x = 0; x < window.width(); ++x) channel->at(x, y) = value(x, y);
    }
    image.addChannel(std::move(channel));
}

float ramp(int x, int y) { return 0.5f * static_cast<float>(x) - 3.f * static_cast<float>(y); }

// A small beauty-only image with both windows, gamma and the header's fixed values.
ChannelImage makeImage(const Bucket& window) {
    ChannelImage image;
    image.setAttribute(names::displayWindow, Bucket{{-8, -8}, {64, 48}});
    image.setAttribute(names::dataWindow, window);
    image.setAttribute(names::gamma, 1.f);
    image.setAttribute(names::pixelAspectRatio, 1.f);
    image.setAttribute(names::screenWindowWidth, 1.f);
    for (const char* name : {"R", "G", "B"}) addChannel<float>(image, name, window, ramp);
    return image;
}

// Equal attribute names, types and values; equal channel names, types, sizes and bits.
void expectSameImage(const ChannelImage& actual, const ChannelImage& expected) {
    ASSERT_EQ(actual.attributes().size(), expected.attributes().size());
    for (const auto& [name, attribute] : expected.attributes()) {
        const auto it = actual.attributes().find(name);
        ASSERT_NE(it, actual.attributes().end()) << "attribute " << name;
        EXPECT_TRUE(it->second->equals(*attribute)) << "attribute " << name;
    }
    ASSERT_EQ(actual.channels().size(), expected.channels().size());
    for (const auto& [name, channel] : expected.channels()) {
        const auto it = actual.channels().find(name);
        ASSERT_NE(it, actual.channels().end()) << "channel " << name;
        EXPECT_EQ(typeid(*it->second), typeid(*channel)) << "channel " << name;
        EXPECT_EQ(it->second->getWidth(), channel->getWidth()) << "channel " << name;
        EXPECT_EQ(channelBits(*it->second), channelBits(*channel)) << "channel " << name;
    }
}

class ExrRoundTrip : public ::testing::TestWithParam<bool> {};

TEST_P(ExrRoundTrip, ReadsBackAnEqualImage) {
    const fs::path path = testFolder() / "round.lxr";
    const Bucket window{{5, -3}, {29, 17}};
    ChannelImage image = makeImage(window);
    image.setAttribute(names::gamma, 2.2f);
    image.setAttribute(names::isLumoraExr, 1);
    image.setAttribute<std::string>(names::elements, "\"Beauty|Beauty|\"");
    image.setAttribute<std::string>("lumora.note", "Gr\xC3\xBC\xC3\x9F" "e \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xA5");
    image.setAttribute<std::string>("empty", "");
    image.setAttribute("lumora.cm.simpleexposure", -1.25f);
    image.setAttribute("lumora.splatting.coefficient", 1.0 / 3.0);
    image.setAttribute("lumora.cm.whitecolor", Rgb{0.9f, 1.f, 1.1f});
    image.setAttribute("lumora.origin", Pixel{-7, 11});
    image.setAttribute("lumora.region", Bucket{{-2, 3}, {40, 41}});
    image.setAttribute("lumora.extreme", Bucket{{std::numeric_limits<int>::min(), 0}, {std::numeric_limits<int>::max(), 1}});
    addChannel<float>(image, "Key.R", window, [](int x, int y) { return x == y ? -0.f : std::ldexp(1.f, -140 + x + y); });
    addChannel<float>(image, "Key.G", window, [](int x, int) {
        return x % 3 == 0 ? std::numeric_limits<float>::infinity() : std::numeric_limits<float>::quiet_NaN();
    });
    addChannel<float>(image, "Key.B", window, ramp);
    addChannel<unsigned int>(image, "ObjectId", window,
                             [](int x, int y) { return 0xFFFFFFFFu - static_cast<unsigned>(x * 31 + y); });

    ASSERT_EQ(ExrSaver(GetParam()).save(image, path), true);
    auto loaded = ExrLoader(GetParam()).load(path);
    ASSERT_TRUE(loaded) << loaded.error();
    expectSameImage(*loaded, image);

    Imf::InputFile file(path.c_str());
    EXPECT_EQ(file.header().compression(), Imf::ZIP_COMPRESSION);
    EXPECT_EQ(file.header().lineOrder(), Imf::INCREASING_Y);
    EXPECT_EQ(file.header().channels().findChannel("ObjectId")->type, Imf::UINT);
    EXPECT_EQ(file.header().channels().findChannel("Key.R")->type, Imf::FLOAT);
    EXPECT_EQ(file.header().dataWindow(), Imath::Box2i({5, -3}, {28, 16}));
}

INSTANTIATE_TEST_SUITE_P(Threads, ExrRoundTrip, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Multithreaded" : "CallingThread"; });

TEST(ExrSaver, AttributeNamesAndTypesFollowTheHeader) {
    const fs::path path = testFolder() / "names.exr";
    ChannelImage image = makeImage(Bucket{{0, 0}, {4, 3}});
    image.attributes().erase(names::dataWindow);
    image.setAttribute(names::dataWindow, Pixel{100, 200});  // the header's own data window wins
    image.setAttribute(names::pixelAspectRatio, 2.f);        // so does its fixed aspect ratio
    image.setAttribute("\xC4\x81x", 1);                      // U+0101 has no 8-bit form
    image.setAttribute("\xF0\x9F\x8E\xA5" "cam", 2);         // two UTF-16 units, two replacements
    image.setAttribute("caf\xC3\xA9", 3);                    // U+00E9 has one
    image.setAttribute("flag", true);                        // no OpenEXR type

    ASSERT_EQ(ExrSaver().save(image, path), true);
    auto loaded = ExrLoader().load(path);
    ASSERT_TRUE(loaded) << loaded.error();
    EXPECT_EQ(loaded->getAttribute<Bucket>(names::dataWindow)->value, (Bucket{{0, 0}, {4, 3}}));
    EXPECT_EQ(loaded->getAttribute<float>(names::pixelAspectRatio)->value, 1.f);
    EXPECT_EQ(loaded->getAttribute<int>("_x")->value, 1);
    EXPECT_EQ(loaded->getAttribute<int>("__cam")->value, 2);
    EXPECT_EQ(loaded->getAttribute<int>("caf\xC3\xA9")->value, 3);
    EXPECT_FALSE(loaded->attributes().contains("flag"));
}

TEST(ExrSaver, RefusesTextsThatCannotBeWritten) {
    const fs::path folder = testFolder();
    const Bucket window{{0, 0}, {2, 2}};
    const auto saveError = [&](const ChannelImage& image) { return ExrSaver().save(image, folder / "a.exr").error(); };

    ChannelImage badValue = makeImage(window);
    badValue.setAttribute<std::string>("label", "ab\xED\xA0\x80");  // an encoded lone surrogate
    EXPECT_EQ(saveError(badValue), "String value \"ab\xED\xA0\x80\" cannot be encoded to UTF-8.");

    ChannelImage badChannel = makeImage(window);
    addChannel<float>(badChannel, "Key\xFF.R", window, ramp);
    EXPECT_EQ(saveError(badChannel), "String value \"Key\xFF.R\" cannot be encoded to UTF-8.");

    ChannelImage unnamed = makeImage(window);
    addChannel<float>(unnamed, "", window, ramp);
    EXPECT_EQ(saveError(unnamed), "File channels must have non-empty names.");

    EXPECT_TRUE(folderEntries(folder).empty());
}

TEST(ExrSaver, FailedOrInterruptedSaveKeepsTheEarlierFileAndLeavesNoOther) {
    const fs::path folder = testFolder();
    const fs::path path = folder / "out.lxr";
    ASSERT_EQ(ExrSaver().save(makeImage(Bucket{{0, 0}, {8, 8}}), path), true);
    const std::vector<char> earlier = readBytes(path);

    // OpenEXR refuses both only once the output file is open.
    ChannelImage noChannels = makeImage(Bucket{{0, 0}, {8, 8}});
    noChannels.channels().clear();
    ChannelImage emptyWindow;
    emptyWindow.setAttribute(names::displayWindow, Bucket{{0, 0}, {8, 8}});
    emptyWindow.setAttribute(names::dataWindow, Bucket{{3, 3}, {3, 9}});
    emptyWindow.addChannel(std::make_unique<Channel<float>>("R", 0, 6));

    for (const ChannelImage* failing : {&noChannels, &emptyWindow}) {
        for (const fs::path& target : {path, folder / "new.lxr"}) {
            auto result = ExrSaver().save(*failing, target);
            ASSERT_FALSE(result);
            EXPECT_NE(result.error().find("\"" + target.native() + "\""), std::string::npos) << result.error();
        }
    }
    EXPECT_EQ(folderEntries(folder), std::vector<std::string>{"out.lxr"});

    // Nor does a save that a signal interrupts.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EXIT(
            {
                io::removeTemporaryFilesOnSignals();
                ExrOStreamAdapter stream(path);
                stream.write("half-written", 12);
                std::raise(signal);
            },
            ::testing::KilledBySignal(signal), "");
        EXPECT_EQ(folderEntries(folder), std::vector<std::string>{"out.lxr"}) << signal;
    }
    EXPECT_EQ(readBytes(path), earlier);
}

}  // namespace
}  // namespace lumora
