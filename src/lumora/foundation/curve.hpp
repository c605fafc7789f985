#pragma once
// Tone curves: y(x) through a list of nodes, and a colour curve made of a master curve and one
// curve per channel.
//
// A curve is a function of x: nodes are sorted by x, and of several nodes with the same x the
// last one counts. Outside the first and last node the curve continues flat. No nodes is the
// identity; one node is a constant.

#include <array>
#include <span>
#include <vector>

#include "lumora/foundation/geometry.hpp"

namespace lumora {

class Curve {
public:
    struct Node {
        float x = 0.f, y = 0.f;
        bool operator==(const Node&) const = default;
    };
    // Numbered as the curve-interpolation setting.
    enum class Kind : int { PiecewiseCubic = 0, PiecewiseLinear = 1, PiecewiseCubicUniform = 2, PiecewiseCubicChordal = 3 };

    Curve() = default;  // the identity
    Curve(std::span<const Node> nodes, Kind kind);

    float operator()(float x) const;
    bool isIdentity() const { return nodes_.empty(); }
    bool operator==(const Curve&) const = default;

private:
    std::vector<Node> nodes_;
    std::vector<float> slopes_;  // dy/dx at each node (cubic kinds)
    Kind kind_ = Kind::PiecewiseLinear;
};

class ColorCurve {
public:
    ColorCurve() = default;
    // Master, red, green, blue.
    explicit ColorCurve(std::array<Curve, 4> curves) : curves_(std::move(curves)) {}

    // Each channel's own curve first, then the master curve.
    Rgb operator()(const Rgb& c) const {
        return {curves_[0](curves_[1](c.r)), curves_[0](curves_[2](c.g)), curves_[0](curves_[3](c.b))};
    }
    bool operator==(const ColorCurve&) const = default;

private:
    std::array<Curve, 4> curves_;
};

}  // namespace lumora
