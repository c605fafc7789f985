#pragma once
// One merge weight of an input image: a constant for the whole image, or the name of the image's
// channel that holds a weight per pixel.

#include <string>
#include <utility>
#include <variant>

namespace lumora {

class WeightDescriptor {
public:
    // Constants are never negative; the parser of the command line rejects them.
    static WeightDescriptor constant(float weight) { return WeightDescriptor(weight); }
    static WeightDescriptor channel(std::string name) { return WeightDescriptor(std::move(name)); }

    bool isConstant() const { return std::holds_alternative<float>(value_); }
    bool isChannel() const { return std::holds_alternative<std::string>(value_); }
    float getConstant() const { return std::get<float>(value_); }
    const std::string& getChannelName() const { return std::get<std::string>(value_); }

    bool operator==(const WeightDescriptor&) const = default;

private:
    explicit WeightDescriptor(std::variant<float, std::string> value) : value_(std::move(value)) {}

    std::variant<float, std::string> value_;
};

}  // namespace lumora
