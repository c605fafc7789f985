#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lumora/foundation/exception.hpp"
#include "lumora/image/render_element_info.hpp"

namespace lumora {
namespace {

constexpr RenderElementFlags flag(RenderElementFlag f) { return static_cast<RenderElementFlags>(f); }

TEST(RenderElementFlagsText, ParseAndWriteInBitOrder) {
    struct Case {
        std::string text;
        RenderElementFlags flags;
        std::string error;
    };
    const std::string noFlag = " does not match any render element flag.";
    const std::vector<Case> cases{
        {"", 0, ""},
        {"  ColorMapped + Denoised  ", 9, ""},
        {"GlareEffect+ColorMapped+GlareEffect", 33, ""},
        {"ColorMapped+Virtual+Antialiased+Denoised+BloomEffect+GlareEffect", 63, ""},
        {"ColorMapped + Bogus + Other", 0, "String name \"Bogus\"" + noFlag},
        {"ColorMapped+", 0, "String name \"\"" + noFlag},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.text + "]");
        const auto result = toRenderElementFlags(c.text);
        if (c.error.empty()) {
            ASSERT_TRUE(result.has_value()) << result.error();
            EXPECT_EQ(*result, c.flags);
            EXPECT_EQ(toRenderElementFlags(renderElementFlagsToStr(c.flags)).value(), c.flags);
        } else {
            ASSERT_FALSE(result.has_value());
            EXPECT_EQ(result.error(), c.error);
        }
    }
    EXPECT_EQ(renderElementFlagsToStr(flag(RenderElementFlag::GlareEffect) | flag(RenderElementFlag::ColorMapped)),
              "ColorMapped+GlareEffect");
    // Bits without a name are not written.
    EXPECT_EQ(renderElementFlagsToStr(64 | 4), "Antialiased");
}

TEST(RenderElementRecord, WriteAndRead) {
    struct Case {
        RenderElementInfo info;
        std::string text;
    };
    const std::vector<Case> cases{
        {{"Sun", RenderElementType::LightSelect, flag(RenderElementFlag::ColorMapped)}, "Sun|LightSelect|ColorMapped"},
        {{"Beauty", RenderElement::Beauty, 0}, "Beauty|Beauty|"},
        {{"a|b", RenderElementType::LightSelect, 0}, "a|b|LightSelect|"},
        {{"Hair ids", PrivateRenderElementType::HairIds, 6}, "Hair ids|HairIds|Virtual+Antialiased"},
        {{"Bloom", RenderElementType::BloomGlare, 63},
         "Bloom|BloomGlare|ColorMapped+Virtual+Antialiased+Denoised+BloomEffect+GlareEffect"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(serialize(c.info), c.text);
        EXPECT_EQ(deserialize(c.text), c.info);
    }
    // Blanks around the flags are accepted on reading.
    EXPECT_EQ(deserialize("Key|LightSelect| ColorMapped + BloomEffect "),
              RenderElementInfo("Key", RenderElementType::LightSelect, 17));
}

TEST(RenderElementRecord, ReadErrors) {
    const std::string separators = "Field separators in the serialization are not well-formed.";
    struct Case {
        std::string text;
        std::string error;
    };
    const std::vector<Case> cases{
        {"|LightSelect|", separators},
        {"Sun|LightSelect", separators},
        {"SunLightSelect", separators},
        {"|", separators},
        {"Sun||", "String name \"\" does not match any render element type variant."},
        {"Sun|Light Select|", "String name \"Light Select\" does not match any render element type variant."},
        // The flags are read before the type.
        {"Sun|Bogus|bogus", "String name \"bogus\" does not match any render element flag."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.text + "]");
        try {
            (void)deserialize(c.text);
            ADD_FAILURE() << "no exception";
        } catch (const Exception& e) {
            EXPECT_EQ(std::string(e.what()), c.error);
        }
    }
}

TEST(RenderElementRecord, ListItemNamesTheRecord) {
    EXPECT_EQ(deserializeListItem("Key|LightSelect|").value(), RenderElementInfo("Key", RenderElementType::LightSelect));
    EXPECT_EQ(deserializeListItem("Key|LightSelect").error(),
              "Serialized render element info \"Key|LightSelect\" is not valid. Field separators in the serialization "
              "are not well-formed.");
    EXPECT_EQ(deserializeListItem("Key|Light|").error(),
              "Serialized render element info \"Key|Light|\" is not valid. String name \"Light\" does not match any "
              "render element type variant.");
}

}  // namespace
}  // namespace lumora
