#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "lumora/foundation/exception.hpp"
#include "lumora/settings/text_scanner.hpp"

namespace lumora {
namespace {

// One primitive parse: either a value with the text left over, or an error text.
template <class T>
struct ParseCase {
    std::string input;
    T value;
    std::string rest;
    std::string error;  // empty when the parse succeeds
};

template <class T, class Parser>
void checkCases(const std::vector<ParseCase<T>>& cases, Parser parse) {
    for (const auto& c : cases) {
        SCOPED_TRACE("input: [" + c.input + "]");
        const auto result = parse(c.input);
        if (c.error.empty()) {
            ASSERT_TRUE(result.has_value()) << result.error();
            EXPECT_EQ(result->value, c.value);
            EXPECT_EQ(result->rest, c.rest);
        } else {
            ASSERT_FALSE(result.has_value());
            EXPECT_EQ(result.error(), c.error);
        }
    }
}

const std::string kNoNumber = "String does not contain any number";
const std::string kTooBig = "Parsed number too big for given variable type";
const std::string kInvalidEnd = "Invalid end of the primitive";

TEST(ScanInt, ValuesAndErrors) {
    checkCases<int>({
            {"33", 33, "", ""},
            {"   -12abc", -12, "abc", ""},
            {"2147483647", 2147483647, "", ""},
            {"2147483648", 0, "", kTooBig},
            {"", 0, "", kNoNumber},
            {"abc", 0, "", kInvalidEnd},
            {"-", 0, "", kInvalidEnd},
            {"\t5", 0, "", kInvalidEnd},
        }, scan::parseInt);
}

TEST(ScanFloat, ValuesAndErrors) {
    checkCases<float>({
            {"0.5", 0.5f, "", ""},
            {"  -2.25 x", -2.25f, " x", ""},
            {".5", 0.5f, "", ""},
            {"2.5E-1", 0.25f, "", ""},
            {"0.1\r", 0.1f, "\r", ""},
            {"1e-60", 0.f, "", ""},
            {"1e39", 0.f, "", kTooBig},
            {"", 0.f, "", kNoNumber},
            {"abc", 0.f, "", "No valid integer part"},
            {"0.5,0.25", 0.f, "", "Invalid end of the fractional part"},
            {"1e+x", 0.f, "", kInvalidEnd},
        }, scan::parseFloat);
}

// The LUT reader's tests run the keyword patterns on real files; these are the outcomes it tells apart.
TEST(ScanMatch, OutcomesAndTargetsInOrder) {
    int size = 0;
    const scan::Target sizeTarget[] = {&size};
    EXPECT_EQ(scan::match("LUT_1D_SIZE 33", "LUT_3D_SIZE %d", sizeTarget), scan::MatchResult::Mismatch);
    EXPECT_EQ(scan::match("LUT_3D", "LUT_3D_SIZE %d", sizeTarget), scan::MatchResult::TextEnded);
    EXPECT_EQ(scan::match("LUT_3D_SIZE big", "LUT_3D_SIZE %d", sizeTarget), scan::MatchResult::ConversionFailed);
    EXPECT_EQ(scan::match("50% done", "%d%% done", sizeTarget), scan::MatchResult::Match);
    EXPECT_EQ(size, 50);
    float f = 0;
    const scan::Target wrong[] = {&f};
    EXPECT_THROW(scan::match("1", "%d", wrong), Exception);
}

TEST(StrExport, RoundTripsAnyText) {
    const std::vector<std::string> texts = {"", "plain", "with space", R"(quote " inside)", R"(back\slash)", R"(\)",
                                            R"(\")", "\"\"", "comma, then", "Grün 日本語 😀", "tab\tand\nnewline", "  padded  "};
    for (const auto& text : texts) {
        const auto back = Str::parseExportString(Str::getExportString(text));
        ASSERT_TRUE(back.has_value()) << text;
        EXPECT_EQ(*back, text);
    }
    const auto array = Str::parseExportStringArray(Str::getExportStringArray(texts));
    ASSERT_TRUE(array.has_value());
    EXPECT_EQ(*array, texts);

    const std::vector<std::string> oneEmpty = {""};
    EXPECT_EQ(Str::parseExportStringArray(Str::getExportStringArray(oneEmpty)).value(), oneEmpty);
}

TEST(StrExport, ReadsLooseWhitespaceAndRejectsMalformed) {
    EXPECT_EQ(Str::parseExportString("  \"a\"\t").value(), "a");
    EXPECT_EQ(Str::parseExportStringArray(" \"a\" ,\"b\"  ,  \"c\" ").value(),
              (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_TRUE(Str::parseExportStringArray("   ").value().empty());

    EXPECT_EQ(Str::parseExportString("\"open").error(), "Incorrectly escaped string");
    EXPECT_EQ(Str::parseExportStringArray("\"a\", \"b").error(), "Incorrectly escaped string");
    EXPECT_FALSE(Str::parseExportString("unquoted").has_value());
    EXPECT_FALSE(Str::parseExportString("\"a\" trailing").has_value());
    EXPECT_FALSE(Str::parseExportStringArray("\"a\" \"b\"").has_value());
    EXPECT_FALSE(Str::parseExportStringArray("\"a\",").has_value());
}

}  // namespace
}  // namespace lumora
