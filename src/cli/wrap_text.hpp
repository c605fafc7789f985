#pragma once
// Word wrapping for the console printouts.

#include <cstddef>
#include <string>
#include <string_view>

namespace lumora::utils {

// Breaks text into lines and puts prefix before each of them. Every "\n" of the text starts a
// new line; otherwise a line is broken at a run of blanks (which is dropped) so that its text,
// not counting the prefix, is at most width characters (code points). A word longer than width
// stays whole on a line of its own. Blanks at the start of a paragraph are kept as indentation.
// The lines are joined by "\n" with none after the last one: the caller ends the last line.
std::string wrapText(std::string_view text, std::size_t width, std::string_view prefix);

}  // namespace lumora::utils
