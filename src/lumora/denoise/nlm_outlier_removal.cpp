#include "lumora/denoise/nlm_outlier_removal.hpp"

#include <algorithm>
#include <array>

#include "lumora/foundation/exception.hpp"

namespace lumora {

namespace {

// The neighbours of a pixel; sorted by luminance only for an outlier, so the median is an index.
struct Neighbours {
    std::array<Float4, 8> colour;
    int count = 0;

    void add(Float4 c) { colour[std::size_t(count++)] = c; }

    // The upper median. With 3 neighbours (a corner) that is deliberately the brightest, and so it
    // stays with fewer (images one pixel wide).
    Float4 median() {
        std::array<float, 8> luminance;
        for (int i = 0; i < count; ++i) {
            const Float4 c = colour[std::size_t(i)];
            const float l = c.luminance();
            int j = i;
            for (; j > 0 && luminance[std::size_t(j - 1)] > l; --j) {
                colour[std::size_t(j)] = colour[std::size_t(j - 1)];
                luminance[std::size_t(j)] = luminance[std::size_t(j - 1)];
            }
            colour[std::size_t(j)] = c;
            luminance[std::size_t(j)] = l;
        }
        return colour[std::size_t(std::min(1 + std::max(count - 2, 2) / 2, count - 1))];
    }
};

}  // namespace

NlmOutlierRemoval::NlmOutlierRemoval(const Bitmap<Float4>& colour, const Bitmap<Float4>& variance,
                                     const NlmParams& params, float outlierFactor, bool markOutliers,
                                     const Bitmap<Float4>* mask)
    : NlmFilterBase(colour, variance, params),
      epsilon_(params.epsilon),
      outlierFactor_(outlierFactor),
      markOutliers_(markOutliers),
      mask_(mask && !mask->empty() ? mask->data() : nullptr) {
    LUMORA_ASSERT(!mask_ || (mask->width() == width_ && mask->height() == height_));
}

float NlmOutlierRemoval::combine(float colourDistance, std::ptrdiff_t p, std::ptrdiff_t q) const {
    return nlm::pairWeight(nlm::colourWeight(colourDistance, h_), features_, p, q, featureScale_);
}

float NlmOutlierRemoval::weight(std::ptrdiff_t p, std::ptrdiff_t q) const {
    return combine(nlm::colourDistanceInterior<kPatch>(colour_, variance_, width_, p, q, terms_), p, q);
}

float NlmOutlierRemoval::weight(std::ptrdiff_t p, std::ptrdiff_t q, const PatchClip& clip) const {
    return combine(nlm::colourDistanceBorder<kPatch>(colour_, variance_, width_, p, q, clip, terms_), p, q);
}

void NlmOutlierRemoval::weightInterior(Float4& out, std::ptrdiff_t p, std::ptrdiff_t q) const {
    out = Float4(weight(p, q));
}

void NlmOutlierRemoval::weightBorder(Float4& out, std::ptrdiff_t p, std::ptrdiff_t q, const PatchClip& clip) const {
    out = Float4(weight(p, q, clip));
}

void NlmOutlierRemoval::filterInterior(Float4& out, const Float4* image, int x, int y) const {
    filterPixel<false>(out, image, x, y);
}

void NlmOutlierRemoval::filterBorder(Float4& out, const Float4* image, int x, int y) const {
    filterPixel<true>(out, image, x, y);
}

template <bool Border>
void NlmOutlierRemoval::filterPixel(Float4& out, const Float4* image, int x, int y) const {
    const std::ptrdiff_t p = index(x, y);
    const Float4 centre = image[p];
    if (!isCandidate(p) || (mask_ && mask_[p].luminance() > 0.f)) {
        out = centre;
        return;
    }

    float weightSum = 0.f;
    Float4 weighted(0.f), sum(0.f), squares(0.f);
    Neighbours neighbours;
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            if (dx == 0 && dy == 0) continue;
            const int qx = x + dx, qy = y + dy;
            if constexpr (Border) {
                if (qx < 0 || qy < 0 || qx >= width_ || qy >= height_) continue;
            }
            const std::ptrdiff_t q = index(qx, qy);
            float w;
            if constexpr (Border) {
                w = weight(p, q, PatchClip::of(kPatch / 2, x, y, qx, qy, width_, height_));
            } else {
                w = weight(p, q);
            }
            const Float4 value = image[q];
            weightSum += w;
            weighted += value * w;
            sum += value;
            squares += value * value;
            neighbours.add(value);
        }
    }
    if (weightSum <= 0.f) {
        out = centre;
        return;
    }

    // The plain means are over 9 whatever the count, which widens the spread at the border.
    const Float4 mw = weighted / weightSum;
    const Float4 m1 = sum / 9.f;
    const Float4 m2 = squares / 9.f;
    const float spread = (mw * mw + m2 - Float4(2.f) * mw * m1).luminance();
    const float threshold = std::max(epsilon_, 1e-6f) + outlierFactor_ * spread;
    const Float4 distance = (mw - centre) * (mw - centre);
    const bool outlier = distance.x() >= threshold || distance.y() >= threshold || distance.z() >= threshold;
    if (!outlier) {
        out = centre;
        return;
    }
    if (markOutliers_) {
        out = Border ? Float4(100000000.f, 0.f, 0.f, 0.f) : Float4(100000000.f);
    } else {
        out = neighbours.median();
    }
}

}  // namespace lumora
