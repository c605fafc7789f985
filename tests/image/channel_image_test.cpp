#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "foundation/thrown_message.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/image/channel_image.hpp"
#include "lumora/settings/text_scanner.hpp"

namespace lumora {
namespace {

constexpr std::uint32_t kHidden = ElementFlag::Hidden;
constexpr std::uint32_t kLightSelect = ElementFlag::LightSelect;
constexpr std::uint32_t kDenoisable = ElementFlag::DenoisingData | ElementFlag::ToBeDenoised;
constexpr std::uint32_t kDenoisedMark = ElementFlag::DenoisedMark;
constexpr std::uint32_t kNoBloom = ElementFlag::NoBloom;
constexpr std::uint32_t kNoGlare = ElementFlag::NoGlare;
constexpr std::uint32_t kRaw = ElementFlag::RawData | kNoBloom | kNoGlare | ElementFlag::NoSharpenBlur;

// Float channels of the given names, 2 x 2, with a matching data window.
ChannelImage makeImage(const std::vector<std::string>& channels, int width = 2, int height = 2) {
    ChannelImage image;
    image.setAttribute(names::dataWindow, Bucket{{0, 0}, {width, height}});
    for (const auto& name : channels) image.addChannel(std::make_unique<Channel<float>>(name, width, height));
    return image;
}

std::vector<std::string> element(const std::string& name, const std::string& components = "RGB") {
    std::vector<std::string> result;
    for (char c : components) result.push_back(channelName(name, std::string(1, c)));
    return result;
}

std::vector<std::string> concat(std::initializer_list<std::vector<std::string>> parts) {
    std::vector<std::string> result;
    for (const auto& part : parts) result.insert(result.end(), part.begin(), part.end());
    return result;
}

std::string describe(const std::vector<ElementInfo>& elements) {
    static const char* const layouts[] = {"Rgb", "Rgba", "Mono", "Invalid"};
    std::string text;
    for (const auto& e : elements) {
        text += "[" + e.name + "] " + layouts[static_cast<int>(e.layout)] + " " + std::to_string(e.flags) + "\n";
    }
    return text;
}

// A broken internal rule stops the program with a message naming the place.
void expectStop(const std::function<void()>& f) { EXPECT_TRUE(test::thrownMessage(f).starts_with("STOP@")); }

TEST(Utf16Less, OrdersAsUtf16CodeUnits) {
    // U+1F600 is a surrogate pair in UTF-16 and so sorts before U+FF5E, unlike in UTF-8.
    std::vector<std::string> names{"Light.R", "Light.001.R", "light", "", "\xEF\xBD\x9E", "\xF0\x9F\x98\x80",
                                   "\xC3\xA9", "\xEE\x80\x80", "\xF4\x8F\xBF\xBF", "Light", "Z", "a"};
    std::vector<std::string> byUtf16 = names;
    std::sort(byUtf16.begin(), byUtf16.end(),
              [](const std::string& a, const std::string& b) { return text::toUtf16(a) < text::toUtf16(b); });
    std::sort(names.begin(), names.end(), Utf16Less());
    EXPECT_EQ(names, byUtf16);
}

struct DiscoveryCase {
    std::string title;
    std::vector<std::string> channels;
    std::vector<std::string> records;  // stored as "lumora.elements" when not empty
    std::vector<ElementInfo> expected;
};

TEST(ListElements, LayoutsAndFlags) {
    using enum ElementLayout;
    const std::vector<DiscoveryCase> cases{
        {"beauty with alpha", {"R", "G", "B", "A"}, {}, {{"", Rgba, 0}, {"A", Mono, kRaw}}},
        {"partial element", {"Diffuse.R", "Diffuse.G"}, {}, {{"Diffuse", Invalid, kRaw}}},
        {"squared companions and denoised variants",
         concat({element(""), element("SqrBeauty"), element("Denoised"), element("Diffuse"), element("SqrDiffuse"),
                 element("DenoisedDiffuse"), element("Specular", "RGBA"), element("DenoisedSpecular")}),
         {},
         {{"", Rgb, kDenoisable | kDenoisedMark}, {"Denoised", Rgb, kHidden}, {"DenoisedDiffuse", Rgb, kHidden},
          {"DenoisedSpecular", Rgb, kHidden}, {"Diffuse", Rgb, kDenoisable | kDenoisedMark},
          {"Specular", Rgba, 0},  // a denoised variant alone is not enough
          {"SqrBeauty", Rgb, kHidden}, {"SqrDiffuse", Rgb, kHidden}}},
        {"squared companion without denoised variant",
         concat({element("Key"), element("SqrKey")}),
         {"Key|LightSelect|ColorMapped+BloomEffect+GlareEffect"},
         {{"Key", Rgb, kLightSelect | kDenoisable}, {"SqrKey", Rgb, kHidden}}},
        {"light selects and raw elements from records",
         concat({element("Key"), element("Fill"), element("Rim"), element("Normals"), element("Extra"), {"Z"}}),
         {"Key|LightSelect|ColorMapped+BloomEffect+GlareEffect", "Fill|LightSelect|ColorMapped",
          "Rim|LightSelect|GlareEffect", "not a record", "Normals|Normals|Antialiased+BloomEffect+GlareEffect",
          "Z|ZDepth|ColorMapped+BloomEffect+GlareEffect", "Gone|LightSelect|ColorMapped"},
         {{"Extra", Rgb, 0}, {"Fill", Rgb, kLightSelect | kNoBloom | kNoGlare}, {"Key", Rgb, kLightSelect},
          {"Normals", Rgb, kRaw}, {"Rim", Rgb, kLightSelect | kRaw}, {"Z", Mono, kRaw}}},
        {"hidden auxiliary elements",
         concat({element("VisibleNormals"), element("VisibleDiffuse"), element("Hybrid", "RGBA"), element("HairIds"),
                 element("OptixNormals"), element("Sqrt"), {"LUMORA_FB_WEIGHTS", "SqrMask"}}),
         {},
         {{"HairIds", Rgb, kHidden}, {"Hybrid", Rgba, kHidden}, {"LUMORA_FB_WEIGHTS", Mono, kHidden | kRaw},
          {"OptixNormals", Rgb, kHidden},
          {"SqrMask", Mono, kRaw},  // only colour elements are hidden by name
          {"Sqrt", Rgb, kHidden}, {"VisibleDiffuse", Rgb, kHidden}, {"VisibleNormals", Rgb, kHidden}}},
        {"names with several dots",
         concat({element("Light"), element("Light.001"), {"Z", "Depth.", "a.b.c"}}),
         {},
         {{"Depth", Invalid, kRaw}, {"Light", Rgb, 0}, {"Light.001", Rgb, 0}, {"Z", Mono, kRaw},
          {"a.b", Invalid, kRaw}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        ChannelImage image = makeImage(c.channels);
        if (!c.records.empty()) image.setAttribute(names::elements, Str::getExportStringArray(c.records));
        EXPECT_EQ(describe(image.listElements()), describe(c.expected));
    }
}

TEST(ListElements, IgnoresChannelsThatAreNotFloatAndFallsBackOnTheLightMixList) {
    ChannelImage image = makeImage({"R", "G", "Key.R", "Key.G", "Key.B"});
    for (const char* name : {"B", "A", "Id"}) image.addChannel(std::make_unique<Channel<unsigned int>>(name, 2, 2));
    EXPECT_EQ(describe(image.listElements()),
              describe({{"", ElementLayout::Invalid, kRaw}, {"Key", ElementLayout::Rgb, 0}}));
    EXPECT_EQ(image.listFloatChannelNames(), (std::vector<std::string>{"G", "Key.B", "Key.G", "Key.R", "R"}));

    ChannelImage mixed = makeImage(concat({element("Key"), element("Fill")}));
    mixed.setAttribute(names::elements, 7);  // not text: ignored
    mixed.setAttribute<std::string>(names::lightmixElements, "\"Key\", \"Fill\"");
    EXPECT_EQ(describe(mixed.listElements()), describe({{"Fill", ElementLayout::Rgb, kLightSelect | kNoBloom | kNoGlare},
                                                        {"Key", ElementLayout::Rgb, kLightSelect | kNoBloom | kNoGlare}}));
}

TEST(RenderElementInfos, ReadFindAndAdd) {
    ChannelImage image;
    image.setAttribute<std::string>(names::lightmixElements, "\"Old\"");
    image.setAttribute<std::string>(names::elements, "not an array");
    EXPECT_TRUE(image.getRenderElementInfos().empty());  // present but unreadable: no fallback

    const std::vector<RenderElementInfo> infos{
        {"Mix A", RenderElementType::LightMix, 0},
        {"LightMix Interactive", RenderElementType::LightSelect, 0},
        {"Glow", RenderElementType::BloomGlare, 16},
        {"Quote \" and \\ and |", RenderElementType::Texmap, 1},
    };
    setRenderElementInfos(image, infos);
    EXPECT_EQ(image.getRenderElementInfos(), infos);
    // The interactive names find the first element of their type, other names match exactly.
    EXPECT_EQ(image.findRenderElementInfo("LightMix Interactive")->name, "Mix A");
    EXPECT_EQ(image.findRenderElementInfo("Bloom and Glare Interactive")->name, "Glow");
    EXPECT_EQ(image.findRenderElementInfo("Quote \" and \\ and |")->flags, 1u);
    EXPECT_FALSE(image.findRenderElementInfo("glow").has_value());

    // Adding to a light-mix list stores the whole list in the current form.
    ChannelImage old;
    old.setAttribute<std::string>(names::lightmixElements, "\"Key\"");
    old.addRenderElementInfo(RenderElementInfo("Sun", RenderElementType::LightSelect, 1));
    EXPECT_EQ(old.getAttribute<std::string>(names::elements)->value,
              "\"Key|LightSelect|ColorMapped\", \"Sun|LightSelect|ColorMapped\"");
}

TEST(ChannelImageModel, CopiesAreDeep) {
    ChannelImage original = makeImage({"R"});
    original.setAttribute<std::string>("note", "a");
    ChannelImage copy(original), assigned;
    assigned = original;
    for (ChannelImage* changed : {&copy, &assigned}) {
        changed->getChannel<float>("R")->at(1, 1) = 7.f;
        changed->getAttribute<std::string>("note")->value = "b";
    }
    EXPECT_EQ(original.getChannel<float>("R")->data, std::vector<float>(4, 0.f));
    EXPECT_EQ(original.getAttribute<std::string>("note")->value, "a");
}

TEST(ChannelImageModel, LayoutsEnsureAndStridedCopies) {
    ChannelImage image = makeImage(concat({element("", "RGB"), element("Key", "RGBA"), {"Z"}}), 3, 2);
    image.addChannel(std::make_unique<Channel<unsigned int>>("Spec.R", 3, 2));
    for (const auto& [name, layout, has] : {std::tuple{"", ElementLayout::Rgb, true}, {"", ElementLayout::Rgba, false},
                                            {"Key", ElementLayout::Rgba, true}, {"Z", ElementLayout::Mono, true}}) {
        EXPECT_EQ(image.hasLayout(name, layout), has) << name;
    }
    expectStop([&] { (void)image.hasLayout("", ElementLayout::Invalid); });

    image.getChannel<float>("R")->at(2, 1) = 3.f;
    image.ensureRgba("");
    EXPECT_EQ(image.getChannel<float>("R")->at(2, 1), 3.f);  // existing channels are kept
    ASSERT_NE(image.getChannel<float>("A"), nullptr);
    EXPECT_EQ(image.getChannel<float>("A")->data, std::vector<float>(6, 0.f));
    image.ensureRgb("Spec");  // the UINT channel is replaced by a float one
    EXPECT_TRUE(image.hasRgb("Spec"));
    EXPECT_EQ(image.getChannel<float>("Spec.G")->getWidth(), 3);

    image.getChannel<float>("Z")->data = {1.f, 2.f, 3.f, 4.f, 5.f, 6.f};
    std::vector<float> buffer(8, -1.f);
    image.copyChannelData("Z", ElementLayout::Mono, buffer.data(), 4);
    EXPECT_EQ(buffer, (std::vector<float>{1.f, 2.f, 3.f, -1.f, 4.f, 5.f, 6.f, -1.f}));
    expectStop([&] { image.copyChannelData("Key", ElementLayout::Rgb, buffer.data(), 4); });
}

TEST(ChannelImageModel, RecognisesLxr) {
    // Each case renames or retypes one attribute of a recognised image.
    const std::vector<std::pair<std::string, std::function<void(ChannelImage&)>>> cases{
        {"unchanged", [](ChannelImage&) {}},
        {"marker 2", [](ChannelImage& i) { i.setAttribute(names::isLumoraExr, 2); }},
        {"marker as float", [](ChannelImage& i) { i.setAttribute(names::isLumoraExr, 1.f); }},
        {"marker in other case",
         [](ChannelImage& i) { i.attributes().erase(names::isLumoraExr), i.setAttribute("lumora.isLumoraExr", 1); }},
        {"passes missing", [](ChannelImage& i) { i.attributes().erase(names::statsPasses); }},
        {"rays per sample as int", [](ChannelImage& i) { i.setAttribute(names::statsRaysPerSample, 1); }},
    };
    for (const auto& [title, change] : cases) {
        ChannelImage image;
        for (const char* name : {names::isLumoraExr, names::statsPasses, names::statsTime, names::statsRaysPerSecond}) {
            image.setAttribute(name, 1);
        }
        image.setAttribute(names::statsRaysPerSample, 1.5f);
        change(image);
        EXPECT_EQ(isLumoraExr(image), title == "unchanged") << title;
    }
}

// A 5 x 3 image whose values name their position: v(x, y) = x + 10 y (+ 100 c per component).
ChannelImage makeGradient() {
    ChannelImage image = makeImage({"Z", "R", "G", "B", "A"}, 5, 3);
    const char* components[] = {"R", "G", "B", "A"};
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) {
            image.getChannel<float>("Z")->at(x, y) = static_cast<float>(x + 10 * y);
            for (int c = 0; c < 4; ++c) {
                image.getChannel<float>(components[c])->at(x, y) = static_cast<float>(x + 10 * y + 100 * c);
            }
        }
    }
    return image;
}

// Rows of the expected values, written out so that a failure names the pixel.
void expectBitmap(const Bitmap<float>& bitmap, const std::vector<std::vector<float>>& rows) {
    ASSERT_EQ(bitmap.height(), static_cast<int>(rows.size()));
    ASSERT_EQ(bitmap.width(), static_cast<int>(rows.front().size()));
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            EXPECT_EQ(bitmap(x, y), rows[y][x]) << "pixel (" << x << ", " << y << ")";
        }
    }
}

