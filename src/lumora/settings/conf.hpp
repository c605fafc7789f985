#pragma once
// Configuration lines and files: "<type> <name> = <value>", one property per line, "#" comments.
//
// Every parse failure throws Exception("Error in.conf file '<source>' (line <n>) : <reason>.\n
// Whole line : <line>"). The first error ends a parse; values stored before it stay stored.

#include <filesystem>
#include <functional>
#include <istream>
#include <ostream>
#include <string>

#include "lumora/foundation/flags.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

class Logger;  // accepted for interface compatibility; failures are reported by throwing

namespace Conf {

enum class ConfParserFlag : unsigned {
    CreateDefaultFile = 1,  // file form only: create the file with default values when missing
};

using Filter = std::function<bool(int id)>;

// Parses one line into the settings (set); true after a processed line, false for a skipped
// (empty or comment) line. Failures name the source "Conf::parseLine" and line 1.
bool parseLine(const std::string& line, Abstract::Settings& settings);

// Parses every line of the stream; the source name in messages is "Io::TextInputStream".
// Values whose id the filter rejects are dropped; an empty filter accepts all.
void parse(std::istream& stream, Flags<ConfParserFlag> flags, Abstract::Settings& settings, Logger* logger,
           const Filter& filter);

// As above for a file (UTF-8, or UTF-16 with a byte-order mark); the source name is the path in
// generic form. An unreadable file is an Exception naming it.
void parse(const std::filesystem::path& path, Flags<ConfParserFlag> flags, Abstract::Settings& settings,
           Logger* logger, const Filter& filter);

// Writes one line per registered property accepted by the filter, ascending id, with the
// container's current value.
void save(const Abstract::Settings& settings, std::ostream& stream, const Filter& filter);
void save(const Abstract::Settings& settings, const std::filesystem::path& path, const Filter& filter);

// "Config-<descriptorsHash>.conf".
std::filesystem::path getDefaultFileName();

}  // namespace Conf
}  // namespace lumora
