#pragma once
// The pipeline's only view of the command line.

#include <filesystem>
#include <span>
#include <string>

#include "lumora/image/weight_descriptor.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora {

class Settings;

namespace Performer {

class IRuntime {
public:
    virtual ~IRuntime() = default;

    // Input image paths in command-line order, wildcards resolved.
    virtual std::span<const std::filesystem::path> getInputs() const = 0;
    // Merge weights; empty means the default weight channel.
    virtual std::span<const WeightDescriptor> getWeights() const = 0;
    virtual const IOperator::ElementSelector& getElementSelector() const = 0;
    // Writes every property value given on the command line into target, then validates target.
    virtual void applySettingsOverrides(Settings& target) const = 0;
    virtual const std::filesystem::path& getOutput() const = 0;
    // A warning or note for the user; an empty text prints nothing.
    virtual void printMessage(const std::string& text) = 0;
};

}  // namespace Performer
}  // namespace lumora
