#include "lumora/denoise/hot_pixels_denoiser.hpp"

#include "lumora/denoise/batch_filter.hpp"
#include "lumora/foundation/debug_timer.hpp"
#include "lumora/denoise/nlm_outlier_removal.hpp"
#include "lumora/denoise/sample_variance.hpp"
#include "lumora/foundation/exception.hpp"

namespace lumora {

namespace {

constexpr float kOutlierFactor = 5.f;
constexpr float kDistanceScale = 2.0408163f;  // 1 / 0.49

}  // namespace

std::optional<Bitmap<Float4>> HotPixelsDenoiser::denoise(Bitmap<Float4> image, Bitmap<Float4> squares, ElementId,
                                                         DenoiseProgress progress) {
    ProgressScope scope(context(), std::move(progress));
    const Bitmap<Float4> colour = std::move(image);
    Bitmap<Float4> variance = std::move(squares);
    LUMORA_ASSERT(variance.width() == colour.width() && variance.height() == colour.height());
    if (colour.empty()) return Bitmap<Float4>(colour.width(), colour.height());

    const float meanVariance = computeSampleVariance(colour, variance, passes()).luminance();
    {
        ScopedDebugTimer timer("Smoothing sample variance");
        convolveSeparable(variance, kGaussianSigmaHalf);
    }

    NlmParams params;
    params.k = 1.f;
    params.epsilon = 0.01f * meanVariance;
    params.featureScale = 1.f;
    params.h = kDistanceScale;
    NlmOutlierRemoval filter(colour, variance, params, kOutlierFactor);
    return BatchFilter(context()).run(filter, colour);
}

}  // namespace lumora
