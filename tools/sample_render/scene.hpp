#pragma once
// The fixed procedural scene: an open room (floor, back and left walls) with a diffuse, a glossy
// and a textured sphere, lit by two area lights and one small, very bright sphere light. The
// upper right of the frame looks out of the room onto the black background.

#include <array>
#include <string>
#include <vector>

#include "sample_render/vector.hpp"

namespace lumora::sample {

inline constexpr int kLightCount = 3;

struct Ray {
    V3 origin;
    V3 direction;  // unit length
};

enum class Pattern { None, FloorTiles, SphereTiles };

struct Material {
    V3 diffuse;                       // albedo, or the first tile colour of a pattern
    V3 diffuse2;                      // the second tile colour
    Pattern pattern = Pattern::None;
    V3 specular;                      // glossy reflectance; black for a purely diffuse surface
    float exponent = 0.f;             // Phong exponent of the glossy lobe
    float specularProbability = 0.f;  // how often the glossy lobe is sampled
};

struct Quad {
    V3 corner, edge1, edge2;  // edges at right angles
    V3 normal;                // the front side; an area light emits only to this side
    int object = 0;
    float length1Squared = 0.f, length2Squared = 0.f, area = 0.f;
};

struct Sphere {
    V3 center;
    float radius = 1.f;
    int object = 0;
};

struct Object {
    int material = -1;  // -1 for an emitter
    int light = -1;     // index of the light, or -1
};

struct Light {
    enum class Shape { Quad, Sphere };
    std::string name;  // the light-select element
    V3 radiance;
    Shape shape = Shape::Quad;
    int primitive = 0;  // index into the quads or spheres
};

struct Hit {
    float t = 0.f;
    V3 point;
    V3 normal;  // geometric normal of the primitive (front side, outward for spheres)
    int object = -1;
};

// Where a light was sampled, seen from a shading point.
struct LightSample {
    V3 direction;    // unit, from the shading point to the light
    float distance;  // to the sampled point
    float pdf;       // solid-angle density; 0 when the light cannot be reached
};

struct Camera {
    V3 position, forward, right, up;
    float tanHalfFovY = 0.f;

    // Ray through the film position (fx, fy) in pixels of a width x height frame (y down).
    Ray generateRay(float fx, float fy, int width, int height) const;
};

class Scene {
public:
    static const Scene& instance();

    // Closest hit with t in (0, tMax).
    bool intersect(const Ray& ray, float tMax, Hit& hit) const;
    // Whether a surface other than an emitter lies on the ray before tMax.
    bool occluded(const Ray& ray, float tMax) const;

    LightSample sampleLight(int light, V3 from, float u1, float u2) const;
    // Solid-angle density with which sampleLight picks the point `to` on the light from `from`.
    float lightPdf(int light, V3 from, V3 to) const;
    // Radiance leaving the light's surface at a hit towards -direction.
    V3 emitted(int light, const Hit& hit, V3 direction) const;

    V3 albedoAt(const Material& material, const Hit& hit) const;

    const Camera& camera() const { return camera_; }
    const std::vector<Light>& lights() const { return lights_; }
    const std::vector<Object>& objects() const { return objects_; }
    const std::vector<Material>& materials() const { return materials_; }
    // Farthest camera depth in the room; normalises the depth feature.
    float depthRange() const { return 12.f; }

private:
    Scene();
    int addObject(int material, int light = -1);

    Camera camera_;
    std::vector<Material> materials_;
    std::vector<Object> objects_;
    std::vector<Quad> quads_;
    std::vector<Sphere> spheres_;
    std::vector<Light> lights_;
};

}  // namespace lumora::sample
