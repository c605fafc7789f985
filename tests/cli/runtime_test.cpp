#include "cli/runtime.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "cli/expected_texts.hpp"
#include "cli/run_program.hpp"
#include "foundation/thrown_message.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::Pair;

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

std::map<int, Property> storedOverrides(const std::vector<std::string>& tokens) {
    std::map<int, Property> stored;
    parse(tokens)->runtime.getOverrides().forEachStored([&](int id, const Property& v) { stored.emplace(id, v); });
    return stored;
}

TEST(WeightsArgument, ParsesConstantsAndChannelsAndTheRightMostOccurrenceWins) {
    const auto constant = WeightDescriptor::constant;
    const auto channel = WeightDescriptor::channel;
    const std::vector<std::pair<std::string, std::vector<WeightDescriptor>>> cases{
        {"1;%LUMORA_FB_WEIGHTS;0.5", {constant(1.f), channel("LUMORA_FB_WEIGHTS"), constant(0.5f)}},
        {"", {}}, {"%", {channel("")}}, {"% Key.R ", {channel(" Key.R")}}, {"1.5x", {constant(1.5f)}},
        {"2.5e1", {constant(25.f)}}};
    for (const auto& [text, expected] : cases) {
        const auto parsed = parse({"--weights", text});
        const auto weights = parsed->runtime.getWeights();
        EXPECT_EQ(std::vector<WeightDescriptor>(weights.begin(), weights.end()), expected) << text;
    }
    EXPECT_TRUE(parse({"a.lxr", "b.png"})->runtime.getWeights().empty());
    EXPECT_THAT(parse({"-w", "1;2", "--weights", "%W"})->runtime.getWeights(), ElementsAre(channel("W")));
}

TEST(CommandLineErrors, StopAtTheOffendingArgumentWithItsWholeMessage) {
    const std::string weights = "Argument \"weights\" expects some valid value.";
    const std::string element = "Argument \"element\" expects some valid value.";
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"--weights", "1;;2"}, weights}, {{"--weights", "nan"}, weights}, {{"--element", "   "}, element},
        {{"-w", "-1"}, "Argument \"w\" expects some valid value."},
        {{"--set"}, "Argument \"set\" expects a valid callback parameter."},
        // The unknown argument after the failing one would fail differently if it were looked at.
        {{"--set", "Float colorMap.gamma = 50", "--unknown"},
         "Property colorMap.gamma is invalid. Value is expected to be between 0.1 and 10."},
        // Short and long names are not interchangeable.
        {{"-help"}, "Argument \"help\" is not recognized."},
        {{"-list-properties"}, "Argument \"list-properties\" is not recognized."},
        {{"a.lxr", "-1", "out.png"}, "Argument \"1\" is not recognized."},
        {{"a.lxr", "out.png", "-e"}, "Argument \"e\" expects some valid value."},
        {{"--config", "missing.conf", "a.lxr", "out.png"}, "Cannot open the configuration file 'missing.conf'."},
        // A bad setting is reported even where help is asked for.
        {{"--set", "Float colorMap.exposure = 1", "--help"},
         "Error in.conf file 'Io::TextInputStream' (line 1) : Unknown property.\n Whole line : Float colorMap.exposure = 1"},
    };
    for (const auto& [tokens, message] : cases) {
        EXPECT_EQ(test::thrownMessage([&] { parse(tokens); }), message) << testing::PrintToString(tokens);
    }
}

TEST(ElementArgument, TrimsTheNameAndDefaultsToAllElements) {
    EXPECT_TRUE(parse({})->runtime.getElementSelector().selectsAll());
    EXPECT_EQ(parse({"--element", "  BEAUTY \t"})->runtime.getElementSelector().name, "BEAUTY");
    EXPECT_EQ(parse({"-e", "Key", "--element", "LightMix Interactive"})->runtime.getElementSelector().name,
              "LightMix Interactive");
}

