#pragma once
// Replaces isolated pixels that disagree with their 3 x 3 neighbourhood ("fireflies") by the
// median of their neighbours. A pixel is an outlier when, in some colour lane, its distance from
// the NLM-weighted mean of its neighbours exceeds a threshold made of the variance floor and the
// spread of the neighbourhood; bright structures whose members resemble each other survive
// because they raise both the weighted mean and the spread.

#include "lumora/denoise/nlm_filter_base.hpp"

namespace lumora {

class NlmOutlierRemoval final : public NlmFilterBase {
public:
    // mask, when given, protects every pixel whose mask luminance is above 0. With markOutliers
    // the outliers become 100000000 instead of a median, for debugging images.
    NlmOutlierRemoval(const Bitmap<Float4>& colour, const Bitmap<Float4>& variance, const NlmParams& params,
                      float outlierFactor, bool markOutliers = false, const Bitmap<Float4>* mask = nullptr);

    void filterInterior(Float4& out, const Float4* image, int x, int y) const override;
    void filterBorder(Float4& out, const Float4* image, int x, int y) const override;
    void weightInterior(Float4& out, std::ptrdiff_t p, std::ptrdiff_t q) const override;
    void weightBorder(Float4& out, std::ptrdiff_t p, std::ptrdiff_t q, const PatchClip& clip) const override;
    int supportRadius() const override { return 2; }

private:
    static constexpr int kPatch = 3;

    template <bool Border>
    void filterPixel(Float4& out, const Float4* image, int x, int y) const;
    float weight(std::ptrdiff_t p, std::ptrdiff_t q) const;
    float weight(std::ptrdiff_t p, std::ptrdiff_t q, const PatchClip& clip) const;
    float combine(float colourDistance, std::ptrdiff_t p, std::ptrdiff_t q) const;

    float epsilon_;
    float outlierFactor_;
    bool markOutliers_;
    const Float4* mask_;
};

}  // namespace lumora
