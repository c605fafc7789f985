#pragma once
// Receiver of the error reports of library code (the denoisers). The pipeline hands in a logger
// that forwards the reports to an operator's error callback.

#include <string>

namespace lumora {

class Logger {
public:
    virtual ~Logger() = default;
    virtual void error(const std::string& text) = 0;
};

}  // namespace lumora
