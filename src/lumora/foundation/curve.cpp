#include "lumora/foundation/curve.hpp"

#include <algorithm>
#include <cmath>

namespace lumora {

// The cubic kinds are Hermite segments y(x) that differ in the slopes at the nodes:
// - PiecewiseCubic: monotone slopes (Fritsch-Carlson), so the curve never overshoots its nodes;
// - PiecewiseCubicUniform: Catmull-Rom slopes for a uniform parameter, (y[i+1] - y[i-1]) / 2 per
//   segment, turned into dy/dx with the width of the segment being evaluated;
// - PiecewiseCubicChordal: Catmull-Rom slopes for a chord-length parameter, which for a curve
//   of x is the central difference (y[i+1] - y[i-1]) / (x[i+1] - x[i-1]).
// End nodes take the one-sided difference. Being functions of x, all kinds stay monotone in x.
Curve::Curve(std::span<const Node> nodes, Kind kind) : kind_(kind) {
    for (const Node& n : nodes) {
        if (std::isfinite(n.x) && std::isfinite(n.y)) nodes_.push_back(n);
    }
    std::stable_sort(nodes_.begin(), nodes_.end(), [](const Node& a, const Node& b) { return a.x < b.x; });
    // Of equal x keep the last.
    std::vector<Node> unique;
    for (const Node& n : nodes_) {
        if (!unique.empty() && unique.back().x == n.x) {
            unique.back() = n;
        } else {
            unique.push_back(n);
        }
    }
    nodes_ = std::move(unique);
    const std::size_t n = nodes_.size();
    if (kind_ == Kind::PiecewiseLinear || n < 2) return;

    std::vector<float> secant(n - 1);
    for (std::size_t i = 0; i + 1 < n; ++i) {
        secant[i] = (nodes_[i + 1].y - nodes_[i].y) / (nodes_[i + 1].x - nodes_[i].x);
    }
    slopes_.assign(n, 0.f);
    slopes_[0] = secant[0];
    slopes_[n - 1] = secant[n - 2];
    for (std::size_t i = 1; i + 1 < n; ++i) {
        switch (kind_) {
            case Kind::PiecewiseCubic:
                // Zero at extrema, else the harmonic mean of the neighbouring secants.
                slopes_[i] = secant[i - 1] * secant[i] <= 0.f
                                 ? 0.f
                                 : 2.f / (1.f / secant[i - 1] + 1.f / secant[i]);
                break;
            case Kind::PiecewiseCubicUniform:
                slopes_[i] = (nodes_[i + 1].y - nodes_[i - 1].y) * 0.5f;  // per unit parameter
                break;
            default:
                slopes_[i] = (nodes_[i + 1].y - nodes_[i - 1].y) / (nodes_[i + 1].x - nodes_[i - 1].x);
                break;
        }
    }
    if (kind_ == Kind::PiecewiseCubicUniform) {
        // End slopes per unit parameter too.
        slopes_[0] = nodes_[1].y - nodes_[0].y;
        slopes_[n - 1] = nodes_[n - 1].y - nodes_[n - 2].y;
    }
}

float Curve::operator()(float x) const {
    if (nodes_.empty()) return x;
    if (!(x > nodes_.front().x)) return std::isnan(x) ? x : nodes_.front().y;
    if (!(x < nodes_.back().x)) return nodes_.back().y;
    const auto upper = std::upper_bound(nodes_.begin(), nodes_.end(), x, [](float v, const Node& n) { return v < n.x; });
    const std::size_t i = static_cast<std::size_t>(upper - nodes_.begin()) - 1;
    const Node& a = nodes_[i];
    const Node& b = nodes_[i + 1];
    const float h = b.x - a.x;
    const float t = (x - a.x) / h;
    if (kind_ == Kind::PiecewiseLinear) return a.y + t * (b.y - a.y);
    // Tangents per unit t.
    const float scale = kind_ == Kind::PiecewiseCubicUniform ? 1.f : h;
    const float ma = slopes_[i] * scale, mb = slopes_[i + 1] * scale;
    const float t2 = t * t, t3 = t2 * t;
    return (2.f * t3 - 3.f * t2 + 1.f) * a.y + (t3 - 2.f * t2 + t) * ma + (-2.f * t3 + 3.f * t2) * b.y +
           (t3 - t2) * mb;
}

}  // namespace lumora
