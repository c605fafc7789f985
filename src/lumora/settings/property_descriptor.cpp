#include "lumora/settings/property_descriptor.hpp"

#include <array>
#include <cstddef>
#include <limits>
#include <map>
#include <mutex>
#include <utility>

#include "lumora/foundation/hash.hpp"
#include "lumora/foundation/optix_libraries.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/settings/enums.hpp"

namespace lumora {

namespace {

PropertyDescriptor describe(int id, std::string name, Property defaultValue, Property minValue = {},
                            Property maxValue = {}) {
    PropertyDescriptor d;
    d.type = defaultValue.type();
    d.id = id;
    d.name = std::move(name);
    d.defaultValue = std::move(defaultValue);
    d.minValue = std::move(minValue);
    d.maxValue = std::move(maxValue);
    return d;
}

// Int settings with named constants take their limits from the constant table.
template <class E>
PropertyDescriptor describeEnum(int id, std::string name, E defaultValue) {
    auto serializer = EnumSerializer<E>::instance();
    PropertyDescriptor d = describe(id, std::move(name), static_cast<int>(defaultValue),
                                    static_cast<int>(serializer->minValue()),
                                    static_cast<int>(serializer->maxValue()));
    d.enumSerializer = std::move(serializer);
    return d;
}

struct Registry {
    std::once_flag once;
    std::map<int, PropertyDescriptor> descriptors;
    std::uint32_t namesHash = 0;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

// Descriptors whose default in a release build differs from the table's, with the release value.
// The value keeps the type written here.
std::vector<std::pair<int, Property>> releaseDefaults() {
    return {
        {148, 20.f},
        {994, true},
        {108, 2.f},
        {193, Vec3{0.f, 0.f, 0.f}},
        {139, static_cast<int>(ImagePreFilterType::Tent)},
        {103, static_cast<int>(GiSolverType::UHDCache)},
        {180, false},
    };
}

// The properties the editor's own image operations read.
constexpr std::array<int, 53> postProcessingIds{
    331, 330, 332, 333, 890, 339, 345, 340, 341, 342, 343, 344, 346, 347, 348, 364, 384, 366,
    367, 369, 370, 371, 372, 373, 374, 375, 376, 377, 381, 363, 362, 349, 350, 351, 352, 368,
    353, 354, 360, 358, 359, 355, 356, 357, 378, 993, 149, 200, 180, 379, 380, 382, 383,
};

void fill(Registry& r, std::vector<PropertyDescriptor> hostDescriptors) {
    for (auto& d : PropertyDescriptor::builtInDescriptors()) {
        d.flags |= PropertyDescriptor::BuiltIn;
        const int id = d.id;
        r.descriptors.insert_or_assign(id, std::move(d));
    }
    for (auto& d : hostDescriptors) {
        const int id = d.id;
        r.descriptors.insert_or_assign(id, std::move(d));
    }
    // A host descriptor may have replaced a built-in one, so these only touch what is there.
    for (auto& [id, value] : releaseDefaults()) {
        const auto it = r.descriptors.find(id);
        if (it == r.descriptors.end()) {
            continue;
        }
        it->second.flags |= PropertyDescriptor::ReleaseDefault;
        if (!utils::isDevelopmentEnviro()) {
            it->second.defaultValue = std::move(value);
        }
    }
    for (const int id : postProcessingIds) {
        const auto it = r.descriptors.find(id);
        if (it != r.descriptors.end()) {
            it->second.flags |= PropertyDescriptor::PostProcessing;
        }
    }
    std::vector<std::string> names;
    names.reserve(r.descriptors.size());
    for (const auto& [id, d] : r.descriptors) {
        names.push_back(d.name);
    }
    r.namesHash = PropertyDescriptor::namesHash(names);
}

const Registry& registered() {
    PropertyDescriptor::registerDescriptors();
    return registry();
}

}  // namespace

bool aiDenoiserAvailable() {
    // Whether the vendor libraries load; the GPU itself is first touched when denoising.
    return optix::processLibraries().complete();
}

void PropertyDescriptor::registerDescriptors(std::vector<PropertyDescriptor> hostDescriptors) {
    Registry& r = registry();
    std::call_once(r.once, [&] { fill(r, std::move(hostDescriptors)); });
}

const PropertyDescriptor* PropertyDescriptor::get(int id) {
    const auto& descriptors = registered().descriptors;
    const auto it = descriptors.find(id);
    return it == descriptors.end() ? nullptr : &it->second;
}

void PropertyDescriptor::enumerate(const std::function<void(const PropertyDescriptor&)>& visit) {
    for (const auto& [id, d] : registered().descriptors) {
        visit(d);
    }
}

int PropertyDescriptor::descriptorsCount() { return static_cast<int>(registered().descriptors.size()); }

std::uint32_t PropertyDescriptor::descriptorsHash() { return registered().namesHash; }

std::uint32_t PropertyDescriptor::namesHash(const std::vector<std::string>& names) {
    std::uint64_t h = 0x6a5d9e05ac28ULL;
    std::vector<std::byte> bytes;
    for (const auto& name : names) {
        // The hash is defined on UTF-16 code units, little-endian, so it matches across platforms.
        bytes.clear();
        for (const char16_t unit : text::toUtf16(name)) {
            bytes.push_back(static_cast<std::byte>(unit & 0xFF));
            bytes.push_back(static_cast<std::byte>(unit >> 8));
        }
        h ^= utils::hash(bytes);
    }
    if (utils::isDevelopmentEnviro()) {
        h ^= 0x12345678ULL;
    }
    h = (h >> 48) ^ (h >> 32) ^ (h >> 16) ^ h;
    return static_cast<std::uint32_t>(h & 0xFFFFFF);
}

std::string getPropertyExrName(const PropertyDescriptor& descriptor) {
    std::string name = "lumora." + descriptor.name;
    static constexpr std::pair<const char*, const char*> abbreviations[] = {
        {"colorMap", "cm"},     {"bloomGlare", "bg"}, {"highlightCompression", "hlcompr"},
        {"sharpening", "sharp"}, {"blurring", "blur"},
    };
    for (const auto& [from, to] : abbreviations) {
        name = text::replaceAll(name, from, to);
    }
    return text::toLower(name);
}

std::vector<PropertyDescriptor> PropertyDescriptor::builtInDescriptors() {
    constexpr float inf = std::numeric_limits<float>::infinity();
    const Property noBools = Property::boolArray({});
    const Property noFloats = Property::floatArray({});
    const Property noVec2s = Property::vec2Array({});
    const Property noVec3s = Property::vec3Array({});
    const char* renderStampDefault =
        "Lumora Renderer | %c | Time: %pt | Passes: %pp | Primitives: %si | Rays/s: %pr";
    const char* vfbTitleDefault = "Lumora %bn | %rpx (%z) | Camera: %v | Frame %n";

    // Construction order; the first block is the image-editing set.
    return {
        describe(331, "colorMap.enabled", true),
        describe(330, "colorMap.gamma", 2.2f, 0.1f, 10.f),
        describe(332, "colorMap.highlightCompression", 1.f, 0.01f, 999.f),
        describe(333, "colorMap.colorTemp", 6500.f, 2000.f, 99999.f),
        describe(339, "colorMap.contrast", 1.f, 0.f, 99.f),
        describe(345, "colorMap.usePhotographic", false),
        describe(340, "colorMap.simpleExposure", 0.f, -20.f, 20.f),
        describe(341, "colorMap.iso", 100.f, 0.001f, 999999.f),
        describe(342, "colorMap.fStop", 16.f, 0.01f, 50.f),
        describe(343, "colorMap.shutterSpeed", 50.f, 0.001f, 999999.f),
        describe(344, "colorMap.tint", Vec3{1.f, 1.f, 1.f}),
        describe(346, "colorMap.filmic.highlightCompression", 0.f, 0.f, 1.f),
        describe(347, "colorMap.filmic.richShadows", 0.f, 0.f, 1.f),
        describe(348, "colorMap.saturation", 0.f, -1.f, 1.f),
        describe(364, "colorMap.lut.enable", false),
        describe(384, "colorMap.lut.path", ""),
        describe(366, "colorMap.lut.opacity", 1.f, 0.f, 1.f),
        describe(367, "colorMap.lut.convertToLog", false),
        describe(381, "colorMap.lightmixEnabledLayers", noBools),
        describe(363, "colorMap.lightmixIntensities", noFloats),
        describe(362, "colorMap.lightmixColors", noVec3s),
        describe(890, "colorMap.colorTemp15Hack", false),
        describe(379, "sharpening.amount", 1.f, 0.f, 10.f),
        describe(380, "sharpening.radius", 0.5f, 0.f, 50.f),
        describe(382, "blurring.radius", 1.33f, 0.f, 50.f),
        describe(383, "sharpening.blurring.enable", false),
        describe(369, "curves.enable", false),
        describe(370, "curves.master.nodes", noVec2s),
        describeEnum(371, "curves.master.interpol", CurveInterpolation::PiecewiseCubic),
        describe(372, "curves.r.nodes", noVec2s),
        describeEnum(373, "curves.r.interpol", CurveInterpolation::PiecewiseCubic),
        describe(374, "curves.g.nodes", noVec2s),
        describeEnum(375, "curves.g.interpol", CurveInterpolation::PiecewiseCubic),
        describe(376, "curves.b.nodes", noVec2s),
        describeEnum(377, "curves.b.interpol", CurveInterpolation::PiecewiseCubic),
        describe(349, "vignette.intensity", 0.f, 0.f, 10.f),
        describe(350, "vignette.falloff", 0.f, 0.f, 1.f),
        describe(351, "vignette.offset.x", 0.f, -1.f, 1.f),
        describe(352, "vignette.offset.y", 0.f, -1.f, 1.f),
        describe(368, "bloomGlare.enabled", false),
        describe(353, "bloomGlare.bloomIntensity", 1.f, 0.f, 100000.f),
        describe(354, "bloomGlare.glareIntensity", 1.f, 0.f, 100000.f),
        describe(360, "bloomGlare.threshold", 1.f, 0.f, 100000.f),
        describe(355, "bloomGlare.streakCount", 3, 1, 8),
        describe(356, "bloomGlare.rotation", 15.f, -1e10f, 1e10f),
        describe(357, "bloomGlare.streakBlur", 0.2f, 0.f, 1.f),
        describe(358, "bloomGlare.colorIntensity", 0.3f, 0.f, 1.f),
        describe(359, "bloomGlare.colorShift", 0.5f, 0.f, 1.f),
        describe(378, "bloomGlare.halfFloat", false),
        describe(149, "renderStamp", renderStampDefault),
        describe(180, "renderstamp.use", true),
        describe(200, "renderstamp.fontSize", 8, 4, 40),
        describe(993, "denoise.blendAmount", 0.65f, 0.f, 1.f),

        describe(803, "system.drMaxDumpPixels", 3000000, 1024, 67108864),
        describe(801, "system.drRenderStripOnly", false),
        describe(807, "system.sceneReportFile", ""),
        describeEnum(174, "system.randomSampler", RandomType::DMC),
        describe(175, "system.randomSeed", 1234, 0, 2147483647),
        describe(183, "system.numThreads", 0, -256, 256),
        describe(817, "system.showPrevisualizations", true),
        describe(812, "system.isInteractive", false),
        describeEnum(816, "system.threadPriority", SchedulerWorkerThreadPriority::Low),
        describe(118, "system.vfbUpdateInterval", 1000, 0, 3600000),
        describe(820, "system.vfbHistoryAutosave", false),
        describe(821, "system.vfbHistoryMaxSizeMb", 2048, 1, 99999),
        describe(824, "system.vfbSpinningSmiley", true),
        describe(827, "system.vfbStatusBarVisible", false),
        describe(825, "system.vfbDuplicateButtonName", ""),
        describe(826, "system.vfbRegions", noVec2s),
        describe(828, "system.vfbRegions.enabled", true),
        describe(100, "system.vfbTitle", vfbTitleDefault),
        describe(196, "geometry.shadowBias", -6.07f, -8.f, -2.f),
        describe(14, "geometry.minInstanceSaving", 50000, 1, 999999),
        describe(143, "geometry.maxNormalDiff", 0.55f, 0.001f, 2.f),
        describeEnum(101, "geometry.accelerationStructure", AccelerationStructureType::Embree),
        describe(808, "geometry.embree.lowMemory", false),
        describe(809, "geometry.embree.highQuality", true),
        describe(810, "geometry.embree.precise", true),
        describe(10, "geometry.bvh.costIteration", 1.f, 0.01f, 1000.f),
        describe(11, "geometry.bvh.costTriangle", 1.f, 0.01f, 1000.f),
        describe(12, "geometry.bvh.leafSizeMin", 2, 1, 1000),
        describe(13, "geometry.bvh.leafSizeMax", 6, 2, 1000),
        describeEnum(811, "geometry.displace.subdivType", DisplaceSubdivType::Projected),
        describe(834, "geometry.displace.useAutoBump", true),
        describe(162, "geometry.displace.maxSizeScreen", 3.f, 0.01f, 100.f),
        describe(169, "geometry.displace.maxSizeWorld", 1.f, 1e-5f, inf),
        describe(164, "geometry.displace.filterMap", false),
        describe(166, "geometry.displace.smoothNormals", true),
        describe(163, "geometry.displace.maxSizeScreenOutFrustumMultiplier", 100.f, 1.f, 1e9f),
        describe(15, "geometry.hairSubdivs", 8, 1, 16),
        describe(144, "progressive.passLimit", 0, 0, 1048576),
        describe(136, "progressive.timeLimit", 0, 0, 864000000),
        describe(829, "progressive.interlacingLevel", 3, 0, 5),
        describeEnum(139, "image.prefilter.type", ImagePreFilterType::None),
        describe(142, "image.prefilter.width", 2.f, 1.f, 5.f),
        describe(814, "shading.enable", true),
        describe(176, "shading.enableAa", true),
        describeEnum(120, "shading.renderEngine", RenderEngineType::Progressive),
        describeEnum(102, "shading.primarySolver", GiSolverType::PathTracing),
        describeEnum(103, "shading.secondarySolver", GiSolverType::PathTracing),
        describe(148, "shading.maxSampleIntensity", 0.f, 0.f, 99999.f),
        describe(109, "shading.giToAaRatio", 16, 1, 1024),
        describe(193, "shading.exitColor", Vec3{0.f, 0.f, 1.f}),
        describe(117, "shading.maxRayDepth", 25, 1, 100),
        describe(818, "shading.fbSampleClamp", 0.f, 0.f, inf),
        describe(819, "shading.disableMotionBlur", false),
        describe(832, "shading.dispersionSamples", 8, 2, 16),
        describe(398, "shading.firstPassWithoutAa", true),
        describe(108, "lights.samplesMult", 1.f, 0.0001f, 100.f),
        describe(156, "lights.texturedRes", 0.6f, 0.0001f, 99.f),
        describeEnum(170, "lights.samplingMode", LightSamplingMode::MIS),
        describe(114, "lights.envResolution", 1000, 1, 100000),
        describeEnum(128, "lights.areaMethod", AreaLightsMethod::ReprojectBidir),
        describeEnum(804, "lights.solver", LightSolverType::Auto),
        describeEnum(822, "lights.enviroSolver", EnviroLightType::NormalDependent),
        describe(155, "lights.enviroSubdivThreshold", 0.005f, 0.f, 1.f),
        describe(802, "lights.enviroDistance", 10000.f, 0.f, inf),
        describe(833, "lights.normalDepSamplerPreference", 1.f, 0.f, inf),
        describe(195, "lights.portalSampleFraction", 0.75f, 0.f, 1.f),
        describe(187, "lights.solverFracLocal", 0.33f, 0.f, 1.f),
        describe(188, "lights.solverFractGlobal", 0.33f, 0.f, 1.f),
        describe(285, "lights.useAdaptiveSolver", false),
        describeEnum(271, "lights.hiesolverVisibilityIS", AdaptiveISMode::Learned),
        describeEnum(272, "lights.hiesolverVisibilityCV", AdaptiveCVMode::Learned),
        describe(273, "lights.hiesolverCacheLightLimit", -1.f, -1.f, inf),
        describeEnum(274, "lights.hiesolverInitCutEnd", LightCutSearchEnd::Groups),
        describe(277, "lights.hiesolverSceneSubdiv", 64, 1, 500),
        describe(286, "lights.hiesolverSceneCoarseSubdiv", 25, 1, 500),
        describe(278, "lights.hiesolverCutError", 0.1f, 0.f, 1.f),
        describe(279, "lights.hiesolverCutSize", 100, 1, 110),
        describeEnum(280, "lights.hiesolverClusteringAlgorithm", LightClusteringAlgorithm::Auto),
        describeEnum(281, "lights.hiesolverClusteringMetric", LightClusteringMetric::Walter),
        describeEnum(282, "lights.hiesolverClusteringStructure", LightClusteringStructure::Heap),
        describeEnum(283, "lights.hiesolverClusteringStart", LightClusteringStart::AtGroups),
        describe(284, "lights.hiesolverTurnOnLimit", 2, 0, 255),
        describe(261, "lights.scalesolverCutError", 0.1f, 0.f, 1.f),
        describe(262, "lights.scalesolverCutSize", 100, 1, 110),
        describeEnum(263, "lights.scalesolverClusteringAlgorithm", LightClusteringAlgorithm::Auto),
        describeEnum(264, "lights.scalesolverClusteringMetric", LightClusteringMetric::Walter),
        describeEnum(265, "lights.scalesolverClusteringStructure", LightClusteringStructure::Heap),
        describeEnum(266, "lights.scalesolverClusteringStart", LightClusteringStart::AtGroups),
        describeEnum(996, "denoise.filterType", DenoisingMode::None),
        describe(997, "denoise.sensitivity", 1.f, 0.1f, 10.f),
        describe(992, "denoise.textureBlur", 1.f, 1e-06f, 100.f),
        describe(994, "adaptivity.enable", false),
        describe(991, "adaptivity.interval", 5, 1, 999),
        describe(995, "adaptivity.targetError", 0.f, 0.f, 1000.f),
        describe(990, "denoise.duringRender", aiDenoiserAvailable()),
        describe(966, "metadata.filename", ""),
        describe(967, "metadata.framename", ""),
        describe(968, "metadata.cameraname", ""),
        describe(969, "metadata.outputFilename", ""),
        describe(970, "metadata.scenedumpAdditional", ""),
        describe(313, "gi.uhdCache.save", false),
        describeEnum(314, "gi.uhdCache.precalcMode", UhdCachePrecalcMode::Compute),
        describe(289, "gi.uhdCache.file", ""),
        describe(316, "gi.uhdCache.doViz", false),
        describe(329, "gi.uhdcache.precision", 1.f, 0.01f, 20.f),
        describe(319, "gi.uhdcache.precompDensity", 1.f, 0.01f, 999.f),
        describe(320, "gi.uhdcache.interpolationCount", 5, 1, 10),
        describe(321, "gi.uhdcache.recordQuality", 512, 1, 99999),
        describe(322, "gi.uhdcache.normalSensitivity", 2.f, 0.f, 99.f),
        describe(323, "gi.uhdcache.dirSensitivity", 3.f, 0.f, 99.f),
        describe(324, "gi.uhdcache.glossThreshold", 0.9f, 0.1f, 1.f),
        describe(325, "gi.uhdcache.strictness", 0.075f, 0.f, 99.f),
        describe(326, "gi.uhdcache.msi", 3.f, 0.f, 9999.f),
        describe(327, "gi.uhdcache.correlatePrecomp", true),
        describe(823, "gi.uhdcache.recomputeAlbedo", true),
        describeEnum(1073, "gi.uhdcache.preset", UhdCachePreset::Still),
        describe(250, "gi.photons.emitted", 5000000, 1000, 100000000),
        describe(251, "gi.photons.storeDirect", true),
        describe(253, "gi.photons.depth", -1, -1, 100),
        describe(252, "gi.photons.lookupCount", 50, 1, 1000),
        describeEnum(254, "gi.photons.filter", PhotonKernelType::Linear),
        describe(750, "gi.vpl.emittedCount", 1000000, 1, 9999999),
        describe(751, "gi.vpl.usedCount", 150, 1, 9999),
        describe(753, "gi.vpl.progressiveBatch", 150, 1, 9999),
        describe(752, "gi.vpl.clamping", 50.f, 0.f, 999.f),
        describe(700, "gi.ppm.ptSamplesPerIter", 1, 1, 50),
        describe(701, "gi.ppm.photonsPerIter", 5000000, 1000, 99000000),
        describe(702, "gi.ppm.alpha", 0.666f, 0.01f, 1.f),
        describe(703, "gi.ppm.initialRadius", 2.f, 0.0001f, 200.f),
        describe(722, "gi.vcm.mis", true),
        describeEnum(725, "gi.vcm.mode", VcmMode::BDPT),
        describe(971, "terminator.maxDifference", 0.25f, 0.f, 1.f),
        describe(973, "terminator.shadowShift", 0.f, 0.f, 1.f),
        describe(972, "terminator.bumpShadowSharpness", 20.f, 0.f, 1000.f),
        describe(974, "terminator.bumpShadowShift", 0.f, 0.f, 1.f),
    };
}

}  // namespace lumora
