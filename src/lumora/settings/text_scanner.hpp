#pragma once
// Strict primitive parsers and a pattern scanner for fixed-format text ("LUT_3D_SIZE %d"), and
// the exported (quoted, backslash-escaped) form of strings and string arrays.
//
// Conventions: a primitive consumes a prefix of the view and returns the value with the rest of
// the view, or an error text; nothing here throws. Only U+0020 counts as a space.

#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "lumora/settings/property.hpp"

namespace lumora::scan {

template <class T>
struct Parsed {
    T value;
    std::string_view rest;
};
template <class T>
using ParseResult = std::expected<Parsed<T>, std::string>;

ParseResult<int> parseInt(std::string_view text);
ParseResult<float> parseFloat(std::string_view text);
ParseResult<std::string> parseString(std::string_view text);
ParseResult<Vec3> parseColor(std::string_view text);  // "r g b"

enum class MatchResult {
    Match,             // every literal and conversion succeeded (trailing text allowed)
    TextEnded,         // the text ended before the pattern did
    ConversionFailed,  // a literal prefix matched but a %d/%f/%s/%r conversion failed
    Mismatch,          // a literal character differs
};

// One output per conversion, in order: %d int*, %f float*, %s std::string*, %r Vec3*.
using Target = std::variant<int*, float*, std::string*, Vec3*>;
MatchResult match(std::string_view text, std::string_view pattern, std::span<const Target> targets,
                  std::string* error = nullptr);

}  // namespace lumora::scan

namespace lumora::Str {

// "\"" + text with a backslash before every '"' and '\\' + "\"".
std::string getExportString(std::string_view text);
// Exported strings joined by ", "; an empty array is an empty text.
std::string getExportStringArray(std::span<const std::string> items);

// Reads what the two functions above write (whitespace allowed around items and commas). The
// error is "Incorrectly escaped string" for a missing closing quote.
std::expected<std::string, std::string> parseExportString(std::string_view text);
std::expected<std::vector<std::string>, std::string> parseExportStringArray(std::string_view text);

}  // namespace lumora::Str
