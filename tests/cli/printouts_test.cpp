#include <gtest/gtest.h>

#include "cli/help.hpp"
#include "cli/property_descriptions.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora {
namespace {

TEST(PropertyDescriptions, LookUpByIdAndFillThePlaceholders) {
    EXPECT_EQ(CommandLine::getPropertyDescription(PropertyId::bloomGlareStreakCount),
              "Controls the number of streaks for the glare effect. It could be from 1 up to 8 streaks. The global "
              "default is 3 which could be overridden by the input image.");
    EXPECT_EQ(CommandLine::getPropertyDescription(PropertyId::colorMapGamma), "");  // not documented
    EXPECT_EQ(CommandLine::getPropertyDescription(342), "");                         // documented as empty
    EXPECT_EQ(CommandLine::getPropertyDescription(-5), "");

    const PropertyDescriptor* streaks = PropertyDescriptor::get(PropertyId::bloomGlareStreakCount);
    ASSERT_NE(streaks, nullptr);
    EXPECT_EQ(CommandLine::substitutePlaceholders("  %TYPE %NAME: %MIN..%MAX, %DEFAULT (%MIN)  ", *streaks),
              "Int bloomGlare.streakCount: 1..8, 3 (1)");
    EXPECT_EQ(CommandLine::substitutePlaceholders(" \t ", *streaks), "");
    // A property without limits may be described as long as the text does not ask for them.
    const PropertyDescriptor* tint = PropertyDescriptor::get(344);
    ASSERT_NE(tint, nullptr);
    EXPECT_EQ(CommandLine::substitutePlaceholders("\"%DEFAULT\"", *tint), "\"1 1 1\"");
}

}  // namespace
}  // namespace lumora
