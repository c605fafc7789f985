#pragma once
// The informational printouts: help, examples and the property listing.

#include <ostream>
#include <string>

#include "cli/command_line_parser.hpp"

namespace lumora::CommandLine {

// The usage line and every argument of parser with its description.
void printUsage(std::ostream& out, const Parser& parser);
void printExamples(std::ostream& out);
// Every documented property by category, with its type, name and description.
void printProperties(std::ostream& out);
// The description of a property, or an empty text for a property that has none.
std::string getPropertyDescription(int id);

}  // namespace lumora::CommandLine
