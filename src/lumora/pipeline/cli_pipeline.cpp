#include "lumora/pipeline/cli_pipeline.hpp"

#include <memory>
#include <string>
#include <vector>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/image/channel_image.hpp"
#include "lumora/settings/enums.hpp"

namespace lumora {

bool isLumoraExrFileName(const std::filesystem::path& path) {
    return text::toLower(path.extension().string()) == ".lxr";
}

namespace Pipeline {

namespace {

std::vector<std::string> namesOf(const std::vector<ElementInfo>& elements) {
    std::vector<std::string> result;
    result.reserve(elements.size());
    for (const ElementInfo& element : elements) result.push_back(element.name);
    return result;
}

}  // namespace

CliPipeline::CliPipeline(Settings* settings)
    : settings_(settings), lightMix_(&lightMixLock_), colorMap_(&blendBloomGlare_, settings) {
    load_.setSettings(settings_);

    denoise_.setDependency(0, &load_);
    denoise_.setImageInfo(&load_);
    denoise_.setSettings(settings_);

    blendDenoised_.setDependency(0, &load_);
    blendDenoised_.setDependency(1, &denoise_);
    blendDenoised_.setSettings(settings_);

    lightMix_.setDependency(0, &blendDenoised_);
    lightMix_.setImageInfo(&load_);
    lightMix_.setSettings(settings_);

    bloomGlare_.setDependency(0, &lightMix_);
    bloomGlare_.setImageInfo(&load_);
    bloomGlare_.setSettings(settings_);

    blendBloomGlare_.setDependency(0, &lightMix_);
    blendBloomGlare_.setDependency(1, &bloomGlare_);

    sharpenBlur_.setDependency(0, &colorMap_);
    sharpenBlur_.setSettings(settings_);

    monoToColor_.setDependency(0, &sharpenBlur_);

    zoom_.setDependency(0, &monoToColor_);

    saveLxr_.wire(&load_, &denoise_);
    saveLxr_.setSettings(settings_);
    saveLxrCli_.wire(&load_, &denoise_);
    saveLxrCli_.setSettings(settings_);

    saveSeparate_.setDependency(0, &zoom_);

    // The operators' jobs and loops yield to the rest of the machine (a farm node's other work).
    scheduler::setWorkerThreadsPriority(static_cast<int>(SchedulerWorkerThreadPriority::Low));
}

void CliPipeline::run(Performer::IRuntime& runtime) {
    load_.setWarningCallback(std::make_shared<const std::function<void(const std::string&)>>(
        [&runtime](const std::string& text) { runtime.printMessage(text); }));
    // The last error of a phase wins; the run rethrows it after the phase's wait.
    const auto storeError =
        std::make_shared<const std::function<void(const std::string&)>>([this](const std::string& text) {
            std::lock_guard lock(pendingErrorMutex_);
            pendingError_.emplace(text);
        });
    load_.setErrorCallback(storeError);
    denoise_.setErrorCallback(storeError);
    saveLxrCli_.setErrorCallback(storeError);
    bloomGlare_.setErrorCallback(storeError);
    saveSeparate_.setErrorCallback(storeError);

    loadPhase(runtime);
    denoisePhase(runtime);
    savePhase(runtime);
}

void CliPipeline::loadPhase(Performer::IRuntime& runtime) {
    const auto inputs = runtime.getInputs();
    const auto weights = runtime.getWeights();
    load_.setInputs(std::vector<WeightDescriptor>(weights.begin(), weights.end()),
                    std::vector<std::filesystem::path>(inputs.begin(), inputs.end()));
    load_.wait();
    throwPendingError();

    // Command-line values win over the values stored in the input.
    runtime.applySettingsOverrides(*settings_);
    scheduler::setWorkerCount(settings_->getNumWorkerThreads());
}

void CliPipeline::denoisePhase(Performer::IRuntime& runtime) {
    if (!denoise_.isDenoisingEnabled()) return;

    const IOperator::ElementSelector& selector = runtime.getElementSelector();
    std::vector<ElementInfo> toDenoise;
    std::vector<ElementInfo> skipped;
    if (selector.selectsAll()) {
        const auto all = IOperator::makeElementFilter(selector);
        toDenoise = denoise_.denoisableElements(all);
        skipped = denoise_.undenoisableElements(all);
    } else if (selector.name == kLightMixInteractive) {
        toDenoise = lightMix_.lightMixSourceElements();
    } else {
        const auto filter = IOperator::makeElementFilter(selector);
        toDenoise = denoise_.denoisableElements(filter);
        skipped = denoise_.undenoisableElements(filter);
        if (toDenoise.empty() && skipped.empty()) {
            throw Exception("Render element " + selector.name +
                            " does not exist, or cannot be considered for denoising (it is hidden, or it is not an "
                            "RGB element).");
        }
    }

    for (const ElementInfo& element : skipped) {
        runtime.printMessage("Render element " + toDisplayName(element.name) +
                             " cannot be denoised (required auxiliary denoising data are not gathered for it). "
                             "Skipping the element.");
    }
    if (toDenoise.empty()) return;

    load_.markToBeDenoised(namesOf(toDenoise));
    denoise_.startDenoising();
    denoise_.wait();
    throwPendingError();
}

void CliPipeline::savePhase(Performer::IRuntime& runtime) {
    const IOperator::ElementSelector& selector = runtime.getElementSelector();
    const std::filesystem::path& output = runtime.getOutput();
    if (isLumoraExrFileName(output)) {
        saveLxrCli_.start(selector, output);
        saveLxrCli_.wait();
        throwPendingError();
        return;
    }
    savePictures(selector, output);
}

void CliPipeline::savePictures(const IOperator::ElementSelector& selector, const std::filesystem::path& output) {
    const std::optional<ImageFormat> format = getImageFormatFromFileName(output);
    const auto filter = IOperator::makeElementFilter(selector);
    saveSeparate_.start(saveSeparate_.savableElements(filter), output, format,
                        ImageSaveSettings{SavePixelFormat::Default, true});
    saveSeparate_.wait();
    throwPendingError();
}

void CliPipeline::throwPendingError() {
    std::optional<Exception> error;
    {
        std::lock_guard lock(pendingErrorMutex_);
        error.swap(pendingError_);
    }
    if (error) throw *error;
}

}  // namespace Pipeline
}  // namespace lumora
