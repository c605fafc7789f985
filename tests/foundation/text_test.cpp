#include <gtest/gtest.h>
#include "lumora/foundation/text.hpp"
TEST(Text, Placeholder) { EXPECT_EQ(lumora::text::trim("  a "), "a"); }
