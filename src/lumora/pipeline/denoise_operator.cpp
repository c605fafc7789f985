#include "lumora/pipeline/denoise_operator.hpp"

#include <algorithm>
#include <cmath>

#include "lumora/denoise/create_denoiser.hpp"
#include "lumora/denoise/denoising_mode.hpp"
#include "lumora/foundation/region_sampling.hpp"
#include "lumora/image/channel_image.hpp"
#include "lumora/pipeline/error_logger.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {
namespace {

// Ends a job with a message for the error callback.
struct JobFailure {
    std::string message;
};

std::string missingElementMessage(const std::string& name) {
    return "The image is missing \"" + name + "\" render element.";
}

bool isColor(const ElementInfo& e) { return e.layout == ElementLayout::Rgb || e.layout == ElementLayout::Rgba; }

// Point-samples a part of a stored bitmap by the region-sampling rule.
std::optional<Bitmap<Float4>> sample(const Bitmap<Float4>& stored, const Bucket& storedRegion, const Bucket& region,
                                     float scale) {
    if (region.isEmpty() || !storedRegion.contains(region)) return std::nullopt;
    const auto width = sampledExtent(region.width(), scale, SampledExtent::RoundDown);
    const auto height = sampledExtent(region.height(), scale, SampledExtent::RoundDown);
    if (!width || !height) return std::nullopt;
    const Pixel offset = region.min - storedRegion.min;
    const BitmapView<const Float4> source = stored.view().subview(Bucket{offset, offset + region.size()});
    if (scale == 1.f) return Bitmap<Float4>::copyOf(source);
    Bitmap<Float4> out(*width, *height);
    for (int y = 0; y < out.height(); ++y) {
        const Float4* row = source.row(sampledSource(y, scale, region.height()));
        for (int x = 0; x < out.width(); ++x) out(x, y) = row[sampledSource(x, scale, region.width())];
    }
    return out;
}

}  // namespace

DenoiseOperator::~DenoiseOperator() { stopWorker(); }

void DenoiseOperator::stop() {
    cancelled_.store(true);
    AsyncMixin<ProgressMixin<IOperator>>::stop();
}

std::vector<ElementInfo> DenoiseOperator::listLoaded(const IOperator::ElementFilter& filter, bool denoisable) const {
    if (!imageInfo_) return {};
    return listElements(*imageInfo_, [&](const ElementInfo& e) {
        return (!filter || (*filter)(e)) && isColor(e) && !e.has(ElementFlag::Hidden) &&
               e.has(ElementFlag::DenoisingData) == denoisable;
    });
}

std::vector<ElementInfo> DenoiseOperator::denoisableElements(const IOperator::ElementFilter& filter) const {
    return listLoaded(filter, true);
}

std::vector<ElementInfo> DenoiseOperator::undenoisableElements(const IOperator::ElementFilter& filter) const {
    return listLoaded(filter, false);
}

bool DenoiseOperator::isDenoisingEnabled() const {
    const auto mode = static_cast<DenoisingMode>(settings_->getInt(PropertyId::denoiseFilterType));
    return getDenoisingModeFlags(mode).has(DenoisingFlag::Filter);
}

void DenoiseOperator::startDenoising() { start("DenoiseOperator"); }

bool DenoiseOperator::hasResult(const std::string& elementName) const {
    std::lock_guard lock(outputMutex_);
    return results_.contains(elementName);
}

std::int64_t DenoiseOperator::getTimestamp() const {
    const std::int64_t input = first() ? first()->getTimestamp() : 0;
    std::lock_guard lock(outputMutex_);
    return std::max(input, resultTime_);
}

std::vector<ElementInfo> DenoiseOperator::getElements() const {
    std::vector<ElementInfo> elements = first() ? first()->getElements() : std::vector<ElementInfo>{};
    std::lock_guard lock(outputMutex_);
    std::erase_if(elements, [&](const ElementInfo& e) { return !results_.contains(e.name); });
    for (ElementInfo& e : elements) e.flags |= ElementFlag::DenoisedMark;
    return elements;
}

std::optional<Bitmap<Float4>> DenoiseOperator::compute(const ElementInfo& element, const Bucket& region, float scale,
                                                       unsigned) {
    std::lock_guard lock(outputMutex_);
    const auto it = results_.find(element.name);
    if (it == results_.end()) return std::nullopt;
    return sample(it->second, resultRegion_, region, scale);
}

std::optional<Bitmap<float>> DenoiseOperator::computeMono(const ElementInfo&, const Bucket&, float, unsigned) {
    return std::nullopt;
}

void DenoiseOperator::run() {
    try {
        denoiseJob();
        return;
    } catch (const JobFailure& failure) {
        reportError(failure.message);
    } catch (const std::exception& e) {
        reportError(e.what());
    }
    std::lock_guard lock(outputMutex_);
    results_.clear();
    resultTime_ = currentTimestamp();
}

