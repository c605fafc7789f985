#pragma once
// A snapshot of the colour-mapping properties, taken once per request so that the mapping is
// built from consistent values while the settings may change.

#include <array>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "lumora/foundation/curve.hpp"

namespace lumora {

class Settings;

struct ColorMappingSettings {
    bool enabled = true;
    float gamma = 2.2f;
    float highlightCompression = 1.f;
    float colorTemp = 6500.f;
    bool colorTemp15Hack = false;
    float contrast = 1.f;
    std::array<float, 3> tint{1.f, 1.f, 1.f};
    float saturation = 0.f;
    bool usePhotographic = false;
    float fStop = 16.f;
    float iso = 100.f;
    float inverseShutter = 1.f / 50.f;
    float simpleExposure = 0.f;
    float richShadows = 0.f;
    float filmicHighlights = 0.f;
    bool lutEnable = false;
    std::filesystem::path lutPath;
    float lutOpacity = 1.f;
    bool lutConvertToLog = false;
    bool curvesEnable = false;
    // Master, red, green, blue.
    std::array<std::vector<Curve::Node>, 4> curveNodes;
    std::array<Curve::Kind, 4> curveKinds{};
    float vignetteIntensity = 0.f;
    float vignetteFalloff = 0.f;
    float vignetteOffsetX = 0.f;
    float vignetteOffsetY = 0.f;
    // Supplied by the caller: the full image size in pixels, the origin of the processed region
    // in the full image and the kind of the region (the vignette applies to kinds 0 and 1).
    float imageWidth = 0.f;
    float imageHeight = 0.f;
    float regionX = 0.f;
    float regionY = 0.f;
    std::int32_t regionKind = 0;

    // Reads the properties; the geometry fields keep their defaults.
    static ColorMappingSettings fromSettings(const Settings& settings);
};

}  // namespace lumora
