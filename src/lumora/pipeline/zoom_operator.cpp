#include "lumora/pipeline/zoom_operator.hpp"

#include <algorithm>
#include <climits>

namespace lumora {
namespace {

// Each source pixel becomes an f x f block; nothing when the result would not fit an int size.
template <class T>
std::optional<Bitmap<T>> replicate(const std::optional<Bitmap<T>>& source, float scale) {
    if (!source) return std::nullopt;
    const float inverse = 1.f / scale;
    if (!(inverse < static_cast<float>(INT_MAX))) return std::nullopt;
    const auto f = static_cast<long long>(inverse);
    const long long width = source->width() * f;
    const long long height = source->height() * f;
    if (width > INT_MAX || height > INT_MAX) return std::nullopt;
    Bitmap<T> out(static_cast<int>(width), static_cast<int>(height));
    for (int y = 0; y < out.height(); ++y) {
        const T* in = source->row(static_cast<int>(y / f));
        T* row = out.row(y);
        for (int x = 0; x < source->width(); ++x) std::fill_n(row + x * f, f, in[x]);
    }
    return out;
}

// Forwards reductions; magnifies what compute(1) gives.
template <class Compute>
auto zoom(float scale, Compute compute) -> decltype(compute(1.f)) {
    if (!(scale < 1.f)) return compute(scale);
    if (!(scale > 0.f)) return std::nullopt;
    return replicate(compute(1.f), scale);
}

}  // namespace

std::vector<ElementInfo> ZoomOperator::getElements() const {
    return first() ? first()->getElements() : std::vector<ElementInfo>{};
}

std::optional<Bitmap<Float4>> ZoomOperator::compute(const ElementInfo& element, const Bucket& region, float scale,
                                                    unsigned flags) {
    if (!first()) return std::nullopt;
    return zoom(scale, [&](float s) { return first()->compute(element, region, s, flags); });
}

std::optional<Bitmap<float>> ZoomOperator::computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                                       unsigned flags) {
    if (!first()) return std::nullopt;
    return zoom(scale, [&](float s) { return first()->computeMono(element, region, s, flags); });
}

}  // namespace lumora
