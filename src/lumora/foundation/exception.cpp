#include "lumora/foundation/exception.hpp"

namespace lumora {

std::string stopMessage(const char* file, int line) {
    return "STOP@" + std::string(file) + "(" + std::to_string(line) + ")";
}

void throwStop(const char* file, int line) {
    throw Exception(stopMessage(file, line));
}

}  // namespace lumora
