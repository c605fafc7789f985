#pragma once
// Reading of one configuration line "<type> <name> = <value>" into a property id and value.
//
// Numbers are read the way an input stream reads them (leading white space skipped, reading stops
// at the first character that is not part of the number, the rest is ignored); white space is
// whatever text::isSpace reports. Nothing here knows where the line came from: failures carry
// only the reason, and the caller adds the source and the line number.

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "lumora/settings/property.hpp"

namespace lumora::Conf {

// A line that cannot be read; what() is the bare reason ("Missing '='", "Unknown property", ...).
class LineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ParsedLine {
    int id = 0;
    Property value;
};

// Empty for a line that is blank or a comment after trimming; throws LineError otherwise when the
// line cannot be read. The value's type is the one the type word names (or Int for properties
// with named constants); it is not checked against the property's own type.
std::optional<ParsedLine> readLine(std::string_view line);

}  // namespace lumora::Conf
