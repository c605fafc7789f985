#include "cli/runtime.hpp"

#include <locale>
#include <sstream>

#include "lumora/foundation/text.hpp"
#include "lumora/foundation/wildcards.hpp"
#include "lumora/settings/conf.hpp"

namespace lumora::CommandLine {

namespace {

const char* const helpDescription =
    "Prints this help.";

const char* const listPropertiesDescription =
    "Prints descriptions of all properties recognized by the --set and --config arguments. See the "
    "information for those arguments for further details.";

const char* const listExamplesDescription =
    "Prints some example usage.";

const char* const weightsDescription =
    "Sets a weight, or weights, to use while merging/stitching multiple images into one.\n"
    "If more than one input image is given, the editor will compose each pixel as a weighted "
    "arithmetic mean of corresponding pixels retrieved from the input images. Using this argument "
    "you can define a single weight for all input images, or define a different weight for each "
    "individual image (use the semicolon as a separator).\n"
    "Each weight could be either -\n"
    "A float constant for a whole image (use the dot as a decimal separator):\n"
    "--weights \"<float constant>[;<float constant>...]\"\n"
    "Or the name of a special channel containing float weight values for each pixel (prefix the name "
    "with the percent sign):\n"
    "--weights \"%<channel name>[;%<channel name>...]\"\n"
    "If no --weights argument is given, all input images will be merged/stitched using a weight "
    "channel named LUMORA_FB_WEIGHTS that is present in all renders made by Lumora Renderer.";

const char* const elementDescription =
    "Selects a render element that should be processed and saved.\n"
    "It could be either -\n"
    "The name of a single render element as it is presented in the GUI version of the editor, for "
    "instance the beauty render element:\n"
    "--element \"BEAUTY\"\n"
    "Or the asterisk symbol for selecting all render elements at once:\n"
    "--element \"*\"\n"
    "If no --element argument is given, the second variant is the default.";

const char* const setDescription =
    "Overrides the value of some selected property.\n"
    "All image operations that the editor can perform are controlled by properties. The value of "
    "each property arises independently from the following precedence list (the latter ones "
    "automatically override the previous ones):\n"
    "(1) global default value defined by Lumora Renderer\n"
    "(2) default value loaded from the input image, if it is in Lumora EXR format and the value is "
    "present there\n"
    "(3) value set by the right-most --set or --config argument on the command-line\n"
    "The argument expects a formatted string in the following form:\n"
    "--set \"<property type> <property name> = <property value>\"\n"
    "All bool values are expected to be either \"true\" or \"false\". Float values must use dots as "
    "decimal separators. Colors are expected as float triplets separated by spaces. Integer values "
    "can sometimes be replaced by predefined string constants. Use the --list-properties argument "
    "for further details.";

const char* const configDescription =
    "Loads a configuration file to override the values of some properties.\n"
    "It expects a path to some configuration file previously exported from the GUI version of the "
    "editor, or from Lumora Renderer's VFB:\n"
    "--config \"C:\\Path\\To\\File.conf\"\n"
    "In all other aspects, it behaves in the same way as the --set argument.";

const Conf::Filter acceptAll = [](int) { return true; };

// A constant is read like a stream reads a float in the classic locale: characters after the
// number are ignored.
std::optional<WeightDescriptor> parseWeight(const std::string& piece) {
    if (piece.starts_with('%')) return WeightDescriptor::channel(piece.substr(1));
    std::istringstream stream(piece);
    stream.imbue(std::locale::classic());
    float weight = 0.f;
    stream >> weight;
    // The comparison also rejects NaN.
    if (!stream.fail() && !stream.bad() && weight >= 0.f) return WeightDescriptor::constant(weight);
    return std::nullopt;
}

}  // namespace

bool ValueParser<std::vector<WeightDescriptor>>::parse(const std::string& text, std::vector<WeightDescriptor>& value) {
    value.clear();
    if (text.empty()) return true;
    // Empty pieces are kept so that "1;;2" fails instead of silently giving two weights.
    for (const std::string& rawPiece : text::explode(text, ";", text::ExplodeMode::KeepEmpty)) {
        std::optional<WeightDescriptor> weight = parseWeight(text::trim(rawPiece));
        if (!weight) return false;
        value.push_back(std::move(*weight));
    }
    return true;
}

bool ValueParser<IOperator::ElementSelector>::parse(const std::string& text, IOperator::ElementSelector& value) {
    std::string name = text::trim(text);
    if (name.empty()) return false;
    value.name = std::move(name);
    return true;
}

Runtime::Runtime(std::ostream& messages)
    : messages_(messages),
      help_(helpDescription, "h", "help"),
      listProperties_(listPropertiesDescription, "", "list-properties"),
      listExamples_(listExamplesDescription, "", "list-examples"),
      weights_(weightsDescription, "w", "weights", std::vector<WeightDescriptor>{}),
      element_(elementDescription, "e", "element", IOperator::ElementSelector{"*"}),
      set_(setDescription, "s", "set"),
      config_(configDescription, "c", "config") {
    parser_.addArgument(help_);
    parser_.addArgument(listProperties_);
    parser_.addArgument(listExamples_);
    parser_.addArgument(weights_);
    parser_.addArgument(element_);
    parser_.addArgument(set_);
    parser_.addArgument(config_);
    set_.setCallback([this](const std::string& text) { applySetText(text); });
    config_.setCallback([this](const std::filesystem::path& path) { applyConfigFile(path); });
}

void Runtime::parse(std::span<const std::string> tokens) {
    parser_.parseInput(tokens);
    const std::vector<std::string>& freeTokens = parser_.getFreeTokens();
    if (freeTokens.empty()) return;
    output_ = std::filesystem::path(freeTokens.back());
    for (std::size_t i = 0; i + 1 < freeTokens.size(); ++i) {
        std::vector<std::filesystem::path> matches = io::resolvePathWildcards(freeTokens[i]);
        // A pattern that matches nothing stays as it is; loading it reports the problem.
        if (matches.empty()) matches.emplace_back(freeTokens[i]);
        inputs_.insert(inputs_.end(), matches.begin(), matches.end());
    }
}

void Runtime::applySetText(const std::string& text) {
    // The text is one line of a configuration file.
    std::istringstream line(text);
    Conf::parse(line, {}, overrides_, nullptr, acceptAll);
    overrides_.validate();
}

void Runtime::applyConfigFile(const std::filesystem::path& path) {
    Conf::parse(path, {}, overrides_, nullptr, acceptAll);
    overrides_.validate();
}

void Runtime::applySettingsOverrides(Settings& target) const {
    overrides_.forEachStored([&target](int id, const Property& value) { target.set(id, value); });
    target.validate();
}

void Runtime::printMessage(const std::string& text) {
    if (!text.empty()) messages_ << text << std::endl;
}

}  // namespace lumora::CommandLine
