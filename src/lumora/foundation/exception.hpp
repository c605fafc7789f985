#pragma once
// The program's one exception type and the internal-defect stop.
//
// A user's mistake is an Exception with a complete sentence; an internal defect (an impossible
// branch, an enumeration value outside its table) is an Exception whose message is
// "STOP@<source path>(<line>)", raised through LUMORA_STOP().

#include <exception>
#include <string>

namespace lumora {

class Exception : public std::exception {
public:
    explicit Exception(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }
    const std::string& message() const noexcept { return message_; }

private:
    std::string message_;  // UTF-8
};

// Builds "STOP@" + file + "(" + line + ")".
std::string stopMessage(const char* file, int line);

[[noreturn]] void throwStop(const char* file, int line);

}  // namespace lumora

// __FILE__ is relative to src/ (the build maps the prefix away), e.g. "lumora/settings/property.cpp".
#define LUMORA_STOP() ::lumora::throwStop(__FILE__, __LINE__)
#define LUMORA_ASSERT(condition)  \
    do {                          \
        if (!(condition)) {       \
            LUMORA_STOP();        \
        }                         \
    } while (false)
