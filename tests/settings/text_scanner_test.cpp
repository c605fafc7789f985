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
    checkCases<int>(
        {
            {"33", 33, "", ""},
            {"   -12abc", -12, "abc", ""},
            {"+7 8", 7, " 8", ""},
            {"2147483647", 2147483647, "", ""},
            {"2147483648", 0, "", kTooBig},
            {"", 0, "", kNoNumber},
            {"   ", 0, "", kNoNumber},
            {"abc", 0, "", kInvalidEnd},
            {"-", 0, "", kInvalidEnd},
            {"- 1", 0, "", kInvalidEnd},
            {"\t5", 0, "", kInvalidEnd},
        },
        scan::parseInt);
}

TEST(ScanFloat, ValuesAndErrors) {
    checkCases<float>(
        {
            {"0.5", 0.5f, "", ""},
            {"  -2.25 x", -2.25f, " x", ""},
            {"7abc", 7.f, "abc", ""},
            {".5", 0.5f, "", ""},
            {"1.", 1.f, "", ""},
            {"1e3", 1000.f, "", ""},
            {"2.5E-1", 0.25f, "", ""},
            {"0.1\r", 0.1f, "\r", ""},
            {"1e-60", 0.f, "", ""},
            {"1e39", 0.f, "", kTooBig},
            {"", 0.f, "", kNoNumber},
            {"abc", 0.f, "", "No valid integer part"},
            {".", 0.f, "", "No valid integer part"},
            {"-", 0.f, "", "No valid integer part"},
            {"0.5,0.25", 0.f, "", "Invalid end of the fractional part"},
            {"1.5x", 0.f, "", "Invalid end of the fractional part"},
            {"1e", 0.f, "", kInvalidEnd},
            {"1e+x", 0.f, "", kInvalidEnd},
        },
        scan::parseFloat);
}

TEST(ScanString, ValuesAndErrors) {
    checkCases<std::string>(
        {
            {"\"My LUT\" tail", "My LUT", " tail", ""},
            {"  \"\"", "", "", ""},
            {"plain word", "plain", " word", ""},
            {"  x\"y", "x\"y", "", ""},
            {"\"a\\\"b\"", "a\\", "b\"", ""},  // no escapes inside quotes
            {"\"Grün\"", "Grün", "", ""},
            {"", "", "", "Parsing empty string"},
            {"   ", "", "", "Parsing empty string"},
            {"\"open", "", "", "String is missing ending quotes"},
        },
        scan::parseString);
}

TEST(ScanColor, ValuesAndErrors) {
    const std::string invalid = "Invalid color input";
    checkCases<Vec3>(
        {
            {"0.5 0.25 1", Vec3{0.5f, 0.25f, 1.f}, "", ""},
            {" 1   2  3 extra", Vec3{1, 2, 3}, " extra", ""},
            {"0.5,0.25,1", Vec3{}, "", invalid},
            {"1 2", Vec3{}, "", invalid},
            {"1 2 x", Vec3{}, "", invalid},
            {"", Vec3{}, "", invalid},
        },
        scan::parseColor);
}

TEST(ScanMatch, KeywordLinesFillTargetsInOrder) {
    int size = 0;
    const scan::Target sizeTarget[] = {&size};
    EXPECT_EQ(scan::match("LUT_3D_SIZE 33", "LUT_3D_SIZE %d", sizeTarget), scan::MatchResult::Match);
    EXPECT_EQ(size, 33);
    EXPECT_EQ(scan::match("LUT_1D_SIZE 33", "LUT_3D_SIZE %d", sizeTarget), scan::MatchResult::Mismatch);
    EXPECT_EQ(scan::match("LUT_3D", "LUT_3D_SIZE %d", sizeTarget), scan::MatchResult::TextEnded);
    EXPECT_EQ(scan::match("lut_3d_size 33", "LUT_3D_SIZE %d", sizeTarget), scan::MatchResult::Mismatch);
    std::string error;
    EXPECT_EQ(scan::match("LUT_3D_SIZE big", "LUT_3D_SIZE %d", sizeTarget, &error),
              scan::MatchResult::ConversionFailed);
    EXPECT_EQ(error, kInvalidEnd);

    std::string title;
    const scan::Target titleTarget[] = {&title};
    EXPECT_EQ(scan::match("TITLE \"Warm look\" # comment", "TITLE %s", titleTarget), scan::MatchResult::Match);
    EXPECT_EQ(title, "Warm look");

    Vec3 domain;
    const scan::Target domainTarget[] = {&domain};
    EXPECT_EQ(scan::match("DOMAIN_MAX 1 1 0.5", "DOMAIN_MAX %r", domainTarget), scan::MatchResult::Match);
    EXPECT_EQ(domain, (Vec3{1, 1, 0.5f}));
    EXPECT_EQ(scan::match("DOMAIN_MAX 1,1,1", "DOMAIN_MAX %r", domainTarget, &error),
              scan::MatchResult::ConversionFailed);
    EXPECT_EQ(error, "Invalid color input");

    float lo = 0, hi = 0;
    const scan::Target range[] = {&lo, &hi};
    EXPECT_EQ(scan::match("LUT_1D_INPUT_RANGE -0.5 2", "LUT_1D_INPUT_RANGE %f %f", range), scan::MatchResult::Match);
    EXPECT_EQ(lo, -0.5f);
    EXPECT_EQ(hi, 2.f);

    int v[4] = {};
    const scan::Target four[] = {&v[0], &v[1], &v[2], &v[3]};
    EXPECT_EQ(scan::match("0 64  128 192 256", "%d%d%d%d", four), scan::MatchResult::Match);
    EXPECT_EQ(std::vector<int>(v, v + 4), (std::vector<int>{0, 64, 128, 192}));
    EXPECT_EQ(scan::match("0 64 128", "%d%d%d%d", four), scan::MatchResult::ConversionFailed);
    EXPECT_EQ(scan::match("50% done", "%d%% done", sizeTarget), scan::MatchResult::Match);
    EXPECT_EQ(size, 50);
}

TEST(ScanMatch, WrongTargetIsDefect) {
    float f = 0;
    const scan::Target target[] = {&f};
    EXPECT_THROW(scan::match("1", "%d", target), Exception);
    EXPECT_THROW(scan::match("1", "%d", {}), Exception);
}

TEST(StrExport, RoundTripsAnyText) {
    const std::vector<std::string> texts = {
        "", "plain", "with space", R"(quote " inside)", R"(back\slash)", R"(\)", R"(\")", "\"\"",
        "comma, then", "Grün 日本語 😀", "tab\tand\nnewline", "  padded  ",
    };
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
    EXPECT_EQ(Str::parseExportString("\"ends in escape\\\"").error(), "Incorrectly escaped string");
    EXPECT_EQ(Str::parseExportStringArray("\"a\", \"b").error(), "Incorrectly escaped string");
    EXPECT_FALSE(Str::parseExportString("unquoted").has_value());
    EXPECT_FALSE(Str::parseExportString("\"a\" trailing").has_value());
    EXPECT_FALSE(Str::parseExportStringArray("\"a\" \"b\"").has_value());
    EXPECT_FALSE(Str::parseExportStringArray("\"a\",").has_value());
}

}  // namespace
}  // namespace lumora
