#include "sample_render/scene.hpp"

#include <cmath>

namespace lumora::sample {

namespace {

bool intersectQuad(const Quad& q, const Ray& ray, float tMax, float& t) {
    const float denominator = dot(ray.direction, q.normal);
    if (std::fabs(denominator) < 1e-8f) {
        return false;
    }
    t = dot(q.corner - ray.origin, q.normal) / denominator;
    if (!(t > 0.f && t < tMax)) {
        return false;
    }
    const V3 local = ray.origin + ray.direction * t - q.corner;
    const float a = dot(local, q.edge1);
    const float b = dot(local, q.edge2);
    return a >= 0.f && a <= q.length1Squared && b >= 0.f && b <= q.length2Squared;
}

bool intersectSphere(const Sphere& s, const Ray& ray, float tMax, float& t) {
    const V3 oc = ray.origin - s.center;
    const float b = dot(oc, ray.direction);
    const float c = dot(oc, oc) - s.radius * s.radius;
    const float discriminant = b * b - c;
    if (discriminant < 0.f) {
        return false;
    }
    const float root = std::sqrt(discriminant);
    t = -b - root;
    if (t <= 1e-4f) {
        t = -b + root;
    }
    return t > 1e-4f && t < tMax;
}

Quad makeQuad(V3 corner, V3 edge1, V3 edge2, int object) {
    return Quad{corner, edge1, edge2, normalize(cross(edge1, edge2)), object, dot(edge1, edge1), dot(edge2, edge2),
                length(cross(edge1, edge2))};
}

}  // namespace

Ray Camera::generateRay(float fx, float fy, int width, int height) const {
    const float aspect = static_cast<float>(width) / static_cast<float>(height);
    const float sx = (2.f * fx / static_cast<float>(width) - 1.f) * tanHalfFovY * aspect;
    const float sy = (1.f - 2.f * fy / static_cast<float>(height)) * tanHalfFovY;
    return Ray{position, normalize(forward + right * sx + up * sy)};
}

const Scene& Scene::instance() {
    static const Scene scene;
    return scene;
}

int Scene::addObject(int material, int light) {
    objects_.push_back(Object{material, light});
    return static_cast<int>(objects_.size()) - 1;
}

Scene::Scene() {
    const V3 eye{0.6f, 1.7f, 5.f};
    const V3 target{0.f, 0.8f, -1.5f};
    camera_.position = eye;
    camera_.forward = normalize(target - eye);
    camera_.right = normalize(cross(camera_.forward, V3{0.f, 1.f, 0.f}));
    camera_.up = cross(camera_.right, camera_.forward);
    camera_.tanHalfFovY = std::tan(20.f * kPi / 180.f);

    Material floor;
    floor.diffuse = {0.72f, 0.70f, 0.66f};
    floor.diffuse2 = {0.16f, 0.16f, 0.18f};
    floor.pattern = Pattern::FloorTiles;
    Material backWall;
    backWall.diffuse = {0.70f, 0.64f, 0.54f};
    Material leftWall;
    leftWall.diffuse = {0.32f, 0.48f, 0.55f};
    Material red;
    red.diffuse = {0.75f, 0.18f, 0.12f};
    Material gold;
    gold.diffuse = {0.05f, 0.05f, 0.05f};
    gold.specular = {0.90f, 0.72f, 0.42f};
    gold.exponent = 300.f;
    gold.specularProbability = 0.9f;
    Material tiles;
    tiles.diffuse = {0.10f, 0.22f, 0.65f};
    tiles.diffuse2 = {0.80f, 0.78f, 0.72f};
    tiles.pattern = Pattern::SphereTiles;
    materials_ = {floor, backWall, leftWall, red, gold, tiles};

    quads_.push_back(makeQuad({-3.5f, 0.f, 3.f}, {7.f, 0.f, 0.f}, {0.f, 0.f, -7.f}, addObject(0)));
    quads_.push_back(makeQuad({-3.5f, 0.f, -4.f}, {7.f, 0.f, 0.f}, {0.f, 3.f, 0.f}, addObject(1)));
    quads_.push_back(makeQuad({-3.5f, 0.f, 3.f}, {0.f, 0.f, -7.f}, {0.f, 3.f, 0.f}, addObject(2)));
    spheres_.push_back(Sphere{{-1.5f, 0.75f, -1.8f}, 0.75f, addObject(3)});
    spheres_.push_back(Sphere{{0.3f, 0.6f, -0.6f}, 0.6f, addObject(4)});
    spheres_.push_back(Sphere{{1.7f, 0.5f, -1.6f}, 0.5f, addObject(5)});

    // The lights: a warm key above the room and a cool fill at the front right, both outside the
    // frame, and a tiny, very bright sphere in view whose reflections in the glossy sphere reach
    // diffuse surfaces only through rare paths: the fireflies.
    const int key = static_cast<int>(lights_.size());
    lights_.push_back(Light{"Key", {30.f, 26.f, 21.f}, Light::Shape::Quad, static_cast<int>(quads_.size())});
    quads_.push_back(makeQuad({-1.3f, 3.6f, -2.2f}, {1.6f, 0.f, 0.f}, {0.f, 0.f, 1.4f}, addObject(-1, key)));
    const int fill = static_cast<int>(lights_.size());
    lights_.push_back(Light{"Fill", {2.f, 2.7f, 4.f}, Light::Shape::Quad, static_cast<int>(quads_.size())});
    quads_.push_back(makeQuad({3.f, 0.4f, 3.f}, {0.f, 2.2f, 0.f}, {0.f, 0.f, -2.f}, addObject(-1, fill)));
    const int spot = static_cast<int>(lights_.size());
    lights_.push_back(
        Light{"Spot", {1500.f, 1300.f, 1000.f}, Light::Shape::Sphere, static_cast<int>(spheres_.size())});
    spheres_.push_back(Sphere{{1.3f, 2.1f, 0.6f}, 0.035f, addObject(-1, spot)});
}

bool Scene::intersect(const Ray& ray, float tMax, Hit& hit) const {
    int found = -1;
    bool isSphere = false;
    float t = 0.f;
    for (std::size_t i = 0; i < quads_.size(); ++i) {
        if (intersectQuad(quads_[i], ray, tMax, t)) {
            tMax = t, found = static_cast<int>(i), isSphere = false;
        }
    }
    for (std::size_t i = 0; i < spheres_.size(); ++i) {
        if (intersectSphere(spheres_[i], ray, tMax, t)) {
            tMax = t, found = static_cast<int>(i), isSphere = true;
        }
    }
    if (found < 0) {
        return false;
    }
    hit.t = tMax;
    hit.point = ray.origin + ray.direction * tMax;
    if (isSphere) {
        const Sphere& s = spheres_[static_cast<std::size_t>(found)];
        hit.normal = (hit.point - s.center) / s.radius;
        hit.object = s.object;
    } else {
        const Quad& q = quads_[static_cast<std::size_t>(found)];
        hit.normal = q.normal;
        hit.object = q.object;
    }
    return true;
}

bool Scene::occluded(const Ray& ray, float tMax) const {
    float t = 0.f;
    for (const Quad& q : quads_) {
        if (objects_[static_cast<std::size_t>(q.object)].light < 0 && intersectQuad(q, ray, tMax, t)) {
            return true;
        }
    }
    for (const Sphere& s : spheres_) {
        if (objects_[static_cast<std::size_t>(s.object)].light < 0 && intersectSphere(s, ray, tMax, t)) {
            return true;
        }
    }
    return false;
}

LightSample Scene::sampleLight(int light, V3 from, float u1, float u2) const {
    const Light& l = lights_[static_cast<std::size_t>(light)];
    if (l.shape == Light::Shape::Quad) {
        const Quad& q = quads_[static_cast<std::size_t>(l.primitive)];
        const V3 to = q.corner + q.edge1 * u1 + q.edge2 * u2;
        const V3 offset = to - from;
        const float distance = length(offset);
        const V3 direction = offset / distance;
        const float cosLight = -dot(direction, q.normal);
        if (cosLight <= 0.f) {
            return {direction, distance, 0.f};
        }
        return {direction, distance, lightPdf(light, from, to)};
    }
    // Uniform directions in the cone that the sphere subtends.
    const Sphere& s = spheres_[static_cast<std::size_t>(l.primitive)];
    const V3 offset = s.center - from;
    const float d2 = dot(offset, offset);
    const float r2 = s.radius * s.radius;
    if (d2 <= r2) {
        return {V3{0.f, 0.f, 1.f}, 0.f, 0.f};
    }
    const float sin2Max = r2 / d2;
    const float cosMax = std::sqrt(1.f - sin2Max);
    const float oneMinusCosMax = sin2Max / (1.f + cosMax);  // without cancellation
    const float cosTheta = 1.f - u1 * oneMinusCosMax;
    const float sinTheta = std::sqrt(std::max(0.f, 1.f - cosTheta * cosTheta));
    const float phi = 2.f * kPi * u2;
    const Frame frame(offset / std::sqrt(d2));
    const V3 direction = normalize(frame.toWorld({sinTheta * std::cos(phi), sinTheta * std::sin(phi), cosTheta}));
    float t = 0.f;
    if (!intersectSphere(s, Ray{from, direction}, 1e30f, t)) {
        t = std::sqrt(d2) - s.radius;  // a grazing direction that rounding let slip past the rim
    }
    return {direction, t, 1.f / (2.f * kPi * oneMinusCosMax)};
}

float Scene::lightPdf(int light, V3 from, V3 to) const {
    const Light& l = lights_[static_cast<std::size_t>(light)];
    if (l.shape == Light::Shape::Quad) {
        const Quad& q = quads_[static_cast<std::size_t>(l.primitive)];
        const V3 offset = to - from;
        const float d2 = dot(offset, offset);
        const float cosLight = -dot(offset, q.normal) / std::sqrt(d2);
        if (cosLight <= 0.f) {
            return 0.f;
        }
        return d2 / (q.area * cosLight);
    }
    const Sphere& s = spheres_[static_cast<std::size_t>(l.primitive)];
    const V3 offset = s.center - from;
    const float d2 = dot(offset, offset);
    const float r2 = s.radius * s.radius;
    if (d2 <= r2) {
        return 0.f;
    }
    const float sin2Max = r2 / d2;
    return 1.f / (2.f * kPi * sin2Max / (1.f + std::sqrt(1.f - sin2Max)));
}

V3 Scene::emitted(int light, const Hit& hit, V3 direction) const {
    const Light& l = lights_[static_cast<std::size_t>(light)];
    if (l.shape == Light::Shape::Quad && dot(direction, hit.normal) >= 0.f) {
        return {};
    }
    return l.radiance;
}

V3 Scene::albedoAt(const Material& material, const Hit& hit) const {
    switch (material.pattern) {
        case Pattern::FloorTiles: {
            const int a = static_cast<int>(std::floor(hit.point.x / 0.35f));
            const int b = static_cast<int>(std::floor(hit.point.z / 0.35f));
            return ((a + b) & 1) ? material.diffuse2 : material.diffuse;
        }
        case Pattern::SphereTiles: {
            // Tiles in longitude and latitude of the sphere's normal.
            const float u = std::atan2(hit.normal.z, hit.normal.x) / (2.f * kPi) + 0.5f;
            const float v = std::acos(std::clamp(hit.normal.y, -1.f, 1.f)) / kPi;
            const int a = static_cast<int>(std::floor(u * 16.f));
            const int b = static_cast<int>(std::floor(v * 8.f));
            return ((a + b) & 1) ? material.diffuse2 : material.diffuse;
        }
        case Pattern::None: break;
    }
    return material.diffuse;
}

}  // namespace lumora::sample
