#pragma once
// Debug log: lines appended to the file named by the environment variable LUMORA_DEBUG_LOG.
// Nothing is written, and nothing is formatted, when the variable is unset.

#include <string_view>

namespace lumora::debug {

bool logEnabled();
void log(std::string_view line);

}  // namespace lumora::debug
