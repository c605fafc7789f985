#include "sample_render/integrator.hpp"

#include <cmath>

namespace lumora::sample {

namespace {

constexpr float kRayOffset = 1e-3f;

float powerHeuristic(float chosen, float other) {
    const float a = chosen * chosen;
    return a / (a + other * other);
}

// A diffuse base plus a normalised Phong lobe around the mirror direction; with a black specular
// colour this is a Lambertian surface.
class Bsdf {
public:
    Bsdf(const Material& material, V3 albedo, V3 normal, V3 wo)
        : material_(material), albedo_(albedo), normal_(normal),
          mirror_(normal * (2.f * dot(wo, normal)) - wo) {}

    V3 eval(V3 wi) const {
        if (dot(wi, normal_) <= 0.f) {
            return {};
        }
        V3 f = albedo_ * (1.f / kPi);
        if (material_.specularProbability > 0.f) {
            const float cosAlpha = dot(wi, mirror_);
            if (cosAlpha > 0.f) {
                const float n = material_.exponent;
                f += material_.specular * ((n + 2.f) / (2.f * kPi) * std::pow(cosAlpha, n));
            }
        }
        return f;
    }

    float pdf(V3 wi) const {
        const float cosTheta = dot(wi, normal_);
        if (cosTheta <= 0.f) {
            return 0.f;
        }
        const float ps = material_.specularProbability;
        float p = (1.f - ps) * cosTheta / kPi;
        if (ps > 0.f) {
            const float cosAlpha = dot(wi, mirror_);
            if (cosAlpha > 0.f) {
                const float n = material_.exponent;
                p += ps * (n + 1.f) / (2.f * kPi) * std::pow(cosAlpha, n);
            }
        }
        return p;
    }

    // A direction drawn from pdf(); false when it points below the surface.
    bool sample(float u1, float u2, float u3, V3& wi) const {
        const float phi = 2.f * kPi * u2;
        if (u3 < material_.specularProbability) {
            const float cosAlpha = std::pow(u1, 1.f / (material_.exponent + 1.f));
            const float sinAlpha = std::sqrt(std::max(0.f, 1.f - cosAlpha * cosAlpha));
            wi = normalize(Frame(mirror_).toWorld({sinAlpha * std::cos(phi), sinAlpha * std::sin(phi), cosAlpha}));
            return dot(wi, normal_) > 0.f;
        }
        const float r = std::sqrt(u1);
        const float z = std::sqrt(std::max(0.f, 1.f - u1));
        wi = normalize(Frame(normal_).toWorld({r * std::cos(phi), r * std::sin(phi), z}));
        return dot(wi, normal_) > 0.f;
    }

private:
    const Material& material_;
    V3 albedo_;
    V3 normal_;
    V3 mirror_;
};

V3 clampUnit(V3 v) { return {std::min(v.x, 1.f), std::min(v.y, 1.f), std::min(v.z, 1.f)}; }

}  // namespace

V3 SampleResult::beauty() const {
    V3 sum;
    for (const V3& l : light) {
        sum += l;
    }
    return sum;
}

void Integrator::recordFeatures(const Hit& hit, V3 normal, V3 albedo, SampleResult& result) const {
    const Camera& camera = scene_.camera();
    result.coverage = 1.f;
    result.albedo = albedo;
    result.worldNormal = normal;
    result.cameraNormal = {dot(normal, camera.right), dot(normal, camera.up), -dot(normal, camera.forward)};
    result.depth = dot(hit.point - camera.position, camera.forward);
    const float objects = static_cast<float>(scene_.objects().size());
    const float id = static_cast<float>(hit.object);
    result.hybrid = {std::min(result.depth / scene_.depthRange(), 1.f), (id + 1.f) / objects,
                     std::fmod(id * 0.618034f + 0.1f, 1.f)};
}

SampleResult Integrator::sample(int x, int y, int width, int height, SampleStream& stream) const {
    SampleResult result;
    const float jx = stream.next();
    const float jy = stream.next();
    Ray ray = scene_.camera().generateRay(static_cast<float>(x) + jx, static_cast<float>(y) + jy, width, height);

    V3 throughput(1.f);
    float previousPdf = 0.f;  // density of the BSDF sample that produced `ray`
    V3 previousPoint;
    for (int depth = 0;; ++depth) {
        Hit hit;
        ++result.rays;
        if (!scene_.intersect(ray, 1e30f, hit)) {
            break;
        }
        const Object& object = scene_.objects()[static_cast<std::size_t>(hit.object)];
        const V3 facing = dot(hit.normal, ray.direction) < 0.f ? hit.normal : -hit.normal;
        if (object.light >= 0) {
            const V3 emitted = scene_.emitted(object.light, hit, ray.direction);
            if (depth == 0) {
                recordFeatures(hit, facing, clampUnit(emitted / std::max(maxComponent(emitted), 1e-6f)), result);
                result.light[static_cast<std::size_t>(object.light)] += emitted;
            } else if (strategy_ != Strategy::LightOnly) {
                const float weight =
                    strategy_ == Strategy::Mis
                        ? powerHeuristic(previousPdf, scene_.lightPdf(object.light, previousPoint, hit.point))
                        : 1.f;
                result.light[static_cast<std::size_t>(object.light)] += throughput * emitted * weight;
            }
            break;
        }
        if (depth > maxBounces_) {
            break;
        }

        const Material& material = scene_.materials()[static_cast<std::size_t>(object.material)];
        const V3 albedo = scene_.albedoAt(material, hit);
        const V3 wo = -ray.direction;
        const Bsdf bsdf(material, albedo, facing, wo);
        if (depth == 0) {
            recordFeatures(hit, facing, clampUnit(albedo + material.specular), result);
        }
        const V3 origin = hit.point + facing * kRayOffset;

        if (strategy_ != Strategy::BsdfOnly) {
            for (int l = 0; l < kLightCount; ++l) {
                const float u1 = stream.next();
                const float u2 = stream.next();
                const LightSample ls = scene_.sampleLight(l, hit.point, u1, u2);
                const float cosTheta = dot(ls.direction, facing);
                if (ls.pdf <= 0.f || cosTheta <= 0.f) {
                    continue;
                }
                const V3 f = bsdf.eval(ls.direction);
                if (isBlack(f)) {
                    continue;
                }
                ++result.rays;
                if (scene_.occluded(Ray{origin, ls.direction}, ls.distance * 0.999f)) {
                    continue;
                }
                const float weight =
                    strategy_ == Strategy::Mis ? powerHeuristic(ls.pdf, bsdf.pdf(ls.direction)) : 1.f;
                const V3 radiance = scene_.lights()[static_cast<std::size_t>(l)].radiance;
                result.light[static_cast<std::size_t>(l)] += throughput * f * radiance * (cosTheta * weight / ls.pdf);
            }
        }

        V3 wi;
        const float u1 = stream.next();
        const float u2 = stream.next();
        const float u3 = stream.next();
        if (!bsdf.sample(u1, u2, u3, wi)) {
            break;
        }
        const float pdf = bsdf.pdf(wi);
        if (pdf <= 0.f) {
            break;
        }
        throughput *= bsdf.eval(wi) * (dot(wi, facing) / pdf);
        previousPdf = pdf;
        previousPoint = hit.point;
        ray = Ray{origin, wi};
    }
    return result;
}

}  // namespace lumora::sample
