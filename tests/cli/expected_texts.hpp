#pragma once
// The editor's printouts as its users must see them. The long informational texts (usage,
// examples, property list) are pinned by fingerprints of their exact bytes; the short framing
// texts are written out.

#include <cstdint>
#include <string>

namespace lumora::test {

std::string expectedBanner();

// What the editor prints on standard error for a message.
inline std::string expectedErrorReport(const std::string& message) {
    return "\nError: " + message +
           "\n\nPlease read the help for the editor. The appropriate part of the help can be printed out by using "
           "one of the --help, --list-properties, or --list-examples arguments.\n";
}

// Fingerprints of the exact texts of --help (after the banner), --list-examples and
// --list-properties. A change of any character changes them; review the printed text before
// pinning a new value.
inline constexpr std::uint64_t kUsageFingerprint = 0xb7f94ec76876a55au;
inline constexpr std::uint64_t kExamplesFingerprint = 0xe3ff03c0a928dde6u;
inline constexpr std::uint64_t kPropertiesFingerprint = 0xff0c0069d514ae66u;

// FNV-1a 64 of the text with every occurrence of the executable's name replaced by "<editor>",
// so the pins hold whatever the executable is called.
std::uint64_t fingerprint(const std::string& text, const std::string& executableName);

}  // namespace lumora::test
