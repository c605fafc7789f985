// The command-line argument parser: arguments separated by NUL bytes either parse or fail with
// the program's Exception.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "cli/runtime.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/settings/property_descriptor.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool registered = (lumora::PropertyDescriptor::registerDescriptors(), true);
    (void)registered;
    std::vector<std::string> tokens;
    std::string token;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            tokens.push_back(std::move(token));
            token.clear();
        } else {
            token += static_cast<char>(data[i]);
        }
    }
    tokens.push_back(std::move(token));
    // Wildcards would walk the whole file system; the parser's own work is what is fuzzed here.
    for (std::string& t : tokens) {
        for (char& c : t) {
            if (c == '*' || c == '?' || c == '[') c = '_';
        }
    }
    std::ostringstream messages;
    lumora::CommandLine::Runtime runtime(messages);
    try {
        runtime.parse(tokens);
    } catch (const lumora::Exception&) {
    }
    return 0;
}
