#pragma once
// The process-wide registry of every property: id, dotted name, type, default, limits, flags
// and, for Int properties with named constants, the serializer of those constants.
//
// The registry is filled once (registerDescriptors, or implicitly on first use) and is read-only
// afterwards, so it may be read from any thread without locking.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "lumora/settings/enum_serializer.hpp"
#include "lumora/settings/property.hpp"

namespace lumora {

struct PropertyDescriptor {
    enum Flag : std::uint32_t {
        DescriptorDefault = 8,
        PostProcessing = 0x10,
        BuiltIn = 0x10000,
        ReleaseDefault = 0x2000000,
    };

    PropertyType type = PropertyType::Empty;
    int id = 0;
    std::string name;
    Property defaultValue;
    Property minValue;  // empty when the property has no limits
    Property maxValue;
    std::uint32_t flags = DescriptorDefault;
    std::shared_ptr<const Abstract::EnumSerializer> enumSerializer;  // null without named constants

    bool hasFlag(Flag f) const { return (flags & f) != 0; }

    // Registers the built-in descriptors and then the host's (an existing id is overwritten).
    // Only the first call has an effect; any other operation registers with no host descriptors
    // when nothing was registered yet.
    static void registerDescriptors(std::vector<PropertyDescriptor> hostDescriptors = {});

    static const PropertyDescriptor* get(int id);  // null for an unregistered id
    static void enumerate(const std::function<void(const PropertyDescriptor&)>& visit);  // ascending id
    static int descriptorsCount();
    static std::uint32_t descriptorsHash();  // 24-bit hash of the set of names

    // The name hash of an arbitrary set of names (order does not matter).
    static std::uint32_t namesHash(const std::vector<std::string>& names);

