#pragma once
// The editor's command line: its arguments, their parsed values, the property overrides and the
// input and output paths. The pipeline sees it through Performer::IRuntime.

#include <filesystem>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "cli/command_line_parser.hpp"
#include "lumora/image/weight_descriptor.hpp"
#include "lumora/pipeline/runtime.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora::CommandLine {

// "<float>[;<float>...]" or "%<channel>[;%<channel>...]", mixed freely; pieces are trimmed.
// An empty text gives no weights. Negative constants are not accepted: a weighted mean with
// negative weights is meaningless for merging renders.
template <>
struct ValueParser<std::vector<WeightDescriptor>> {
    static bool parse(const std::string& text, std::vector<WeightDescriptor>& value);
};

// The trimmed text, which must not be empty. Element names are checked later, by the pipeline.
template <>
struct ValueParser<IOperator::ElementSelector> {
    static bool parse(const std::string& text, IOperator::ElementSelector& value);
};

class Runtime : public Performer::IRuntime {
public:
    // Messages for the user go to messages (standard error in the editor).
    explicit Runtime(std::ostream& messages);
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    // tokens[0] is the executable's name. --set and --config take effect as they are met, so a
    // failing one stops the parse before later arguments are looked at.
    void parse(std::span<const std::string> tokens);

    bool isHelpRequested() const { return help_.isSet(); }
    bool isListPropertiesRequested() const { return listProperties_.isSet(); }
    bool isListExamplesRequested() const { return listExamples_.isSet(); }
    const Parser& getParser() const { return parser_; }
    const Settings& getOverrides() const { return overrides_; }

    std::span<const std::filesystem::path> getInputs() const override { return inputs_; }
    std::span<const WeightDescriptor> getWeights() const override { return weights_.getValue(); }
    const IOperator::ElementSelector& getElementSelector() const override { return element_.getValue(); }
    void applySettingsOverrides(Settings& target) const override;
    const std::filesystem::path& getOutput() const override { return output_; }
    void printMessage(const std::string& text) override;

private:
    void applySetText(const std::string& text);
    void applyConfigFile(const std::filesystem::path& path);

    std::ostream& messages_;
    Parser parser_;
    HelpMixin<SwitchArgument> help_;
    HelpMixin<SwitchArgument> listProperties_;
    HelpMixin<SwitchArgument> listExamples_;
    HelpMixin<ValueArgument<std::vector<WeightDescriptor>>> weights_;
    HelpMixin<ValueArgument<IOperator::ElementSelector>> element_;
    HelpMixin<CallbackArgument<std::string>> set_;
    HelpMixin<CallbackArgument<std::filesystem::path>> config_;
    Settings overrides_;
    std::vector<std::filesystem::path> inputs_;
    std::filesystem::path output_;
};

}  // namespace lumora::CommandLine
