#include "lumora/foundation/text.hpp"

#include <gtest/gtest.h>

namespace lumora::text {
namespace {

TEST(Text, TrimRemovesWhiteSpaceAtBothEndsOnly) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""}, {"   ", ""}, {" a b ", "a b"}, {"\t\r\n\v\fx\n", "x"},
        // Unicode space separators count, no-break spaces do not.
        {"\u3000\u2003x\u2028", "x"}, {"\u00a0x\u00a0", "\u00a0x\u00a0"}, {"\u2007x", "\u2007x"},
        {" \u00e9 ", "\u00e9"}};
    for (const auto& [input, expected] : cases) EXPECT_EQ(trim(input), expected) << input;
}

TEST(Text, ExplodeKeepsOrSkipsEmptyPieces) {
    EXPECT_EQ(explode("1;;2;", ";"), (std::vector<std::string>{"1", "", "2", ""}));
    EXPECT_EQ(explode("1;;2;", ";", ExplodeMode::SkipEmpty), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(explode("", ";"), (std::vector<std::string>{""}));
    EXPECT_EQ(explode("a<>b<>c", "<>"), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(Text, ReplaceAllDoesNotRescanAndLowerCasingKeepsNonAscii) {
    EXPECT_EQ(replaceAll("aaa", "aa", "b"), "ba");
    EXPECT_EQ(replaceAll("colorMap.colorMapX", "colorMap", "cm"), "cm.cmX");
    EXPECT_EQ(replaceAll("abc", "x", "y"), "abc");
    EXPECT_EQ(replaceAll("a.b", ".", ".."), "a..b");
    EXPECT_EQ(toLower("ColorMap.\u00c9X"), "colormap.\u00c9x");  // ASCII letters only
}

TEST(Text, Utf16RoundTripsAndMalformedUtf8DecodesAsReplacement) {
    const std::string s = "a\u00e9\u20ac\U0001F600";
    const std::u16string u = toUtf16(s);
    EXPECT_EQ(u, (std::u16string{u'a', 0xE9, 0x20AC, 0xD83D, 0xDE00}));
    EXPECT_EQ(fromUtf16(u), s);
    EXPECT_TRUE(isValidUtf8("plain \u00e9"));
    for (const std::string bad : {"\xff", "\xc3", "\xe2\x82", "\xc0\xaf", "\xed\xa0\x80"}) {
        EXPECT_FALSE(isValidUtf8(bad)) << bad.size();
        EXPECT_EQ(toUtf32(bad)[0], U'\uFFFD');
    }
}

}  // namespace
}  // namespace lumora::text
