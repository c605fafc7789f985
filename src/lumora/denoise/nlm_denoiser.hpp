#pragma once
// The high-quality denoiser: a two-level pyramid of non-local-means filtering guided by the
// features (diffuse colour, normals, hybrid, hair ids).
//
// At each level the sample variance is smoothed, fireflies are removed (finest level only), three
// candidate filters of different strength run at once and the best is picked per pixel by its
// estimated error (SURE); the finest level then filters its result once more with the variance
// left after filtering, and merges in the coarser level's result where the image is flat.
//
// The features are prepared once, when the denoiser is made, and serve every element; the normals
// sit out for elements whose shading they do not explain (raw components, texture maps).

#include <optional>

#include "lumora/denoise/batch_filter.hpp"
#include "lumora/denoise/denoiser.hpp"
#include "lumora/denoise/nlm_feature_filters.hpp"

namespace lumora {

class NlmDenoiser final : public DenoiserBase {
public:
    // Prepares the features of data (normalised, prefiltered, with their gradients).
    explicit NlmDenoiser(DenoisingData& data);

    std::optional<Bitmap<Float4>> denoise(Bitmap<Float4> image, Bitmap<Float4> squares, ElementId element,
                                          DenoiseProgress progress) override;

    const NlmFeatureFilters& featureFilters() const { return features_; }
    float sensitivity() const { return sensitivity_; }
    // Kept for the settings' sake; no pass reads it.
    float textureBlur() const { return textureBlur_; }

private:
    struct Level;
    std::optional<Bitmap<Float4>> filterLevel(const Level& level, Bitmap<Float4> colour, Bitmap<Float4> variance,
                                              const NlmFeatureFilters& features);

    NlmFeatureFilters features_;
    float sensitivity_;
    float textureBlur_;
};

}  // namespace lumora
