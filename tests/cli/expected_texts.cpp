#include "cli/expected_texts.hpp"

#include "lumora/foundation/hash.hpp"
#include "lumora/foundation/text.hpp"

namespace lumora::test {

std::string expectedBanner() {
    return "Lumora Image Editor " LUMORA_VERSION " - command-line interface\nLumora Software 2014-" +
           std::string(__DATE__).substr(7) + "\nhttps://lumora.example/image-editor\n\n--\n\n";
}

std::uint64_t fingerprint(const std::string& text, const std::string& executableName) {
    const std::string neutral = text::replaceAll(text, executableName, "<editor>");
    return utils::hash(neutral.data(), neutral.size());
}

}  // namespace lumora::test
