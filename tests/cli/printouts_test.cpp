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

std::string executableName() { return utils::getExecutableFilePath().filename().string(); }

TEST(Printouts, UsageListsEveryArgumentWithItsWrappedDescription) {
    std::ostringstream messages;
    const CommandLine::Runtime runtime(messages);
    std::ostringstream out;
    CommandLine::printUsage(out, runtime.getParser());
    EXPECT_EQ(out.str(), test::expectedUsage(executableName()));
    // The layout of one entry, spelled out.
    EXPECT_NE(out.str().find("    --list-properties\n"
                             "        > Prints descriptions of all properties recognized by the --set and\n"
                             "        > --config arguments. See the information for those arguments for\n"
                             "        > further details.\n"
                             "    --list-examples\n"),
              std::string::npos);
}

TEST(Printouts, ExamplesEndWithTheLastCommandLine) {
    std::ostringstream out;
    CommandLine::printExamples(out);
    EXPECT_EQ(out.str(), test::expectedExamples(executableName()));
    EXPECT_TRUE(out.str().ends_with("        Input.lxr Output.exr\n\n"));
    EXPECT_NE(out.str().find("using \\\"High quality\\\"\n"), std::string::npos);
}

TEST(Printouts, PropertiesAreListedByCategoryInIdOrderWithFilledPlaceholders) {
    std::ostringstream out;
    CommandLine::printProperties(out);
    EXPECT_EQ(out.str(), test::expectedProperties());
    for (const char* hidden : {"colorMap.fStop", "colorMap.shutterSpeed", "vignette.falloff", "curves.r.nodes",
                               "curves.master.interpol"}) {
        EXPECT_EQ(out.str().find(std::string(" ") + hidden + "\n"), std::string::npos) << hidden;
    }
}

TEST(PropertyDescriptions, LookUpByIdAndEmptyForUndocumentedProperties) {
    EXPECT_EQ(CommandLine::getPropertyDescription(PropertyId::bloomGlareStreakCount),
              "Controls the number of streaks for the glare effect. It could be from 1 up to 8 streaks. The global "
              "default is 3 which could be overridden by the input image.");
    EXPECT_EQ(CommandLine::getPropertyDescription(PropertyId::colorMapGamma), "");  // not documented
    EXPECT_EQ(CommandLine::getPropertyDescription(342), "");                         // documented as empty
    EXPECT_EQ(CommandLine::getPropertyDescription(-5), "");
}

TEST(PropertyDescriptions, PlaceholdersAreReplacedEverywhereAndTheResultTrimmed) {
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
