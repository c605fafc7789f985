#pragma once
// The weight of a neighbour q for a pixel p in the non-local-means filters.
//
// Conventions: images are row-major arrays of Float4 with `stride` pixels per row; p and q are
// linear pixel indices; patches are N x N (N odd) and centred on the pixel. Luminance is
// (r + g + b) / 3; the fourth lane never counts.
//
// The colour distance D averages, over the patch, the squared colour difference less the part the
// noise explains (k times the variance), normalised by the variances; the colour weight is
// exp(-h * D). Features (normals, diffuse colour, ...) add a second weight exp(-M); the smaller
// of the two wins.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "lumora/foundation/fast_math.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

// At most one feature of each type.
constexpr std::size_t kMaxNlmFeatures = 5;

// One feature as the filters see it.
struct NlmFeature {
    static constexpr std::uint32_t kActive = 4;

    const Float4* mean = nullptr;      // F
    const Float4* variance = nullptr;  // FV
    const Float4* gradient = nullptr;  // G, the floor of the normaliser
    Float4 weight;                     // c
    Float4 floor;                      // b, scaled by the filter's feature scale
    Float4 cancellation;               // a, the share of the variance taken off
    std::uint32_t flags = 0;
    // Mean and variance are 0 at every pixel (a feature the scene does not have, such as hair ids
    // without hair) and the weight is finite: every pair then gives exactly +0 in all lanes.
    bool zero = false;
    // One lane of mean and variance is 0 at every pixel (a cleared fourth lane), its weight and
    // cancellation are finite and the normaliser is positive (positiveNormaliser): for any floor
    // scale above 0 that lane's quotient is exactly 0 for every pair, so M is at least 0.
    bool zeroLane = false;
    // The normaliser max(b * s, G) is above 0 at every pixel for any floor scale s > 0: G has no NaN
    // and b is above 0. A quotient's sign is then that of c * num.
    bool positiveNormaliser = false;

    bool active() const { return (flags & kActive) != 0; }
};

// Whoever supplies feature weights to a filter (the high-quality denoiser, or its reduced copy at
// a coarser level). The span must stay valid while the filter runs.
class NlmFeatureOwner {
public:
    virtual std::span<const NlmFeature> nlmFeatures() const = 0;

protected:
    ~NlmFeatureOwner() = default;
};

// Patch offsets valid for both pixels of a pair, inclusive.
struct PatchClip {
    int x0, x1, y0, y1;

    static PatchClip of(int radius, int px, int py, int qx, int qy, int width, int height) {
        return {std::max({-radius, -px, -qx}), std::min({radius, width - 1 - px, width - 1 - qx}),
                std::max({-radius, -py, -qy}), std::min({radius, height - 1 - py, height - 1 - qy})};
    }
};

// Whether a pixel is filtered at all: not black in all four lanes, and noisy enough relative to
// its brightness.
inline bool isNlmCandidate(Float4 colour, Float4 variance) {
    if (colour.x() == 0.f && colour.y() == 0.f && colour.z() == 0.f && colour.w() == 0.f) return false;
    return variance.luminance() > 0.0001f * (colour * colour).luminance();
}

namespace nlm {

// 1 / N², as the single-precision constants the weights have always used.
template <int N>
constexpr float patchFactor() {
    if constexpr (N == 3) {
        return 0.111111112f;
    } else if constexpr (N == 7) {
        return 0.0204081628f;
    } else {
        return 1.f / float(N * N);
    }
}

struct ColourTerms {
    Float4 k;
    Float4 epsilon;
};

// The normaliser of one patch position: the neighbour's variance is capped at 1000 times the
// centre's.
inline Float4 positionNormaliser(Float4 vp, Float4 vq, const ColourTerms& t) {
    return t.epsilon + vp + min(vq, Float4(1000.f) * vp);
}

// d(o) for one patch position.
inline Float4 positionDistance(Float4 ip, Float4 iq, Float4 vp, Float4 vq, const ColourTerms& t) {
    const Float4 diff = ip - iq;
    const Float4 num = diff * diff - t.k * (vp + min(vp, vq));
    return max(num / positionNormaliser(vp, vq, t), Float4(0.f));
}

// D over a full patch; both patches must lie inside the image.
template <int N>
inline float colourDistanceInterior(const Float4* colour, const Float4* variance, std::ptrdiff_t stride,
                                    std::ptrdiff_t p, std::ptrdiff_t q, const ColourTerms& t) {
    constexpr int r = N / 2;
    Float4 sum(0.f);
    for (int dy = -r; dy <= r; ++dy) {
        const std::ptrdiff_t row = dy * stride;
        for (int dx = -r; dx <= r; ++dx) {
            const std::ptrdiff_t o = row + dx;
            sum += positionDistance(colour[p + o], colour[q + o], variance[p + o], variance[q + o], t);
        }
    }
    return (sum * patchFactor<N>()).luminance();
}

// D over the clipped patch; positions outside the image add nothing.
template <int N>
inline float colourDistanceBorder(const Float4* colour, const Float4* variance, std::ptrdiff_t stride,
                                  std::ptrdiff_t p, std::ptrdiff_t q, const PatchClip& clip, const ColourTerms& t) {
    Float4 sum(0.f);
    for (int dy = clip.y0; dy <= clip.y1; ++dy) {
        const std::ptrdiff_t row = dy * stride;
        for (int dx = clip.x0; dx <= clip.x1; ++dx) {
            const std::ptrdiff_t o = row + dx;
            sum += positionDistance(colour[p + o], colour[q + o], variance[p + o], variance[q + o], t);
        }
    }
    return (sum * patchFactor<N>()).luminance();
}

inline float colourWeight(float distance, float h) { return fastExp2(-h * distance * kLog2e); }

// M, the largest lane of the largest normalised feature distance; -1 without active features.
// floorScale multiplies every feature's floor b.
inline float featureExponent(std::span<const NlmFeature> features, std::ptrdiff_t p, std::ptrdiff_t q,
                             float floorScale) {
    Float4 m(-1.f);
    for (const NlmFeature& f : features) {
        if (!f.active()) continue;
        if (f.zero) {
            m = max(m, Float4(0.f));
            continue;
        }
        const Float4 diff = f.mean[p] - f.mean[q];
        const Float4 fvp = f.variance[p];
        const Float4 num = diff * diff - (fvp + min(fvp, f.variance[q])) * f.cancellation;
        const Float4 den = max(f.floor * floorScale, f.gradient[p]);
        m = max(m, f.weight * num / den);
    }
    return m.hmax();
}

inline float featureWeight(float exponent) { return fastExp2(-exponent * kLog2e); }

// The weight of a pair: the colour weight, lowered by the feature weight when there are features.
inline float pairWeight(float colour, std::span<const NlmFeature> features, std::ptrdiff_t p, std::ptrdiff_t q,
                        float floorScale) {
    if (features.empty()) return colour;
    return std::min(colour, featureWeight(featureExponent(features, p, q, floorScale)));
}

}  // namespace nlm

}  // namespace lumora
