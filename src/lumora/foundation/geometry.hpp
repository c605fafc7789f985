#pragma once
// Small value types of image geometry and colour.

namespace lumora {

// Two signed 32-bit integers: a pixel position or a size.
struct Pixel {
    int x = 0;
    int y = 0;

    static const Pixel ZERO;
    static const Pixel ONE;

    friend Pixel operator+(Pixel a, Pixel b) { return {a.x + b.x, a.y + b.y}; }
    friend Pixel operator-(Pixel a, Pixel b) { return {a.x - b.x, a.y - b.y}; }
    bool operator==(const Pixel&) const = default;
};
inline constexpr Pixel Pixel::ZERO{0, 0};
inline constexpr Pixel Pixel::ONE{1, 1};

// An integer rectangle: min inclusive, max exclusive.
struct Bucket {
    Pixel min;
    Pixel max;

    int width() const { return max.x - min.x; }
    int height() const { return max.y - min.y; }
    Pixel size() const { return max - min; }
    bool isEmpty() const { return max.x <= min.x || max.y <= min.y; }
    bool contains(const Bucket& other) const {
        return other.min.x >= min.x && other.min.y >= min.y && other.max.x <= max.x && other.max.y <= max.y;
    }
    bool operator==(const Bucket&) const = default;
};

// Three 32-bit floats.
struct Rgb {
    float r = 0.f;
    float g = 0.f;
    float b = 0.f;
    bool operator==(const Rgb&) const = default;
};

}  // namespace lumora
