#include "lumora/colormap/color_mapping_settings.hpp"

#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

ColorMappingSettings ColorMappingSettings::fromSettings(const Settings& settings) {
    namespace id = PropertyId;
    ColorMappingSettings s;
    s.enabled = settings.getBool(id::colorMapEnabled);
    s.gamma = settings.getFloat(id::colorMapGamma);
    s.highlightCompression = settings.getFloat(id::colorMapHighlightCompression);
    s.colorTemp = settings.getFloat(id::colorMapColorTemp);
    s.colorTemp15Hack = settings.getBool(id::colorMapColorTemp15Hack);
    s.contrast = settings.getFloat(id::colorMapContrast);
    const Vec3 tint = settings.get(id::colorMapTint).asVec3();
    s.tint = {tint.x, tint.y, tint.z};
    s.saturation = settings.getFloat(id::colorMapSaturation);
    s.usePhotographic = settings.getBool(id::colorMapUsePhotographic);
    s.fStop = settings.getFloat(id::colorMapFStop);
    s.iso = settings.getFloat(id::colorMapIso);
    s.inverseShutter = 1.f / settings.getFloat(id::colorMapShutterSpeed);
    s.simpleExposure = settings.getFloat(id::colorMapSimpleExposure);
    s.richShadows = settings.getFloat(id::colorMapFilmicRichShadows);
    s.filmicHighlights = settings.getFloat(id::colorMapFilmicHighlightCompression);
    s.lutEnable = settings.getBool(id::colorMapLutEnable);
    s.lutPath = settings.get(id::colorMapLutPath).asString();
    s.lutOpacity = settings.getFloat(id::colorMapLutOpacity);
    s.lutConvertToLog = settings.getBool(id::colorMapLutConvertToLog);
    s.curvesEnable = settings.getBool(id::curvesEnable);
    const std::array<std::pair<int, int>, 4> curves{{{id::curvesMasterNodes, id::curvesMasterInterpol},
                                                     {id::curvesRNodes, id::curvesRInterpol},
                                                     {id::curvesGNodes, id::curvesGInterpol},
                                                     {id::curvesBNodes, id::curvesBInterpol}}};
    for (std::size_t c = 0; c < curves.size(); ++c) {
        for (const Vector2& node : settings.get(curves[c].first).asVec2Array()) {
            s.curveNodes[c].push_back({node.x, node.y});
        }
        const int kind = settings.getInt(curves[c].second);
        s.curveKinds[c] = kind >= 0 && kind <= 3 ? static_cast<Curve::Kind>(kind) : Curve::Kind::PiecewiseCubic;
    }
    s.vignetteIntensity = settings.getFloat(id::vignetteIntensity);
    s.vignetteFalloff = settings.getFloat(id::vignetteFalloff);
    s.vignetteOffsetX = settings.getFloat(id::vignetteOffsetX);
    s.vignetteOffsetY = settings.getFloat(id::vignetteOffsetY);
    return s;
}

}  // namespace lumora
