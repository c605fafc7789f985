#pragma once
// The command line of lumora-sample-render.

#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lumora/foundation/geometry.hpp"

namespace lumora::sample {

struct RenderOptions {
    int width = 640;
    int height = 360;
    int passes = 16;
    std::uint32_t seed = 1;
    std::optional<Bucket> region;  // max exclusive; the whole frame when absent
    bool adaptive = false;
    bool denoisingData = true;
    std::vector<std::string> settingsLines;  // "<type> <name> = <value>"
    int threads = 0;                         // 0: every logical processor
    std::string output;
    std::string preview;  // optional picture of the beauty
    bool help = false;

    // The data window: the region, or the whole frame.
    Bucket dataWindow() const { return region.value_or(Bucket{{0, 0}, {width, height}}); }
};

// Parses the arguments after the program name. The error is a complete sentence.
std::expected<RenderOptions, std::string> parseOptions(std::span<const std::string> arguments);

std::string usageText();

}  // namespace lumora::sample
