#include "lumora/pipeline/bloom_glare_operator.hpp"

#include <algorithm>

#include "lumora/effects/bloom_glare.hpp"
#include "lumora/pipeline/region_sampling.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {
namespace {

bool isColor(const ElementInfo& e) { return e.layout == ElementLayout::Rgb || e.layout == ElementLayout::Rgba; }

std::vector<ElementInfo> withBloomGlareElement(std::vector<ElementInfo> elements) {
    if (!elements.empty()) elements.push_back({kBloomAndGlareInteractive, ElementLayout::Rgb, ElementFlag::Virtual});
    return elements;
}

// Clears the silent flag again however the synchronous run ends.
template <class Operator>
class SilentRun {
public:
    explicit SilentRun(Operator& op) : op_(op) { op_.setSilent(true); }
    ~SilentRun() { op_.setSilent(false); }
    SilentRun(const SilentRun&) = delete;
    SilentRun& operator=(const SilentRun&) = delete;

private:
    Operator& op_;
};

}  // namespace

bool isBloomGlareEligible(const ElementInfo& element) {
    if (!isColor(element) || (element.has(ElementFlag::NoBloom) && element.has(ElementFlag::NoGlare))) return false;
    return element.name == kBloomAndGlareInteractive || element.name.empty() || element.name == kLightMixInteractive ||
           element.has(ElementFlag::LightSelect);
}

BloomGlareOperator::~BloomGlareOperator() { stopWorker(); }

void BloomGlareOperator::stop() {
    cancelled_.store(true);
    AsyncMixin<ProgressMixin<IOperator>>::stop();
}

std::vector<ElementInfo> BloomGlareOperator::getElements() const {
    return withBloomGlareElement(first() ? first()->getElements() : std::vector<ElementInfo>{});
}

std::optional<Bitmap<Float4>> BloomGlareOperator::compute(const ElementInfo& element, const Bucket& region,
                                                          float scale, unsigned flags) {
    // An element that cannot carry the effect never has a layer; leaving the cache alone keeps
    // the main image's layer while the other elements of a run are served.
    if (!isBloomGlareEligible(element)) return std::nullopt;

    std::lock_guard lock(resultMutex_);
    const auto owns = [&] { return layer_.pixels && layer_.element == element.name; };
    if ((flags & IOperator::ComputeUpdate) != 0 && (!owns() || dependencyTime() > layer_.time)) {
        const SilentRun silent(*this);
        layer_ = computeLayer(element, flags);
    }
    if (owns()) {
        if (dependencyTime() > layer_.time) {
            {
                std::lock_guard request(requestMutex_);
                requested_ = element;
            }
            start("BloomGlare");
            return std::nullopt;
        }
        return sampleRegion(*layer_.pixels, layer_.region, region, scale);
    }
    if (element.name == kBloomAndGlareInteractive) {
        if (const auto size = scaledSize(region, scale)) return Bitmap<Float4>(size->x, size->y);
    }
    return std::nullopt;
}

void BloomGlareOperator::run() {
    ElementInfo element;
    {
        std::lock_guard request(requestMutex_);
        element = requested_;
    }
    Layer layer = computeLayer(element, 0);
    std::lock_guard lock(resultMutex_);
    layer_ = std::move(layer);
}

BloomGlareOperator::Layer BloomGlareOperator::computeLayer(const ElementInfo& element, unsigned flags) {
    Layer layer;
    layer.element = element.name;
    // Taken before the picture, so a change made meanwhile leaves the layer stale.
    layer.time = dependencyTime();

    const PostProcessData::BloomGlare settings =
        settings_ ? readBloomGlareSettings(*settings_) : PostProcessData::BloomGlare{};
    const bool active = settings_ && settings.enabled &&
                        (settings.bloomIntensity > 0.f || settings.glareIntensity > 0.f);
    if (active && first() && isBloomGlareEligible(element)) {
        ElementInfo source = element;
        if (element.name == kBloomAndGlareInteractive) {
            const std::vector<ElementInfo> elements = first()->getElements();
            const auto main = std::ranges::find(elements, std::string(), &ElementInfo::name);
            source = main != elements.end() ? *main : ElementInfo{"", ElementLayout::Rgba, 0};
        }
        const Bucket region = wholeRegion(*first());
        if (auto picture = first()->compute(source, region, 1.f, flags)) {
            reportProgressText("Bloom and Glare progress");
            reportProgress(0.f);
            const bool done = applyBloomGlare(ImageOperatorsFlag::Parallel, *picture, settings, [this](float f) {
                if (f > 0.f) reportProgress(f);
                return cancelled_.load();
            });
            if (done && !cancelled_.load()) {
                layer.pixels = std::move(*picture);
                layer.region = region;
            }
        }
    }
    reportProgressText("");
    reportProgress(1.f);
    return layer;
}

std::vector<ElementInfo> BlendBloomGlareOperator::getElements() const {
    return withBloomGlareElement(first() ? first()->getElements() : std::vector<ElementInfo>{});
}

std::optional<Bitmap<Float4>> BlendBloomGlareOperator::compute(const ElementInfo& element, const Bucket& region,
                                                               float scale, unsigned flags) {
    IOperator* effect = dependencies_[1];
    if (element.name == kBloomAndGlareInteractive) {
        return effect ? effect->compute(element, region, scale, flags) : std::nullopt;
    }
    auto picture = first() ? first()->compute(element, region, scale, flags) : std::nullopt;
    if (!picture || !effect) return picture;
    const auto layer = effect->compute(element, region, scale, flags);
    if (!layer || layer->width() != picture->width() || layer->height() != picture->height()) return picture;
    for (std::size_t i = 0; i < picture->size(); ++i) {
        Float4& p = picture->data()[i];
        const Float4 sum = p + layer->data()[i];
        p = Float4(sum.x(), sum.y(), sum.z(), p.w());
    }
    return picture;
}

}  // namespace lumora