TEST(BitmapExtraction, MonoAtEachScale) {
    const ChannelImage image = makeGradient();
    const Bucket whole{{0, 0}, {5, 3}};
    expectBitmap(image.extractMonoBitmap("Z", Bucket{{1, 1}, {4, 3}}, 1.f), {{11, 12, 13}, {21, 22, 23}});
    // Shrinking: 5 / 2 and 3 / 2 round up; every second pixel, no averaging.
    expectBitmap(image.extractMonoBitmap("Z", whole, 2.f), {{0, 2, 4}, {20, 22, 24}});
    expectBitmap(image.extractMonoBitmap("Z", whole, 3.f), {{0, 3}});
    expectBitmap(image.extractMonoBitmap("Z", Bucket{{1, 0}, {4, 3}}, 2.f), {{1, 3}, {21, 23}});
    // Enlarging: each region pixel becomes a 2 x 2 block.
    expectBitmap(image.extractMonoBitmap("Z", Bucket{{2, 1}, {5, 2}}, 0.5f),
                 {{12, 12, 13, 13, 14, 14}, {12, 12, 13, 13, 14, 14}});
    // 1 / 0.3 rounds to blocks of 3 in an output of ceil(3 / 0.3) = 10: the last column is not reached.
    const auto wide = image.extractMonoBitmap("Z", Bucket{{0, 0}, {3, 1}}, 0.3f);
    ASSERT_EQ(wide.width(), 10);
    ASSERT_EQ(wide.height(), 4);
    std::vector<std::vector<float>> rows(3, {0, 0, 0, 1, 1, 1, 2, 2, 2, 0});
    rows.emplace_back(10, 0.f);
    expectBitmap(wide, rows);
}