TEST(SetAndConfigArguments, AccumulateInCommandLineOrderAndApplyOverTheTargetWithValidation) {
    const fs::path conf = test::freshFolder("runtime_accumulate") / "gamma.conf";
    std::ofstream(conf) << "# test settings\nFloat colorMap.gamma = 3\nInt bloomGlare.streakCount = 5\n";
    EXPECT_THAT(storedOverrides({"--set", "Float colorMap.gamma = 1", "-s", "Float colorMap.gamma = 2"}),
                ElementsAre(Pair(gammaId, Property(2.f))));
    EXPECT_THAT(storedOverrides({"--set", "Float colorMap.gamma = 1", "--config", conf.string()}),
                ElementsAre(Pair(gammaId, Property(3.f)), Pair(streakCountId, Property(5))));
    EXPECT_THAT(storedOverrides({"-c", conf.string(), "--set", "Float colorMap.gamma = 4"}),
                ElementsAre(Pair(gammaId, Property(4.f)), Pair(streakCountId, Property(5))));

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
    EXPECT_EQ(test::thrownMessage([&] { parsed->runtime.applySettingsOverrides(broken); }),
              "Property bloomGlare.streakCount is invalid. Value is expected to be between 1 and 8.");
}

TEST(FreeTokens, LastIsTheOutputTheOthersAreInputsAndSwitchesAreSetAnywhere) {
    auto parsed = parse({"a.lxr", "--element", "BEAUTY", "-", "--list-examples", "out.png", "-h", "--help"});
    EXPECT_THAT(parsed->runtime.getInputs(), ElementsAre(fs::path("a.lxr"), fs::path("-")));
    EXPECT_EQ(parsed->runtime.getOutput(), fs::path("out.png"));
    EXPECT_TRUE(parsed->runtime.isHelpRequested());
    EXPECT_TRUE(parsed->runtime.isListExamplesRequested());
    EXPECT_FALSE(parsed->runtime.isListPropertiesRequested());

    parsed = parse({"out.png"});
    EXPECT_TRUE(parsed->runtime.getInputs().empty());
    EXPECT_EQ(parsed->runtime.getOutput(), fs::path("out.png"));

    // The program name is never a token; no free tokens leave the output empty.
    EXPECT_TRUE(parse({"--help"})->runtime.getOutput().empty());
}

TEST(FreeTokens, InputPatternsExpandSortedAndUnmatchedPatternsStayLiteral) {
    const fs::path folder = test::freshFolder("runtime_wildcards");
    for (const char* name : {"node2.lxr", "node1.lxr", "notes.txt", "node10.lxr"}) std::ofstream(folder / name) << "x";
    const std::string unmatched = (folder / "*.exr").string();
    const std::string outputPattern = (folder / "*.txt").string();

    const auto parsed = parse({(folder / "node*.lxr").string(), unmatched, outputPattern});
    EXPECT_THAT(parsed->runtime.getInputs(),
                ElementsAre(folder / "node1.lxr", folder / "node10.lxr", folder / "node2.lxr", fs::path(unmatched)));
    EXPECT_EQ(parsed->runtime.getOutput(), fs::path(outputPattern));
}

TEST(PrintMessage, WritesNonEmptyTextsAsLines) {
    Parsed parsed;
    parsed.runtime.printMessage("");
    parsed.runtime.printMessage("Render element Key cannot be denoised.");
    EXPECT_EQ(parsed.messages.str(), "Render element Key cannot be denoised.\n");
}

// The editor's informational modes, run as users do. Its error reports are checked by the editor
// runs of the pipeline tests.
TEST(EndToEnd, OnlyTheFirstInformationalModeCountsAndPathsAreIgnored) {
    const std::string editorName = std::filesystem::path(LUMORA_EDITOR_EXE).filename().string();
    const std::vector<std::pair<std::vector<std::string>, std::uint64_t>> cases{
        {{"--help"}, test::kUsageFingerprint},
        {{"--list-examples", "in.lxr", "-h", "out.png"}, test::kUsageFingerprint},
        {{"--list-examples", "--list-properties"}, test::kPropertiesFingerprint},
        {{"--list-examples"}, test::kExamplesFingerprint}};
    for (const auto& [arguments, fingerprint] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const auto outcome = test::runProgram(LUMORA_EDITOR_EXE, arguments, test::processFolder("end_to_end"));
        EXPECT_EQ(outcome.status, 0);
        ASSERT_TRUE(outcome.out.starts_with(test::expectedBanner())) << outcome.out;
        EXPECT_EQ(test::fingerprint(outcome.out.substr(test::expectedBanner().size()), editorName), fingerprint);
        EXPECT_EQ(outcome.err, "");
    }
}

}  // namespace
}  // namespace lumora
