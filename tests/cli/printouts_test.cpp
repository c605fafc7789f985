#include <gtest/gtest.h>

#include <sstream>

#include "cli/expected_texts.hpp"
#include "cli/help.hpp"
#include "cli/property_descriptions.hpp"
#include "cli/runtime.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora {
namespace {

TEST(Printouts, UsageExamplesAndPropertiesAreTheWholeExpectedTexts) {
    const std::string name = utils::getExecutableFilePath().filename().string();
    std::ostringstream messages;
    const CommandLine::Runtime runtime(messages);
    std::ostringstream usage, examples, properties;
    CommandLine::printUsage(usage, runtime.getParser());
    CommandLine::printExamples(examples);
    CommandLine::printProperties(properties);
    EXPECT_EQ(usage.str(), test::expectedUsage(name));
    EXPECT_EQ(examples.str(), test::expectedExamples(name));
    EXPECT_EQ(properties.str(), test::expectedProperties());
}

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
