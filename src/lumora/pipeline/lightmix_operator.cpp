#include "lumora/pipeline/lightmix_operator.hpp"

#include <algorithm>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/foundation/color_space.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {
namespace {

// Rows per parallel task of the mix.
constexpr std::int64_t kRowGrain = 4;

// The layer's whole colour path (into the wide space, scaled, back) as one matrix. It is built
// in double from the stored float transforms, so it is the same map with less rounding.
Matrix3d layerMatrix(const Float4& wideMultiplier) {
    const auto toDouble = [](const ColorTransform& t) {
        Matrix3d m{};
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) m[r][c] = static_cast<double>(t.rows[r][c]);
        }
        return m;
    };
    Matrix3d scaled = toDouble(linRgbToLinWideRgb());
    for (int r = 0; r < 3; ++r) {
        for (double& v : scaled[r]) v *= static_cast<double>(wideMultiplier[r]);
    }
    return multiply(toDouble(linWideRgbToLinRgb()), scaled);
}

// The multiplier of every layer in the wide space, or nothing for a layer that does not count.
std::vector<std::optional<Float4>> layerMultipliers(const Settings& settings, std::size_t layerCount) {
    const Property enabled = settings.get(PropertyId::colorMapLightmixEnabledLayers);
    const Property intensities = settings.get(PropertyId::colorMapLightmixIntensities);
    const Property colors = settings.get(PropertyId::colorMapLightmixColors);
    const auto on = enabled.asBoolArray();
    const auto a = intensities.asFloatArray();
    const auto c = colors.asVec3Array();

    std::vector<std::optional<Float4>> result(layerCount);
    for (std::size_t i = 0; i < layerCount; ++i) {
        if (i < on.size() && !on[i]) continue;
        const float intensity = i < a.size() ? a[i] : 1.f;
        const Vec3 color = i < c.size() ? c[i] : Vec3{1.f, 1.f, 1.f};
        const Float4 m(intensity * color.x, intensity * color.y, intensity * color.z, 0.f);
        if (m.x() == 0.f && m.y() == 0.f && m.z() == 0.f) continue;
        result[i] = linRgbToLinWideRgb().apply(m) * lightMixNormalization();
    }
    return result;
}

void addLayer(Bitmap<Float4>& output, const Bitmap<Float4>& layer, const Matrix3d& matrix, bool first) {
    std::array<float, 9> m{};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) m[static_cast<std::size_t>(r * 3 + c)] = static_cast<float>(matrix[r][c]);
    }
    const int width = output.width();
    const auto rows = [&](std::int64_t y0, std::int64_t y1) {
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            const Float4* in = layer.row(y);
            Float4* out = output.row(y);
            for (int x = 0; x < width; ++x) {
                alignas(16) float p[4];
                in[x].store(p);
                const Float4 mixed(m[0] * p[0] + m[1] * p[1] + m[2] * p[2], m[3] * p[0] + m[4] * p[1] + m[5] * p[2],
                                   m[6] * p[0] + m[7] * p[1] + m[8] * p[2], 0.f);
                out[x] = first ? mixed + Float4(0.f, 0.f, 0.f, 1.f) : out[x] + mixed;
            }
        }
    };
    if (output.height() >= 2 * kRowGrain) {
        scheduler::parallelFor(0, output.height(), kRowGrain, rows);
    } else {
        rows(0, output.height());
    }
}

}  // namespace

bool isLightMixLayer(const ElementInfo& element) {
    return (element.layout == ElementLayout::Rgb || element.layout == ElementLayout::Rgba) &&
           !element.has(ElementFlag::Hidden) && !element.name.empty() && element.has(ElementFlag::LightSelect);
}

LightMixOperator::LightMixOperator(std::mutex* lock) : lock_(lock) { LUMORA_ASSERT(lock_ != nullptr); }

void LightMixOperator::refreshLayers() const {
    // Without image information there is no time stamp to trust, so the list is always rebuilt.
    const std::optional<std::int64_t> now =
        imageInfo_ ? std::optional<std::int64_t>(imageInfo_->getElementsTimestamp()) : std::nullopt;
    if (now && layersTime_ && *now <= *layersTime_) return;
    layers_.clear();
    if (first()) {
        for (const ElementInfo& element : first()->getElements()) {
            if (isLightMixLayer(element)) layers_.push_back(element);
        }
    }
    layerCount_ = static_cast<std::int32_t>(layers_.size());
    layersTime_ = now;
}

std::vector<ElementInfo> LightMixOperator::lightMixSourceElements() const {
    std::lock_guard lock(*lock_);
    refreshLayers();
    return layers_;
}

std::vector<ElementInfo> LightMixOperator::getElements() const {
    std::vector<ElementInfo> elements = first() ? first()->getElements() : std::vector<ElementInfo>{};
    if (elements.empty()) return elements;
    {
        std::lock_guard lock(*lock_);
        refreshLayers();
        if (layerCount_ == 0) return elements;
    }
    ElementInfo mix{kLightMixInteractive, ElementLayout::Rgb, ElementFlag::Virtual};
    if (imageInfo_) {
        if (const auto record = imageInfo_->findRenderElementInfo(kLightMixInteractive)) {
            if (!record->hasFlag(RenderElementFlag::BloomEffect)) mix.flags |= ElementFlag::NoBloom;
            if (!record->hasFlag(RenderElementFlag::GlareEffect)) mix.flags |= ElementFlag::NoGlare;
        }
    }
    elements.push_back(std::move(mix));
    return elements;
}

std::optional<Bitmap<Float4>> LightMixOperator::compute(const ElementInfo& element, const Bucket& region,
                                                        float scale, unsigned flags) {
    if (element.name == kLightMixInteractive) return computeMix(region, scale, flags);
    return first() ? first()->compute(element, region, scale, flags) : std::nullopt;
}

std::optional<Bitmap<Float4>> LightMixOperator::computeMix(const Bucket& region, float scale, unsigned flags) {
    if (region.isEmpty() || !(scale > 0.f) || !first() || !settings_) return std::nullopt;
    const int width = static_cast<int>(static_cast<float>(region.width()) / scale);
    const int height = static_cast<int>(static_cast<float>(region.height()) / scale);

    std::vector<ElementInfo> layers;
    {
        std::lock_guard lock(*lock_);
        refreshLayers();
        layers = layers_;
    }
    if (layers.empty()) return Bitmap<Float4>(width, height);

    const auto multipliers = layerMultipliers(*settings_, layers.size());
    std::optional<Bitmap<Float4>> output;
    for (std::size_t i = 0; i < layers.size(); ++i) {
        if (!multipliers[i]) continue;
        auto layer = first()->compute(layers[i], region, scale, flags);
        if (!layer) return std::nullopt;
        // The dependency decides the exact pixel count; every layer must agree with the first.
        const bool isFirst = !output;
        if (isFirst) {
            output = Bitmap<Float4>(layer->width(), layer->height());
        } else if (layer->width() != output->width() || layer->height() != output->height()) {
            return std::nullopt;
        }
        addLayer(*output, *layer, layerMatrix(*multipliers[i]), isFirst);
    }
    if (!output) {
        output = Bitmap<Float4>(width, height, Float4(0.f, 0.f, 0.f, 1.f));
    }
    return output;
}

}  // namespace lumora
