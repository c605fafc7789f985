#pragma once
// One camera sample of the scene: a path tracer with next-event estimation towards every light,
// combined with BSDF sampling by multiple importance sampling (power heuristic), up to a fixed
// number of bounces. Every contribution is attributed to the light that emitted it, so the light
// selects of one sample add up to its beauty. The background is black and belongs to no light.

#include <array>

#include "sample_render/sampler.hpp"
#include "sample_render/scene.hpp"

namespace lumora::sample {

// How direct light is estimated. Only Mis is used for renders; the single strategies give the
// same expectation with more noise, which tests use to check the densities.
enum class Strategy { Mis, LightOnly, BsdfOnly };

struct SampleResult {
    std::array<V3, kLightCount> light{};  // radiance per light
    float coverage = 0.f;                 // 1 where the camera ray hits a surface
    // Features of the first visible surface; zero on the background.
    V3 albedo;
    V3 worldNormal;
    V3 cameraNormal;
    V3 hybrid;  // normalised depth, object id, a second object code
    float depth = 0.f;
    int rays = 0;

    V3 beauty() const;
};

class Integrator {
public:
    explicit Integrator(const Scene& scene, Strategy strategy = Strategy::Mis, int maxBounces = 1)
        : scene_(scene), strategy_(strategy), maxBounces_(maxBounces) {}

    // The sample of pixel (x, y) of a width x height frame, with random numbers from `stream`.
    SampleResult sample(int x, int y, int width, int height, SampleStream& stream) const;

private:
    void recordFeatures(const Hit& hit, V3 normal, V3 albedo, SampleResult& result) const;

    const Scene& scene_;
    Strategy strategy_;
    int maxBounces_;
};

}  // namespace lumora::sample