void DenoiseOperator::denoiseJob() {
    {
        std::lock_guard lock(outputMutex_);
        results_.clear();
        resultTime_ = currentTimestamp();
    }
    reportProgressText("Denoising progress");
    reportProgress(0.f);

    if (!isDenoisingEnabled()) {
        throw JobFailure{"Denoising is not enabled. You have to select the denoise mode first."};
    }
    std::vector<ElementInfo> elements = denoisableElements(nullptr);
    std::erase_if(elements, [](const ElementInfo& e) { return !e.has(ElementFlag::ToBeDenoised); });
    if (elements.empty() || !first()) {
        throw JobFailure{
            "There are not selected any denoisable render elements to be denoised. You need to select some first."};
    }

    // The loaded list gives each element its layout and flags; one that is not listed is asked
    // for as a plain colour element.
    const std::vector<ElementInfo> loaded = imageInfo_->getElementInfos();
    const auto loadedElement = [&](const std::string& name, ElementLayout fallback) {
        const auto it = std::ranges::find(loaded, name, &ElementInfo::name);
        return it != loaded.end() ? *it : ElementInfo{name, fallback, ElementFlag::Hidden};
    };
    const Bucket region = wholeRegion(*first());
    const auto loadColor = [&](const std::string& name) {
        return first()->compute(loadedElement(name, ElementLayout::Rgb), region, 1.f, 0);
    };

    auto weights = first()->computeMono(loadedElement(names::weights, ElementLayout::Mono), region, 1.f, 0);
    if (!weights) throw JobFailure{missingElementMessage(names::weights)};
    if (std::none_of(weights->data(), weights->data() + weights->size(), [](float w) { return w >= 2.f; })) {
        throw JobFailure{"No part of the image has been rendered with at least 2 passes."};
    }

    const auto mode = static_cast<DenoisingMode>(settings_->getInt(PropertyId::denoiseFilterType));
    const bool featureVariance = getDenoisingModeFlags(mode).has(DenoisingFlag::FeatureVariance);
    DenoisingData data;
    data.sensitivity = settings_->getFloat(PropertyId::denoiseSensitivity);
    data.textureBlur = settings_->getFloat(PropertyId::denoiseTextureBlur);
    for (const FeatureType type : getDenoisingFeatures(mode)) {
        const std::string name = getFeatureElementName(type);
        auto mean = loadColor(name);
        if (!mean) {
            if (type == FeatureType::HairIds) continue;  // optional: the denoiser goes on without it
            throw JobFailure{missingElementMessage(name)};
        }
        FeatureImages images{type, std::move(*mean), {}};
        if (featureVariance) {
            const std::string squaresName = squaredElementName(name);
            auto squares = loadColor(squaresName);
            if (!squares) throw JobFailure{missingElementMessage(squaresName)};
            images.squares = std::move(*squares);
        }
        data.features.emplace(type, std::move(images));
    }
    data.passes = std::move(*weights);

    auto logger = ErrorLogger::create([this](const std::string& text) { reportError(text); });
    std::unique_ptr<IDenoiser> denoiser = createDenoiser(mode, logger, std::move(data));
    if (!denoiser) throw JobFailure{"The denoiser could not be created."};

    std::map<std::string, Bitmap<Float4>> results;
    const float count = static_cast<float>(elements.size());
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const ElementInfo& element = elements[i];
        auto image = first()->compute(element, region, 1.f, 0);
        if (!image) throw JobFailure{missingElementMessage(toDisplayName(element.name))};
        const std::string squaresName = squaredElementName(element.name);
        auto squares = loadColor(squaresName);
        if (!squares) throw JobFailure{missingElementMessage(squaresName)};

        const auto record = imageInfo_->findRenderElementInfo(toDisplayName(element.name));
        const ElementId id = record ? record->type : ElementId(RenderElement::Beauty);
        const float done = static_cast<float>(i);
        auto progress = std::make_shared<std::function<bool(float)>>([this, done, count](float fraction) {
            reportProgress((done + std::clamp(fraction, 0.f, 1.f)) / count);
            return cancelled_.load();
        });

        if (cancelled_.load()) return;
        auto denoised = denoiser->denoise(std::move(*image), std::move(*squares), id, std::move(progress));
        if (cancelled_.load()) return;
        // A denoiser that failed has reported why; the element keeps its undenoised picture.
        if (denoised) results.insert_or_assign(element.name, std::move(*denoised));
        reportStep();
    }
    denoiser.reset();

    {
        std::lock_guard lock(outputMutex_);
        results_ = std::move(results);
        resultRegion_ = region;
        resultTime_ = currentTimestamp();
    }
    reportProgressText("");
    reportProgress(1.f);
}

}  // namespace lumora
