#include <gtest/gtest.h>

#include <sstream>

#include "cli/expected_texts.hpp"
#include "cli/help.hpp"
#include "cli/property_descriptions.hpp"
#include "cli/runtime.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora {
namespace {

TEST(Printouts, UsageExamplesAndPropertiesAreTheExactPinnedTexts) {
    const std::string name = utils::getExecutableFilePath().filename().string();
    const std::string usage = test::printedUsage();
    const std::string examples = test::printedExamples();
    const std::string properties = test::printedProperties();
    EXPECT_EQ(test::fingerprint(usage, name), test::kUsageFingerprint) << usage;
    EXPECT_EQ(test::fingerprint(examples, name), test::kExamplesFingerprint) << examples;
    EXPECT_EQ(test::fingerprint(properties, name), test::kPropertiesFingerprint) << properties;

    // What a reader of a failure above would look for first.
    EXPECT_TRUE(usage.starts_with("Usage (for some examples use --list-examples argument):\n\n    " + name +
                                  " [arguments] <input image> [other input images] <output image>\n"));
    EXPECT_TRUE(examples.starts_with("Example usage:\n"));
    EXPECT_TRUE(examples.ends_with("\n\n"));
    for (const char* property : {"colorMap.enabled", "denoise.filterType", "bloomGlare.streakCount"}) {
        EXPECT_NE(properties.find(property), std::string::npos) << property;
    }
    for (const std::string& line : text::explode(usage + properties, "\n")) {
        EXPECT_LE(line.size(), 10u + 68u) << line;  // descriptions are wrapped at 68 after the prefix
    }
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
