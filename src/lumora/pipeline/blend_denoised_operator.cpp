#include "lumora/pipeline/blend_denoised_operator.hpp"

#include <algorithm>
#include <cmath>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

void blendDenoised(Bitmap<Float4>& original, const Bitmap<Float4>& denoised, float amount) {
    LUMORA_ASSERT(original.width() == denoised.width() && original.height() == denoised.height());
    const Float4 a(amount);
    const Float4 b(1.f - amount);
    const int width = original.width();
    scheduler::parallelFor(0, original.height(), 16, [&](std::int64_t y0, std::int64_t y1) {
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            Float4* out = original.row(y);
            const Float4* d = denoised.row(y);
            for (int x = 0; x < width; ++x) {
                if (std::isfinite(d[x].x()) && std::isfinite(d[x].y()) && std::isfinite(d[x].z())) {
                    // Alpha stays the original's, whatever the denoised fourth lane holds.
                    const Float4 mixed = a * d[x] + b * out[x];
                    out[x] = Float4(mixed.x(), mixed.y(), mixed.z(), out[x].w());
                }
            }
        }
    });
}

std::int64_t BlendDenoisedOperator::getTimestamp() const {
    const std::int64_t original = first() ? first()->getTimestamp() : 0;
    const std::int64_t denoised = dependencies_[1] ? dependencies_[1]->getTimestamp() : 0;
    return std::max(original, denoised);
}

std::vector<ElementInfo> BlendDenoisedOperator::getElements() const {
    return first() ? first()->getElements() : std::vector<ElementInfo>{};
}

std::optional<Bitmap<Float4>> BlendDenoisedOperator::compute(const ElementInfo& element, const Bucket& region,
                                                             float scale, unsigned flags) {
    if (!first()) return std::nullopt;
    auto original = first()->compute(element, region, scale, flags);
    if (!original || !dependencies_[1]) return original;
    const auto denoised = dependencies_[1]->compute(element, region, scale, flags);
    // A picture of another size belongs to another request; the original is the safe answer.
    if (!denoised || denoised->width() != original->width() || denoised->height() != original->height()) {
        return original;
    }
    blendDenoised(*original, *denoised, settings_->getFloat(PropertyId::denoiseBlendAmount));
    return original;
}

}  // namespace lumora
