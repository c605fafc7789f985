#include "cli/wrap_text.hpp"

#include <gtest/gtest.h>

namespace lumora {
namespace {

struct WrapCase {
    const char* text;
    std::size_t width;
    const char* expected;
};

class WrapTextTest : public testing::TestWithParam<WrapCase> {};

TEST_P(WrapTextTest, BreaksLinesAsDocumented) {
    const WrapCase& c = GetParam();
    EXPECT_EQ(utils::wrapText(c.text, c.width, "> "), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WrapTextTest,
    testing::Values(WrapCase{"short", 68, "> short"},
                    // The width counts the text only, not the prefix; a line of exactly the width stays.
                    WrapCase{"aaaaa bbbb", 10, "> aaaaa bbbb"},
                    // The blanks at a break are dropped, blanks inside a line are kept.
                    WrapCase{"aaaa   bbbb  cc", 9, "> aaaa\n> bbbb  cc"},
                    WrapCase{"x abcdefghijkl y", 5, "> x\n> abcdefghijkl\n> y"},
                    // Leading blanks of a paragraph are indentation.
                    WrapCase{"  a b\n  c", 68, ">   a b\n>   c"},
                    // Width is counted in characters, not bytes.
                    WrapCase{"\xC3\xA9\xC3\xA9\xC3\xA9 \xC3\xA9\xC3\xA9", 6,
                             "> \xC3\xA9\xC3\xA9\xC3\xA9 \xC3\xA9\xC3\xA9"}));

}  // namespace
}  // namespace lumora
