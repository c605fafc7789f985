#include "cli/expected_texts.hpp"

#include <sstream>

#include "cli/help.hpp"
#include "cli/runtime.hpp"
#include "lumora/foundation/hash.hpp"
#include "lumora/foundation/text.hpp"

namespace lumora::test {

std::string expectedBanner() {
    return "Lumora Image Editor " LUMORA_VERSION " - command-line interface\n"
           "Lumora Software 2014-" +
           std::string(__DATE__).substr(7) +
           "\n"
           "https://lumora.example/image-editor\n"
           "\n"
           "--\n"
           "\n";
}

std::string printedUsage() {
    std::ostringstream messages, text;
    const CommandLine::Runtime runtime(messages);
    CommandLine::printUsage(text, runtime.getParser());
    return text.str();
}

std::string printedExamples() {
    std::ostringstream text;
    CommandLine::printExamples(text);
    return text.str();
}

std::string printedProperties() {
    std::ostringstream text;
    CommandLine::printProperties(text);
    return text.str();
}

std::uint64_t fingerprint(const std::string& text, const std::string& executableName) {
    const std::string neutral = text::replaceAll(text, executableName, "<editor>");
    return utils::hash(neutral.data(), neutral.size());
}

}  // namespace lumora::test
