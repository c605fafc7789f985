#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "foundation/thrown_message.hpp"
#include "lumora/image/render_element_info.hpp"

namespace lumora {
namespace {

TEST(RenderElementRecord, FlagsParseInAnyOrderAndAreWrittenInBitOrder) {
    const std::string noFlag = " does not match any render element flag.";
    const std::vector<std::tuple<std::string, RenderElementFlags, std::string>> cases{
        {"", 0, ""}, {"  ColorMapped + Denoised  ", 9, ""}, {"GlareEffect+ColorMapped+GlareEffect", 33, ""},
        {"ColorMapped + Bogus + Other", 0, "String name \"Bogus\"" + noFlag},
        {"ColorMapped+", 0, "String name \"\"" + noFlag},
    };
    for (const auto& [text, flags, error] : cases) {
        const auto result = toRenderElementFlags(text);
        EXPECT_EQ(result ? "" : result.error(), error) << text;
        if (result) {
            EXPECT_EQ(*result, flags) << text;
        }
    }
    EXPECT_EQ(renderElementFlagsToStr(33), "ColorMapped+GlareEffect");
    EXPECT_EQ(renderElementFlagsToStr(64 | 4), "Antialiased");  // bits without a name are not written
}

TEST(RenderElementRecord, WriteAndRead) {
    const std::vector<std::pair<RenderElementInfo, std::string>> cases{
        {{"Beauty", RenderElement::Beauty, 0}, "Beauty|Beauty|"},
        {{"a|b", RenderElementType::LightSelect, 0}, "a|b|LightSelect|"},
        {{"Hair ids", PrivateRenderElementType::HairIds, 6}, "Hair ids|HairIds|Virtual+Antialiased"},
        {{"Bloom", RenderElementType::BloomGlare, 63},
         "Bloom|BloomGlare|ColorMapped+Virtual+Antialiased+Denoised+BloomEffect+GlareEffect"},
    };
    for (const auto& [info, text] : cases) {
        EXPECT_EQ(serialize(info), text);
        EXPECT_EQ(deserialize(text), info) << text;
    }
    EXPECT_EQ(deserialize("Key|LightSelect| ColorMapped + BloomEffect "),
              RenderElementInfo("Key", RenderElementType::LightSelect, 17));
}

TEST(RenderElementRecord, ReadErrors) {
    const std::string separators = "Field separators in the serialization are not well-formed.";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"|LightSelect|", separators}, {"Sun|LightSelect", separators}, {"|", separators},
        {"Sun|Light Select|", "String name \"Light Select\" does not match any render element type variant."},
        // The flags are read before the type.
        {"Sun|Bogus|bogus", "String name \"bogus\" does not match any render element flag."},
    };
    for (const auto& [text, error] : cases) EXPECT_EQ(test::thrownMessage([&] { (void)deserialize(text); }), error);
    // A list item names the record it could not read.
    EXPECT_EQ(deserializeListItem("Key|LightSelect|").value(), RenderElementInfo("Key", RenderElementType::LightSelect));
    EXPECT_EQ(deserializeListItem("Key|Light|").error(),
              "Serialized render element info \"Key|Light|\" is not valid. String name \"Light\" does not match any "
              "render element type variant.");
}

}  // namespace
}  // namespace lumora
