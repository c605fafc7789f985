#include "lumora/pipeline/color_map_operator.hpp"

#include <algorithm>
#include <iostream>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

template <class Mapping>
void ColorMapOperator<Mapping>::warn(const std::string& message) {
    {
        std::lock_guard lock(warnedMutex_);
        if (!warned_.insert(message).second) return;
    }
    if (warningOutput_) {
        warningOutput_(message);
    } else {
        std::cerr << message << std::endl;
    }
}

template <class Mapping>
std::optional<Bitmap<Float4>> ColorMapOperator<Mapping>::compute(const ElementInfo& element, const Bucket& region,
                                                                 float scale, unsigned flags) {
    if (!first() || !settings_) return std::nullopt;
    auto picture = first()->compute(element, region, scale, flags);
    if (!picture) return std::nullopt;
    const std::vector<ElementInfo> elements = first()->getElements();
    const auto listed = std::ranges::find(elements, element.name, &ElementInfo::name);
    if (listed != elements.end() && (listed->flags & ElementFlag::RawData) != 0) return picture;

    // The vignette is placed in the full image: a region gives the pixels that the whole image
    // has there. A scaled request works in the scaled pixel grid, so sizes and the origin are
    // divided by the scale.
    // A chain that knows no image rect (nothing loaded that has one) gets the picture's own.
    const Bucket reported = getImageRect();
    const Bucket image = reported.isEmpty() ? Bucket{Pixel::ZERO, region.max} : reported;
    const Pixel offset = (reported.isEmpty() ? Pixel::ZERO : getRegion().min - image.min) + region.min;
    ColorMappingSettings snapshot = ColorMappingSettings::fromSettings(*settings_);
    snapshot.imageWidth = static_cast<float>(image.width()) / scale;
    snapshot.imageHeight = static_cast<float>(image.height()) / scale;
    snapshot.regionX = static_cast<float>(offset.x) / scale;
    snapshot.regionY = static_cast<float>(offset.y) / scale;
    snapshot.regionKind = 0;
    const Mapping mapping(snapshot, [this](const std::string& message) { warn(message); });

    // Every compute-flag variant evaluates the same precise chain.
    const PreciseColorMappingOperator op(mapping);
    const int width = picture->width();
    BitmapView<Float4> pixels = picture->view();
    scheduler::parallelFor(0, picture->height(), 8, [&](std::int64_t y0, std::int64_t y1) {
        op.apply(Bucket{{0, static_cast<int>(y0)}, {width, static_cast<int>(y1)}}, 1,
                 pixels.subview(Bucket{{0, static_cast<int>(y0)}, {width, static_cast<int>(y1)}}), 1);
    });
    return picture;
}

template class ColorMapOperator<ColorMapping>;

}  // namespace lumora
