#pragma once
// Three-float vectors for positions, directions and colours of the sample renderer.

#include <algorithm>
#include <cmath>

namespace lumora::sample {

struct V3 {
    float x = 0.f, y = 0.f, z = 0.f;

    constexpr V3() = default;
    constexpr V3(float x, float y, float z) : x(x), y(y), z(z) {}
    constexpr explicit V3(float v) : x(v), y(v), z(v) {}

    constexpr V3 operator+(V3 o) const { return {x + o.x, y + o.y, z + o.z}; }
    constexpr V3 operator-(V3 o) const { return {x - o.x, y - o.y, z - o.z}; }
    constexpr V3 operator*(V3 o) const { return {x * o.x, y * o.y, z * o.z}; }
    constexpr V3 operator*(float s) const { return {x * s, y * s, z * s}; }
    constexpr V3 operator/(float s) const { return {x / s, y / s, z / s}; }
    constexpr V3 operator-() const { return {-x, -y, -z}; }
    V3& operator+=(V3 o) { return *this = *this + o; }
    V3& operator*=(V3 o) { return *this = *this * o; }
    V3& operator*=(float s) { return *this = *this * s; }
    float operator[](int i) const { return i == 0 ? x : i == 1 ? y : z; }
};

constexpr V3 operator*(float s, V3 v) { return v * s; }
constexpr float dot(V3 a, V3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr V3 cross(V3 a, V3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
inline float length(V3 v) { return std::sqrt(dot(v, v)); }
inline V3 normalize(V3 v) { return v / length(v); }
constexpr float maxComponent(V3 v) { return std::max(v.x, std::max(v.y, v.z)); }
constexpr float average(V3 v) { return (v.x + v.y + v.z) / 3.f; }
constexpr bool isBlack(V3 v) { return v.x == 0.f && v.y == 0.f && v.z == 0.f; }

inline constexpr float kPi = 3.14159265358979323846f;

// An orthonormal frame around a unit normal (Duff et al., branchless).
struct Frame {
    V3 s, t, n;

    explicit Frame(V3 normal) : n(normal) {
        const float sign = std::copysign(1.f, n.z);
        const float a = -1.f / (sign + n.z);
        const float b = n.x * n.y * a;
        s = {1.f + sign * n.x * n.x * a, sign * b, -sign * n.x};
        t = {b, sign + n.y * n.y * a, -n.y};
    }
    V3 toWorld(V3 local) const { return s * local.x + t * local.y + n * local.z; }
};

}  // namespace lumora::sample
