#include "lumora/settings/enums.hpp"

// Tables list the constants in their defined order; names are the exact texts users write.

namespace lumora {

template <>
const EnumTable& enumTable<DenoisingMode>() {
    static const EnumTable table{
        {0, "None"}, {1, "Fireflies"}, {2, "Full"}, {3, "Gather"}, {4, "NVIDIA AI denoiser"}
    };
    return table;
}

template <>
const EnumTable& enumTable<CurveInterpolation>() {
    static const EnumTable table{
        {0, "PiecewiseCubic"}, {1, "PiecewiseLinear"}, {2, "PiecewiseCubicUniform"},
        {3, "PiecewiseCubicChordal"}
    };
    return table;
}

template <>
const EnumTable& enumTable<ImagePreFilterType>() {
    static const EnumTable table{
        {0, "None"}, {1, "Box"}, {2, "Tent"}, {3, "Parabolic"}, {4, "Symmetric Tent"}, {5, "Hann"},
        {6, "Blackman-Harris"}
    };
    return table;
}

template <>
const EnumTable& enumTable<RandomType>() {
    static const EnumTable table{
        {0, "Deprecated"}, {1, "PerPixelTea"}, {2, "PerPixelXorshift128"}, {3, "PerPixelXorshift64Star"},
        {4, "Stratified"}, {5, "DMC"}, {6, "Psycho"}
    };
    return table;
}

template <>
const EnumTable& enumTable<SchedulerWorkerThreadPriority>() {
    static const EnumTable table{
        {-2, "Low"}, {-1, "BelowNormal"}, {0, "Normal"}, {1, "AboveNormal"}, {2, "High"}
    };
    return table;
}

template <>
const EnumTable& enumTable<AccelerationStructureType>() {
    static const EnumTable table{{0, "None"}, {1, "BvhSAH"}, {2, "Embree"}};
    return table;
}

template <>
const EnumTable& enumTable<DisplaceSubdivType>() {
    static const EnumTable table{{0, "Projected"}, {1, "World"}};
    return table;
}

template <>
const EnumTable& enumTable<RenderEngineType>() {
    static const EnumTable table{
        {0, "SimplePT"}, {1, "LightTracer"}, {2, "Progressive"}, {3, "VCM"}, {4, "VPL"}, {5, "PPM"}
    };
    return table;
}

template <>
const EnumTable& enumTable<GiSolverType>() {
    static const EnumTable table{
        {0, "None"}, {1, "PathTracing"}, {2, "PhotonMap"}, {3, "VPL"}, {4, "UHDCache"}
    };
    return table;
}

template <>
const EnumTable& enumTable<LightSamplingMode>() {
    static const EnumTable table{{0, "LightsOnly"}, {1, "Bsdf"}, {2, "MIS"}};
    return table;
}

template <>
const EnumTable& enumTable<AreaLightsMethod>() {
    static const EnumTable table{{0, "Simple"}, {1, "Reproject"}, {2, "ReprojectBidir"}};
    return table;
}

template <>
const EnumTable& enumTable<LightSolverType>() {
    static const EnumTable table{
        {0, "Combined"}, {1, "Auto"}, {2, "Group"}, {3, "Photon"}, {4, "Hierarchical"}, {5, "Scalable"},
        {6, "GroupNew"}
    };
    return table;
}

template <>
const EnumTable& enumTable<EnviroLightType>() {
    static const EnumTable table{
        {0, "Fast"}, {1, "Precise"}, {2, "FastCompensate"}, {3, "NormalDependent"},
        {4, "NormalDependentNoComp"}
    };
    return table;
}

template <>
const EnumTable& enumTable<AdaptiveISMode>() {
    static const EnumTable table{{0, "Estimated"}, {1, "Learned"}};
    return table;
}

template <>
const EnumTable& enumTable<AdaptiveCVMode>() {
    static const EnumTable table{{0, "None"}, {1, "Learned"}};
    return table;
}

template <>
const EnumTable& enumTable<LightCutSearchEnd>() {
    static const EnumTable table{{0, "Groups"}, {1, "Leaves"}};
    return table;
}

template <>
const EnumTable& enumTable<LightClusteringAlgorithm>() {
    static const EnumTable table{{0, "TopDown"}, {1, "BottomUp"}, {2, "Auto"}};
    return table;
}

template <>
const EnumTable& enumTable<LightClusteringMetric>() {
    static const EnumTable table{
        {0, "BBox3CenterDist"}, {1, "BBox6CenterDist"}, {2, "Walter"}, {3, "WalterScaled"},
        {4, "WalterDiff"}, {5, "Diff"}
    };
    return table;
}

template <>
const EnumTable& enumTable<LightClusteringStructure>() {
    static const EnumTable table{{0, "Bruteforce"}, {1, "Heap"}, {2, "HeapDiff"}};
    return table;
}

template <>
const EnumTable& enumTable<LightClusteringStart>() {
    static const EnumTable table{{0, "AtLeaves"}, {1, "AtGroups"}};
    return table;
}

template <>
const EnumTable& enumTable<UhdCachePrecalcMode>() {
    static const EnumTable table{{0, "Compute"}, {1, "Load"}, {2, "Append"}, {3, "Resume"}};
    return table;
}

template <>
const EnumTable& enumTable<UhdCachePreset>() {
    static const EnumTable table{{0, "Still"}, {1, "Animation"}};
    return table;
}

template <>
const EnumTable& enumTable<PhotonKernelType>() {
    static const EnumTable table{
        {0, "Constant"}, {1, "Linear"}, {2, "Epanechnikov"}, {3, "Biweight"}, {4, "Gaussian"}
    };
    return table;
}

template <>
const EnumTable& enumTable<VcmMode>() {
    static const EnumTable table{
        {0, "PathTracing"}, {1, "LightTracing"}, {2, "PPM"}, {3, "BidirectionalPT"}, {4, "BDPT"}, {5, "VCM"}
    };
    return table;
}

}  // namespace lumora
