#pragma once
// The enumerations of Int settings that accept named constants, and their (value, name) tables.
// The values and the names are stored in configuration files and image headers: never change them.

#include "lumora/settings/enum_serializer.hpp"

namespace lumora {

enum class DenoisingMode : int {
    None = 0,
    Fireflies = 1,
    Full = 2,
    Gather = 3,
    NvidiaAiDenoiser = 4,
};

enum class CurveInterpolation : int {
    PiecewiseCubic = 0,
    PiecewiseLinear = 1,
    PiecewiseCubicUniform = 2,
    PiecewiseCubicChordal = 3,
};

enum class ImagePreFilterType : int {
    None = 0,
    Box = 1,
    Tent = 2,
    Parabolic = 3,
    SymmetricTent = 4,
    Hann = 5,
    BlackmanHarris = 6,
};

enum class RandomType : int {
    Deprecated = 0,
    PerPixelTea = 1,
    PerPixelXorshift128 = 2,
    PerPixelXorshift64Star = 3,
    Stratified = 4,
    DMC = 5,
    Psycho = 6,
};

enum class SchedulerWorkerThreadPriority : int {
    Low = -2,
    BelowNormal = -1,
    Normal = 0,
    AboveNormal = 1,
    High = 2,
};

enum class AccelerationStructureType : int {
    None = 0,
    BvhSAH = 1,
    Embree = 2,
};

enum class DisplaceSubdivType : int {
    Projected = 0,
    World = 1,
};

enum class RenderEngineType : int {
    SimplePT = 0,
    LightTracer = 1,
    Progressive = 2,
    VCM = 3,
    VPL = 4,
    PPM = 5,
};

enum class GiSolverType : int {
    None = 0,
    PathTracing = 1,
    PhotonMap = 2,
    VPL = 3,
    UHDCache = 4,
};

enum class LightSamplingMode : int {
    LightsOnly = 0,
    Bsdf = 1,
    MIS = 2,
};

enum class AreaLightsMethod : int {
    Simple = 0,
    Reproject = 1,
    ReprojectBidir = 2,
};

enum class LightSolverType : int {
    Combined = 0,
    Auto = 1,
    Group = 2,
    Photon = 3,
    Hierarchical = 4,
    Scalable = 5,
    GroupNew = 6,
};

enum class EnviroLightType : int {
    Fast = 0,
    Precise = 1,
    FastCompensate = 2,
    NormalDependent = 3,
    NormalDependentNoComp = 4,
};

enum class AdaptiveISMode : int {
    Estimated = 0,
    Learned = 1,
};

enum class AdaptiveCVMode : int {
    None = 0,
    Learned = 1,
};

enum class LightCutSearchEnd : int {
    Groups = 0,
    Leaves = 1,
};

enum class LightClusteringAlgorithm : int {
    TopDown = 0,
    BottomUp = 1,
    Auto = 2,
};

enum class LightClusteringMetric : int {
    BBox3CenterDist = 0,
    BBox6CenterDist = 1,
    Walter = 2,
    WalterScaled = 3,
    WalterDiff = 4,
    Diff = 5,
};

enum class LightClusteringStructure : int {
    Bruteforce = 0,
    Heap = 1,
    HeapDiff = 2,
};

enum class LightClusteringStart : int {
    AtLeaves = 0,
    AtGroups = 1,
};

enum class UhdCachePrecalcMode : int {
    Compute = 0,
    Load = 1,
    Append = 2,
    Resume = 3,
};

enum class UhdCachePreset : int {
    Still = 0,
    Animation = 1,
};

enum class PhotonKernelType : int {
    Constant = 0,
    Linear = 1,
    Epanechnikov = 2,
    Biweight = 3,
    Gaussian = 4,
};

enum class VcmMode : int {
    PathTracing = 0,
    LightTracing = 1,
    PPM = 2,
    BidirectionalPT = 3,
    BDPT = 4,
    VCM = 5,
};

template <>
const EnumTable& enumTable<DenoisingMode>();
template <>
const EnumTable& enumTable<CurveInterpolation>();
template <>
const EnumTable& enumTable<ImagePreFilterType>();
template <>
const EnumTable& enumTable<RandomType>();
template <>
const EnumTable& enumTable<SchedulerWorkerThreadPriority>();
template <>
const EnumTable& enumTable<AccelerationStructureType>();
template <>
const EnumTable& enumTable<DisplaceSubdivType>();
template <>
const EnumTable& enumTable<RenderEngineType>();
template <>
const EnumTable& enumTable<GiSolverType>();
template <>
const EnumTable& enumTable<LightSamplingMode>();
template <>
const EnumTable& enumTable<AreaLightsMethod>();
template <>
const EnumTable& enumTable<LightSolverType>();
template <>
const EnumTable& enumTable<EnviroLightType>();
template <>
const EnumTable& enumTable<AdaptiveISMode>();
template <>
const EnumTable& enumTable<AdaptiveCVMode>();
template <>
const EnumTable& enumTable<LightCutSearchEnd>();
template <>
const EnumTable& enumTable<LightClusteringAlgorithm>();
template <>
const EnumTable& enumTable<LightClusteringMetric>();
template <>
const EnumTable& enumTable<LightClusteringStructure>();
template <>
const EnumTable& enumTable<LightClusteringStart>();
template <>
const EnumTable& enumTable<UhdCachePrecalcMode>();
template <>
const EnumTable& enumTable<UhdCachePreset>();
template <>
const EnumTable& enumTable<PhotonKernelType>();
template <>
const EnumTable& enumTable<VcmMode>();

}  // namespace lumora