    // The 188 built-in descriptors in construction order, before registration.
    static std::vector<PropertyDescriptor> builtInDescriptors();
};

// Header attribute name of a property: "lumora." + name with colorMap→cm, bloomGlare→bg,
// highlightCompression→hlcompr, sharpening→sharp, blurring→blur, then lower-cased.
std::string getPropertyExrName(const PropertyDescriptor& descriptor);

// Whether this machine can run the GPU AI denoiser; decides the default of denoise.duringRender
// when the registry is built.
bool aiDenoiserAvailable();

// Registry ids of the built-in properties, named after their dotted names.
namespace PropertyId {
inline constexpr int colorMapEnabled = 331;
inline constexpr int colorMapGamma = 330;
inline constexpr int colorMapHighlightCompression = 332;
inline constexpr int colorMapColorTemp = 333;
inline constexpr int colorMapContrast = 339;
inline constexpr int colorMapUsePhotographic = 345;
inline constexpr int colorMapSimpleExposure = 340;
inline constexpr int colorMapIso = 341;
inline constexpr int colorMapFStop = 342;
inline constexpr int colorMapShutterSpeed = 343;
inline constexpr int colorMapTint = 344;
inline constexpr int colorMapFilmicHighlightCompression = 346;
inline constexpr int colorMapFilmicRichShadows = 347;
inline constexpr int colorMapSaturation = 348;
inline constexpr int colorMapLutEnable = 364;
inline constexpr int colorMapLutPath = 384;
inline constexpr int colorMapLutOpacity = 366;
inline constexpr int colorMapLutConvertToLog = 367;
inline constexpr int colorMapLightmixEnabledLayers = 381;
inline constexpr int colorMapLightmixIntensities = 363;
inline constexpr int colorMapLightmixColors = 362;
inline constexpr int colorMapColorTemp15Hack = 890;
inline constexpr int sharpeningAmount = 379;
inline constexpr int sharpeningRadius = 380;
inline constexpr int blurringRadius = 382;
inline constexpr int sharpeningBlurringEnable = 383;
inline constexpr int curvesEnable = 369;
inline constexpr int curvesMasterNodes = 370;
inline constexpr int curvesMasterInterpol = 371;
inline constexpr int curvesRNodes = 372;
inline constexpr int curvesRInterpol = 373;
inline constexpr int curvesGNodes = 374;
inline constexpr int curvesGInterpol = 375;
inline constexpr int curvesBNodes = 376;
inline constexpr int curvesBInterpol = 377;
inline constexpr int vignetteIntensity = 349;
inline constexpr int vignetteFalloff = 350;
inline constexpr int vignetteOffsetX = 351;
inline constexpr int vignetteOffsetY = 352;
inline constexpr int bloomGlareEnabled = 368;
inline constexpr int bloomGlareBloomIntensity = 353;
inline constexpr int bloomGlareGlareIntensity = 354;
inline constexpr int bloomGlareThreshold = 360;
inline constexpr int bloomGlareStreakCount = 355;
inline constexpr int bloomGlareRotation = 356;
inline constexpr int bloomGlareStreakBlur = 357;
inline constexpr int bloomGlareColorIntensity = 358;
inline constexpr int bloomGlareColorShift = 359;
inline constexpr int bloomGlareHalfFloat = 378;
inline constexpr int renderStamp = 149;
inline constexpr int renderstampUse = 180;
inline constexpr int renderstampFontSize = 200;
inline constexpr int denoiseBlendAmount = 993;

inline constexpr int systemDrMaxDumpPixels = 803;
inline constexpr int systemDrRenderStripOnly = 801;
inline constexpr int systemSceneReportFile = 807;
inline constexpr int systemRandomSampler = 174;
inline constexpr int systemRandomSeed = 175;
inline constexpr int systemNumThreads = 183;
inline constexpr int systemShowPrevisualizations = 817;
inline constexpr int systemIsInteractive = 812;
inline constexpr int systemThreadPriority = 816;
inline constexpr int systemVfbUpdateInterval = 118;
inline constexpr int systemVfbHistoryAutosave = 820;
inline constexpr int systemVfbHistoryMaxSizeMb = 821;
inline constexpr int systemVfbSpinningSmiley = 824;
inline constexpr int systemVfbStatusBarVisible = 827;
inline constexpr int systemVfbDuplicateButtonName = 825;
inline constexpr int systemVfbRegions = 826;
inline constexpr int systemVfbRegionsEnabled = 828;
inline constexpr int systemVfbTitle = 100;
inline constexpr int geometryShadowBias = 196;
inline constexpr int geometryMinInstanceSaving = 14;
inline constexpr int geometryMaxNormalDiff = 143;
inline constexpr int geometryAccelerationStructure = 101;
inline constexpr int geometryEmbreeLowMemory = 808;
inline constexpr int geometryEmbreeHighQuality = 809;
inline constexpr int geometryEmbreePrecise = 810;
inline constexpr int geometryBvhCostIteration = 10;
inline constexpr int geometryBvhCostTriangle = 11;
inline constexpr int geometryBvhLeafSizeMin = 12;
inline constexpr int geometryBvhLeafSizeMax = 13;
inline constexpr int geometryDisplaceSubdivType = 811;
inline constexpr int geometryDisplaceUseAutoBump = 834;
inline constexpr int geometryDisplaceMaxSizeScreen = 162;
inline constexpr int geometryDisplaceMaxSizeWorld = 169;
inline constexpr int geometryDisplaceFilterMap = 164;
inline constexpr int geometryDisplaceSmoothNormals = 166;
inline constexpr int geometryDisplaceMaxSizeScreenOutFrustumMultiplier = 163;
inline constexpr int geometryHairSubdivs = 15;
inline constexpr int progressivePassLimit = 144;
inline constexpr int progressiveTimeLimit = 136;
inline constexpr int progressiveInterlacingLevel = 829;
inline constexpr int imagePrefilterType = 139;
inline constexpr int imagePrefilterWidth = 142;
inline constexpr int shadingEnable = 814;
inline constexpr int shadingEnableAa = 176;
inline constexpr int shadingRenderEngine = 120;
inline constexpr int shadingPrimarySolver = 102;
inline constexpr int shadingSecondarySolver = 103;
inline constexpr int shadingMaxSampleIntensity = 148;
inline constexpr int shadingGiToAaRatio = 109;
inline constexpr int shadingExitColor = 193;
inline constexpr int shadingMaxRayDepth = 117;
inline constexpr int shadingFbSampleClamp = 818;
inline constexpr int shadingDisableMotionBlur = 819;
inline constexpr int shadingDispersionSamples = 832;
inline constexpr int shadingFirstPassWithoutAa = 398;
inline constexpr int lightsSamplesMult = 108;
inline constexpr int lightsTexturedRes = 156;
inline constexpr int lightsSamplingMode = 170;
inline constexpr int lightsEnvResolution = 114;
inline constexpr int lightsAreaMethod = 128;
inline constexpr int lightsSolver = 804;
inline constexpr int lightsEnviroSolver = 822;
inline constexpr int lightsEnviroSubdivThreshold = 155;
inline constexpr int lightsEnviroDistance = 802;
inline constexpr int lightsNormalDepSamplerPreference = 833;
inline constexpr int lightsPortalSampleFraction = 195;
inline constexpr int lightsSolverFracLocal = 187;
inline constexpr int lightsSolverFractGlobal = 188;
inline constexpr int lightsUseAdaptiveSolver = 285;
inline constexpr int lightsHiesolverVisibilityIS = 271;
inline constexpr int lightsHiesolverVisibilityCV = 272;
inline constexpr int lightsHiesolverCacheLightLimit = 273;
inline constexpr int lightsHiesolverInitCutEnd = 274;
inline constexpr int lightsHiesolverSceneSubdiv = 277;
inline constexpr int lightsHiesolverSceneCoarseSubdiv = 286;
inline constexpr int lightsHiesolverCutError = 278;
inline constexpr int lightsHiesolverCutSize = 279;
inline constexpr int lightsHiesolverClusteringAlgorithm = 280;
inline constexpr int lightsHiesolverClusteringMetric = 281;
inline constexpr int lightsHiesolverClusteringStructure = 282;
inline constexpr int lightsHiesolverClusteringStart = 283;
inline constexpr int lightsHiesolverTurnOnLimit = 284;
inline constexpr int lightsScalesolverCutError = 261;
inline constexpr int lightsScalesolverCutSize = 262;
inline constexpr int lightsScalesolverClusteringAlgorithm = 263;
inline constexpr int lightsScalesolverClusteringMetric = 264;
inline constexpr int lightsScalesolverClusteringStructure = 265;
inline constexpr int lightsScalesolverClusteringStart = 266;
inline constexpr int denoiseFilterType = 996;
inline constexpr int denoiseSensitivity = 997;
inline constexpr int denoiseTextureBlur = 992;
inline constexpr int adaptivityEnable = 994;
inline constexpr int adaptivityInterval = 991;
inline constexpr int adaptivityTargetError = 995;
inline constexpr int denoiseDuringRender = 990;
inline constexpr int metadataFilename = 966;
inline constexpr int metadataFramename = 967;
inline constexpr int metadataCameraname = 968;
inline constexpr int metadataOutputFilename = 969;
inline constexpr int metadataScenedumpAdditional = 970;
inline constexpr int giUhdCacheSave = 313;
inline constexpr int giUhdCachePrecalcMode = 314;
inline constexpr int giUhdCacheFile = 289;
inline constexpr int giUhdCacheDoViz = 316;
inline constexpr int giUhdcachePrecision = 329;
inline constexpr int giUhdcachePrecompDensity = 319;
inline constexpr int giUhdcacheInterpolationCount = 320;
inline constexpr int giUhdcacheRecordQuality = 321;
inline constexpr int giUhdcacheNormalSensitivity = 322;
inline constexpr int giUhdcacheDirSensitivity = 323;
inline constexpr int giUhdcacheGlossThreshold = 324;
inline constexpr int giUhdcacheStrictness = 325;
inline constexpr int giUhdcacheMsi = 326;
inline constexpr int giUhdcacheCorrelatePrecomp = 327;
inline constexpr int giUhdcacheRecomputeAlbedo = 823;
inline constexpr int giUhdcachePreset = 1073;
inline constexpr int giPhotonsEmitted = 250;
inline constexpr int giPhotonsStoreDirect = 251;
inline constexpr int giPhotonsDepth = 253;
inline constexpr int giPhotonsLookupCount = 252;
inline constexpr int giPhotonsFilter = 254;
inline constexpr int giVplEmittedCount = 750;
inline constexpr int giVplUsedCount = 751;
inline constexpr int giVplProgressiveBatch = 753;
inline constexpr int giVplClamping = 752;
inline constexpr int giPpmPtSamplesPerIter = 700;
inline constexpr int giPpmPhotonsPerIter = 701;
inline constexpr int giPpmAlpha = 702;
inline constexpr int giPpmInitialRadius = 703;
inline constexpr int giVcmMis = 722;
inline constexpr int giVcmMode = 725;
inline constexpr int terminatorMaxDifference = 971;
inline constexpr int terminatorShadowShift = 973;
inline constexpr int terminatorBumpShadowSharpness = 972;
inline constexpr int terminatorBumpShadowShift = 974;
}  // namespace PropertyId

}  // namespace lumora