TEST(BitmapExtraction, ColourVariantsSampleLikeMonoAndWriteBack) {
    const ChannelImage image = makeGradient();
    const Bucket whole{{0, 0}, {5, 3}};
    const auto rgb = image.extractRgbBitmap("", whole, 2.f);
    const auto rgba = image.extractRgbaBitmap("", whole, 0.5f);
    ASSERT_EQ(rgb.width(), 3);
    EXPECT_EQ(rgb(2, 1), (Rgb{24.f, 124.f, 224.f}));
    ASSERT_EQ(rgba.height(), 6);
    EXPECT_TRUE((rgba(9, 5) == Float4(24.f, 124.f, 224.f, 324.f)).all());

    ChannelImage copy = image;
    copy.setRgbBitmap("", Bitmap<Rgb>(5, 3, Rgb{0.5f, 0.25f, 0.125f}));
    EXPECT_EQ(copy.extractRgbBitmap("", whole, 1.f)(3, 1), (Rgb{0.5f, 0.25f, 0.125f}));
    EXPECT_EQ(copy.getChannel<float>("A")->at(3, 1), 313.f);  // alpha untouched
    Bitmap<Float4> picture(5, 3, Float4(1.f, 2.f, 3.f, 4.f));
    picture(4, 2) = Float4(5.f, 6.f, 7.f, 8.f);
    copy.setRgbaBitmap("Key", picture);
    EXPECT_TRUE((copy.extractRgbaBitmap("Key", whole, 1.f)(4, 2) == Float4(5.f, 6.f, 7.f, 8.f)).all());
}

TEST(BitmapExtraction, NothingOutsideTheImage) {
    const ChannelImage image = makeGradient();
    for (const Bucket& region : {Bucket{{-1, 0}, {2, 2}}, Bucket{{0, 0}, {6, 3}}, Bucket{{3, 2}, {5, 4}},
                                 Bucket{{2, 2}, {2, 3}}, Bucket{{4, 1}, {3, 2}}}) {
        EXPECT_TRUE(image.extractMonoBitmap("Z", region, 1.f).empty());
        EXPECT_TRUE(image.extractRgbaBitmap("", region, 0.5f).empty());
    }
    const Bucket whole{{0, 0}, {5, 3}};
    EXPECT_TRUE(image.extractMonoBitmap("missing", whole, 1.f).empty());
    EXPECT_TRUE(image.extractRgbBitmap("Key", whole, 1.f).empty());
    for (float scale : {0.f, -2.f, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_TRUE(image.extractMonoBitmap("Z", whole, scale).empty());
    }
}

}  // namespace
}  // namespace lumora
