#include "cli/runtime.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <variant>

#include "lumora/foundation/exception.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

constexpr int gammaId = 330;  // colorMap.gamma, Float between 0.1 and 10
constexpr int streakCountId = 355;

struct Parsed {
    std::ostringstream messages;
    CommandLine::Runtime runtime{messages};
};

// Parses the tokens after a program name.
std::unique_ptr<Parsed> parse(std::vector<std::string> tokens) {
    tokens.insert(tokens.begin(), "lumora-image-editor");
    auto parsed = std::make_unique<Parsed>();
    parsed->runtime.parse(tokens);
    return parsed;
}

std::string parseError(const std::vector<std::string>& tokens) {
    try {
        parse(tokens);
    } catch (const Exception& e) {
        return e.message();
    }
    return "(no error)";
}

std::map<int, Property> storedOverrides(const CommandLine::Runtime& runtime) {
    std::map<int, Property> stored;
    runtime.getOverrides().forEachStored([&](int id, const Property& value) { stored.emplace(id, value); });
    return stored;
}

fs::path scratchFolder(const std::string& name) {
    const fs::path folder = fs::path(LUMORA_TEST_TMP) / "runtime_test" / name;
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

// --- weights --------------------------------------------------------------------------------

struct WeightsCase {
    const char* text;
    std::vector<WeightDescriptor> expected;
};

class WeightsTest : public testing::TestWithParam<WeightsCase> {};

TEST_P(WeightsTest, ParsesConstantsAndChannels) {
    const auto parsed = parse({"--weights", GetParam().text});
    const std::span<const WeightDescriptor> weights = parsed->runtime.getWeights();
    EXPECT_EQ(std::vector<WeightDescriptor>(weights.begin(), weights.end()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Valid, WeightsTest,
    testing::Values(
        WeightsCase{"1;%LUMORA_FB_WEIGHTS;0.5",
                    {WeightDescriptor::constant(1.f), WeightDescriptor::channel("LUMORA_FB_WEIGHTS"),
                     WeightDescriptor::constant(0.5f)}},
        WeightsCase{" 2 ; 3 ", {WeightDescriptor::constant(2.f), WeightDescriptor::constant(3.f)}},
        WeightsCase{"", {}},
        WeightsCase{"%", {WeightDescriptor::channel("")}},
        WeightsCase{"% Key.R ", {WeightDescriptor::channel(" Key.R")}},
        WeightsCase{"1.5x", {WeightDescriptor::constant(1.5f)}},
        WeightsCase{"0", {WeightDescriptor::constant(0.f)}},
        WeightsCase{"2.5e1", {WeightDescriptor::constant(25.f)}}));

TEST(WeightsArgument, RejectsMalformedValuesNamingTheArgumentAsTyped) {
    for (const char* text : {"-1", "abc", "1;;2", ";", "   ", "nan", "1;-0.5", ",5"}) {
        EXPECT_EQ(parseError({"--weights", text}), "Argument \"weights\" expects some valid value.") << text;
    }
    EXPECT_EQ(parseError({"-w", "-1"}), "Argument \"w\" expects some valid value.");
    EXPECT_EQ(parseError({"a.lxr", "out.lxr", "--weights"}), "Argument \"weights\" expects some valid value.");
}

TEST(WeightsArgument, RightMostOccurrenceWinsAndNoneMeansEmpty) {
    EXPECT_TRUE(parse({"a.lxr", "b.png"})->runtime.getWeights().empty());
    const auto parsed = parse({"-w", "1;2", "--weights", "%W"});
    EXPECT_THAT(parsed->runtime.getWeights(), ElementsAre(WeightDescriptor::channel("W")));
}

// --- element --------------------------------------------------------------------------------

TEST(ElementArgument, TrimsTheNameAndDefaultsToAllElements) {
    EXPECT_EQ(parse({})->runtime.getElementSelector().name, "*");
    EXPECT_TRUE(parse({})->runtime.getElementSelector().selectsAll());
    EXPECT_EQ(parse({"--element", "  BEAUTY \t"})->runtime.getElementSelector().name, "BEAUTY");
    EXPECT_EQ(parse({"-e", "Key", "--element", "LightMix Interactive"})->runtime.getElementSelector().name,
              "LightMix Interactive");
}

TEST(ElementArgument, RejectsBlankOrMissingNames) {
    EXPECT_EQ(parseError({"--element", "   "}), "Argument \"element\" expects some valid value.");
    EXPECT_EQ(parseError({"--element", ""}), "Argument \"element\" expects some valid value.");
    EXPECT_EQ(parseError({"-e"}), "Argument \"e\" expects some valid value.");
}

// --- set and config -------------------------------------------------------------------------

TEST(SetAndConfigArguments, AccumulateInCommandLineOrderSoTheRightMostWins) {
    const fs::path folder = scratchFolder("accumulate");
    const fs::path conf = folder / "gamma.conf";
    std::ofstream(conf) << "# test settings\nFloat colorMap.gamma = 3\nInt bloomGlare.streakCount = 5\n";

    auto stored = storedOverrides(
        parse({"--set", "Float colorMap.gamma = 1", "-s", "Float colorMap.gamma = 2"})->runtime);
    EXPECT_THAT(stored, ElementsAre(testing::Pair(gammaId, Property(2.f))));

    stored = storedOverrides(parse({"--set", "Float colorMap.gamma = 1", "--config", conf.string()})->runtime);
    EXPECT_THAT(stored, ElementsAre(testing::Pair(gammaId, Property(3.f)), testing::Pair(streakCountId, Property(5))));

    stored = storedOverrides(parse({"-c", conf.string(), "--set", "Float colorMap.gamma = 4"})->runtime);
    EXPECT_THAT(stored, ElementsAre(testing::Pair(gammaId, Property(4.f)), testing::Pair(streakCountId, Property(5))));
}

TEST(SetAndConfigArguments, FailAtTheOffendingArgumentBeforeLaterOnesAreSeen) {
    // The unknown argument after the failing one would fail differently if it were looked at.
    EXPECT_EQ(parseError({"--set", "Float colorMap.gamma = 50", "--unknown"}),
              "Property colorMap.gamma is invalid. Value is expected to be between 0.1 and 10.");
    EXPECT_EQ(parseError({"--set", "Float colorMap.nothing = 1", "--unknown"}),
              "Error in.conf file 'Io::TextInputStream' (line 1) : Unknown property.\n Whole line : Float "
              "colorMap.nothing = 1");
    EXPECT_EQ(parseError({"--set", "Int colorMap.gamma = 2"}),
              "Property colorMap.gamma is invalid. Value has wrong type.");
}

TEST(SetAndConfigArguments, ExpectAParameter) {
    EXPECT_EQ(parseError({"--set"}), "Argument \"set\" expects a valid callback parameter.");
    EXPECT_EQ(parseError({"a.lxr", "-c"}), "Argument \"c\" expects a valid callback parameter.");
}

TEST(SetAndConfigArguments, OverridesAreAppliedOverTheTargetAndValidatedThere) {
    const auto parsed = parse({"--set", "Float colorMap.gamma = 1.8"});
    Settings target;
    target.set(gammaId, Property(2.4f));
    target.set(streakCountId, Property(4));
    parsed->runtime.applySettingsOverrides(target);
    EXPECT_EQ(target.getFloat(gammaId), 1.8f);
    EXPECT_EQ(target.getInt(streakCountId), 4);

    // A value that was invalid in the target before is reported by the validation.
    Settings broken;
    broken.set(streakCountId, Property(9));
    try {
        parsed->runtime.applySettingsOverrides(broken);
        FAIL() << "no validation error";
    } catch (const Exception& e) {
        EXPECT_EQ(e.message(), "Property bloomGlare.streakCount is invalid. Value is expected to be between 1 and 8.");
    }
}

// --- tokens ---------------------------------------------------------------------------------

TEST(FreeTokens, LastIsTheOutputAndTheOthersAreInputs) {
    auto parsed = parse({"a.lxr", "--element", "BEAUTY", "b.lxr", "out.png"});
    EXPECT_THAT(parsed->runtime.getInputs(), ElementsAre(fs::path("a.lxr"), fs::path("b.lxr")));
    EXPECT_EQ(parsed->runtime.getOutput(), fs::path("out.png"));

    parsed = parse({"out.png"});
    EXPECT_TRUE(parsed->runtime.getInputs().empty());
    EXPECT_EQ(parsed->runtime.getOutput(), fs::path("out.png"));

    // The program name is never a token; no free tokens leave the output empty.
    parsed = parse({"--help"});
    EXPECT_TRUE(parsed->runtime.getInputs().empty());
    EXPECT_TRUE(parsed->runtime.getOutput().empty());

    // A lone dash is a free token.
    parsed = parse({"-", "out.png"});
    EXPECT_THAT(parsed->runtime.getInputs(), ElementsAre(fs::path("-")));
}

TEST(FreeTokens, InputPatternsExpandSortedAndUnmatchedPatternsStayLiteral) {
    const fs::path folder = scratchFolder("wildcards");
    for (const char* name : {"node2.lxr", "node1.lxr", "notes.txt", "node10.lxr"}) std::ofstream(folder / name) << "x";
    const std::string matching = (folder / "node*.lxr").string();
    const std::string unmatched = (folder / "*.exr").string();
    const std::string outputPattern = (folder / "*.txt").string();

    const auto parsed = parse({matching, unmatched, outputPattern});
    EXPECT_THAT(parsed->runtime.getInputs(),
                ElementsAre(folder / "node1.lxr", folder / "node10.lxr", folder / "node2.lxr", fs::path(unmatched)));
    EXPECT_EQ(parsed->runtime.getOutput(), fs::path(outputPattern));
}

TEST(Switches, AreSetWhereverTheyAppearAndUnknownArgumentsAreErrors) {
    auto parsed = parse({"a.lxr", "--list-examples", "out.png", "-h", "--help"});
    EXPECT_TRUE(parsed->runtime.isHelpRequested());
    EXPECT_TRUE(parsed->runtime.isListExamplesRequested());
    EXPECT_FALSE(parsed->runtime.isListPropertiesRequested());
    EXPECT_THAT(parsed->runtime.getInputs(), ElementsAre(fs::path("a.lxr")));

    EXPECT_EQ(parseError({"--bogus"}), "Argument \"bogus\" is not recognized.");
    // Short and long names are not interchangeable.
    EXPECT_EQ(parseError({"-help"}), "Argument \"help\" is not recognized.");
    EXPECT_EQ(parseError({"--h"}), "Argument \"h\" is not recognized.");
    EXPECT_EQ(parseError({"-list-properties"}), "Argument \"list-properties\" is not recognized.");
    EXPECT_EQ(parseError({"a.lxr", "-1", "out.png"}), "Argument \"1\" is not recognized.");
}

TEST(PrintMessage, WritesNonEmptyTextsAsLines) {
    Parsed parsed;
    parsed.runtime.printMessage("");
    parsed.runtime.printMessage("Render element Key cannot be denoised.");
    EXPECT_EQ(parsed.messages.str(), "Render element Key cannot be denoised.\n");
}

}  // namespace
}  // namespace lumora
