#pragma once
// What every non-local-means filter holds and the interface through which BatchFilter drives it.
//
// A filter weighs pixels by their colour patches in `colour` (with `variance`), and by features
// when it has an owner, and averages the values of the image handed to filterInterior or
// filterBorder (often, but not always, `colour` itself). Filters are read-only while a pass runs,
// so any number of tasks may evaluate one at once. The images must outlive the filter.

#include <cstddef>
#include <span>

#include "lumora/denoise/nlm_weight.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

struct NlmParams {
    float k = 1.f;        // share of the variance cancelled from squared differences
    float epsilon = 0.f;  // added to every normaliser
    const NlmFeatureOwner* owner = nullptr;
    float featureScale = 1.f;  // multiplies each feature's floor
    float h = 1.f;             // distance scale of the colour weight
};

class NlmFilterBase {
public:
    NlmFilterBase(const Bitmap<Float4>& colour, const Bitmap<Float4>& variance, const NlmParams& params);
    virtual ~NlmFilterBase() = default;

    // New value of pixel (x, y) when its whole support lies inside the image.
    virtual void filterInterior(Float4& out, const Float4* image, int x, int y) const = 0;
    // The same for any pixel, every position checked against the image.
    virtual void filterBorder(Float4& out, const Float4* image, int x, int y) const = 0;
    virtual void prepare() {}
    // Weight between pixels p and q, in all four lanes.
    virtual void weightInterior(Float4& out, std::ptrdiff_t p, std::ptrdiff_t q) const = 0;
    virtual void weightBorder(Float4& out, std::ptrdiff_t p, std::ptrdiff_t q, const PatchClip& clip) const = 0;
    // Whether pixel p is filtered at all: not black, and noisy enough relative to its brightness.
    virtual bool isCandidate(std::ptrdiff_t p) const;

    // Window radius plus patch radius: pixels closer than this to an edge need filterBorder.
    virtual int supportRadius() const = 0;

    int width() const { return width_; }
    int height() const { return height_; }

protected:
    std::ptrdiff_t index(int x, int y) const { return std::ptrdiff_t(y) * width_ + x; }
    bool hasFeatures() const { return !features_.empty(); }

    const Float4* colour_;
    const Float4* variance_;
    nlm::ColourTerms terms_;  // k and epsilon
    const NlmFeatureOwner* owner_;
    std::span<const NlmFeature> features_;
    float featureScale_;
    float h_;
    int width_;
    int height_;
};

}  // namespace lumora
