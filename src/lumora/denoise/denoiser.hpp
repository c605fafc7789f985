#pragma once
// The interface of every denoiser, and the shared base of the image-space ones.
//
// A denoiser is made for one run of the denoise operator and then filters the elements of that
// run one call at a time; its features are fixed when it is made.

#include <optional>
#include <vector>

#include "lumora/denoise/denoising_data.hpp"
#include "lumora/denoise/feature_descriptor.hpp"
#include "lumora/denoise/task_context.hpp"
#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"
#include "lumora/image/render_element_info.hpp"

namespace lumora {

// The renderer-side identity of the element being denoised (kind and code).
using ElementId = RenderElementTypeVariant;

class IDenoiser {
public:
    virtual ~IDenoiser() = default;

    // Denoises one element: image is its colour, squares its per-sample squares (same size).
    // No result means the run was cancelled or failed; the caller then keeps the image it had.
    virtual std::optional<Bitmap<Float4>> denoise(Bitmap<Float4> image, Bitmap<Float4> squares, ElementId element,
                                                  DenoiseProgress progress) = 0;
};

struct FeatureRecord {
    Bitmap<Float4> mean;
    Bitmap<Float4> squares;
    FeatureDescriptor descriptor;
};

class DenoiserBase : public IDenoiser {
public:
    // Takes over the pass counts and the features it uses (VisibleDiffuse, VisibleNormals, Hybrid,
    // HairIds, in this order, each when present) from data.
    explicit DenoiserBase(DenoisingData& data);

    const Bitmap<float>& passes() const { return passes_; }
    const std::vector<FeatureRecord>& featureRecords() const { return features_; }

protected:
    TaskContext& context() { return context_; }
    std::vector<FeatureRecord>& records() { return features_; }

private:
    TaskContext context_;
    Bitmap<float> passes_;
    std::vector<FeatureRecord> features_;
};

}  // namespace lumora
