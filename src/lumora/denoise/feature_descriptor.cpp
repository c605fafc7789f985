#include "lumora/denoise/feature_descriptor.hpp"

#include <initializer_list>

#include "lumora/foundation/exception.hpp"

namespace lumora {

namespace {

constexpr std::uint32_t bits(std::initializer_list<FeatureFlag> flags) {
    std::uint32_t result = 0;
    for (FeatureFlag f : flags) result |= static_cast<std::uint32_t>(f);
    return result;
}

}  // namespace

Float4 inverseSquare(Float4 width) { return Float4(1.f) / (width * width); }

Float4 getFeatureWidth(FeatureType type) {
    switch (type) {
        case FeatureType::VisibleNormals: return Float4(0.6f, 0.6f, 0.6f, 0.01f);
        case FeatureType::VisibleDiffuse: return Float4(0.1f);
        case FeatureType::Hybrid: return Float4(0.3f);
        case FeatureType::HairIds: return Float4(0.001f);
        case FeatureType::OptixNormals: break;
    }
    LUMORA_STOP();
}

const FeatureDescriptor& getFeatureDescriptor(FeatureType type) {
    using enum FeatureFlag;
    using enum FeatureType;
    static const FeatureDescriptor normals{inverseSquare(getFeatureWidth(VisibleNormals)),
                                           Float4(0.002f, 0.002f, 0.002f, 0.00001f),
                                           Float4(1.f, 1.f, 1.f, 0.01f),
                                           FeatureType::VisibleNormals,
                                           "visibleNormals",
                                           bits({Prefilter, Active})};
    static const FeatureDescriptor diffuse{inverseSquare(getFeatureWidth(VisibleDiffuse)), Float4(0.0001f),
                                           Float4(1.f), FeatureType::VisibleDiffuse, "visibleDiffuse",
                                           bits({Prefilter, ClearFourthLane, Active})};
    static const FeatureDescriptor hybrid{inverseSquare(getFeatureWidth(Hybrid)), Float4(0.002f), Float4(1.f),
                                          FeatureType::Hybrid, "hybrid",
                                          bits({Prefilter, ClearFourthLane, Active})};
    static const FeatureDescriptor hairIds{inverseSquare(getFeatureWidth(HairIds)), Float4(1e-8f), Float4(0.1f),
                                           FeatureType::HairIds, "hairIds", bits({ClearFourthLane, Active})};
    switch (type) {
        case FeatureType::VisibleNormals: return normals;
        case FeatureType::VisibleDiffuse: return diffuse;
        case FeatureType::Hybrid: return hybrid;
        case FeatureType::HairIds: return hairIds;
        case FeatureType::OptixNormals: break;
    }
    LUMORA_STOP();
}

}  // namespace lumora
