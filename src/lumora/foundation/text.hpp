#pragma once
// UTF-8 text helpers.
//
// Conventions: every std::string here holds UTF-8. "White space" is what the wide iswspace
// reports in a UTF-8 locale (ASCII blanks and the Unicode space separators, not the no-break
// spaces). Where a rule is stated on UTF-16 code units, convert with toUtf16 in that one place.

#include <string>
#include <string_view>
#include <vector>

namespace lumora::text {

// True when the code point is white space in the iswspace sense.
bool isSpace(char32_t c);

// Removes white space at both ends.
std::string trim(std::string_view s);
std::string trimLeft(std::string_view s);
std::string trimRight(std::string_view s);

enum class ExplodeMode { KeepEmpty, SkipEmpty };
// Splits at every occurrence of separator (which must not be empty).
std::vector<std::string> explode(std::string_view s, std::string_view separator,
                                 ExplodeMode mode = ExplodeMode::KeepEmpty);

// Replaces every occurrence of from (non-empty) by to, scanning left to right.
std::string replaceAll(std::string_view s, std::string_view from, std::string_view to);

// Lower-cases ASCII letters; other characters are kept.
std::string toLower(std::string_view s);

std::string join(const std::vector<std::string>& items, std::string_view separator);

bool startsWith(std::string_view s, std::string_view prefix);
bool endsWith(std::string_view s, std::string_view suffix);

// Code point decoding. Invalid sequences decode as U+FFFD, one byte at a time.
std::u32string toUtf32(std::string_view s);
std::string fromUtf32(std::u32string_view s);
std::u16string toUtf16(std::string_view s);
std::string fromUtf16(std::u16string_view s);

// True when s is well-formed UTF-8.
bool isValidUtf8(std::string_view s);

}  // namespace lumora::text
