#include "lumora/pipeline/sharpen_blur_operator.hpp"

#include <algorithm>

#include "lumora/effects/sharpen_blur_filter.hpp"
#include "lumora/pipeline/region_sampling.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {
namespace {

// The largest multiple of step that is not above value.
int floorToMultiple(int value, int step) {
    const int q = value / step;
    return (q * step > value ? q - 1 : q) * step;
}

}  // namespace

std::vector<ElementInfo> SharpenBlurOperator::getElements() const {
    return first() ? first()->getElements() : std::vector<ElementInfo>{};
}

std::optional<Bitmap<Float4>> SharpenBlurOperator::compute(const ElementInfo& element, const Bucket& region,
                                                           float scale, unsigned flags) {
    if (!first()) return std::nullopt;
    // The filter holds only its configuration, so every request configures a filter of its own
    // and concurrent requests cannot disturb each other.
    SharpenBlurFilter filter;
    if (settings_) {
        filter.configure(settings_->getBool(PropertyId::sharpeningBlurringEnable),
                         settings_->getFloat(PropertyId::sharpeningAmount),
                         settings_->getFloat(PropertyId::sharpeningRadius),
                         settings_->getFloat(PropertyId::blurringRadius));
    }
    // Reduced previews filter with the whole part of the scale as the divisor of the radii.
    const std::int32_t divisor = scale >= 2.f && scale < 65536.f ? static_cast<std::int32_t>(scale) : 1;
    const Bucket available = wholeRegion(*first());
    const std::int32_t margin = filter.requiredMargin(available.size(), divisor);
    if (margin <= 0 || element.has(ElementFlag::NoSharpenBlur)) return first()->compute(element, region, scale, flags);

    const auto size = scaledSize(region, scale);
    if (!size) return std::nullopt;
    Bucket enlarged{{floorToMultiple(region.min.x - margin, divisor), floorToMultiple(region.min.y - margin, divisor)},
                    {region.max.x + margin, region.max.y + margin}};
    enlarged.min.x = std::max(enlarged.min.x, available.min.x);
    enlarged.min.y = std::max(enlarged.min.y, available.min.y);
    enlarged.max.x = std::min(enlarged.max.x, available.max.x);
    enlarged.max.y = std::min(enlarged.max.y, available.max.y);
    if (!enlarged.contains(region)) return std::nullopt;

    auto picture = first()->compute(element, enlarged, scale, flags);
    if (!picture) return std::nullopt;
    filter.apply(SharpenBlurFilter::Parallel, *picture, divisor);

    // The requested part, in the pixels of the enlarged picture.
    const int ox = static_cast<int>(static_cast<float>(region.min.x - enlarged.min.x) / scale);
    const int oy = static_cast<int>(static_cast<float>(region.min.y - enlarged.min.y) / scale);
    const Bucket inside{{ox, oy}, {std::min(ox + size->x, picture->width()), std::min(oy + size->y, picture->height())}};
    if (inside.width() != size->x || inside.height() != size->y) return std::nullopt;
    return sampleRegion(*picture, Bucket{{0, 0}, {picture->width(), picture->height()}}, inside, 1.f);
}

}  // namespace lumora
