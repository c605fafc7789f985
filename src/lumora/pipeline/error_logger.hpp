#pragma once
// Forwards the error reports of library code (the denoisers) to an operator's error callback.

#include <functional>
#include <memory>
#include <string>

#include "lumora/foundation/logger.hpp"

namespace lumora {

class ErrorLogger final : public Logger {
public:
    explicit ErrorLogger(std::function<void(const std::string&)> onError) : onError_(std::move(onError)) {}
    void error(const std::string& text) override {
        if (onError_) onError_(text);
    }

    static std::shared_ptr<ErrorLogger> create(std::function<void(const std::string&)> onError) {
        return std::make_shared<ErrorLogger>(std::move(onError));
    }

private:
    std::function<void(const std::string&)> onError_;
};

}  // namespace lumora
