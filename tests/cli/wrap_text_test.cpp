#include "cli/wrap_text.hpp"

#include <gtest/gtest.h>

namespace lumora {
namespace {

// The help texts, which the fingerprints pin, are ASCII; this checks the rules on other text: the
// width counts characters, not bytes, and the prefix is not counted.
TEST(WrapText, CountsCharactersNotBytes) {
    EXPECT_EQ(utils::wrapText("\xC3\xA9\xC3\xA9\xC3\xA9 \xC3\xA9\xC3\xA9", 6, "> "), "> \xC3\xA9\xC3\xA9\xC3\xA9 \xC3\xA9\xC3\xA9");
    EXPECT_EQ(utils::wrapText("\xC3\xA9\xC3\xA9\xC3\xA9 \xC3\xA9\xC3\xA9", 5, "> "), "> \xC3\xA9\xC3\xA9\xC3\xA9\n> \xC3\xA9\xC3\xA9");
}

}  // namespace
}  // namespace lumora
