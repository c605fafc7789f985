#include "lumora/pipeline/mono_to_color_operator.hpp"

namespace lumora {

std::vector<ElementInfo> MonoToColorOperator::getElements() const {
    std::vector<ElementInfo> elements = first() ? first()->getElements() : std::vector<ElementInfo>{};
    for (ElementInfo& e : elements) {
        if (e.layout == ElementLayout::Mono) e.layout = ElementLayout::Rgb;
    }
    return elements;
}

std::optional<Bitmap<Float4>> MonoToColorOperator::compute(const ElementInfo& element, const Bucket& region,
                                                           float scale, unsigned flags) {
    if (!first()) return std::nullopt;
    if (auto colour = first()->compute(element, region, scale, flags)) return colour;
    const auto mono = first()->computeMono(element, region, scale, flags);
    if (!mono) return std::nullopt;
    Bitmap<Float4> out(mono->width(), mono->height());
    for (std::size_t i = 0; i < mono->size(); ++i) out.data()[i] = Float4(mono->data()[i]);
    return out;
}

}  // namespace lumora
