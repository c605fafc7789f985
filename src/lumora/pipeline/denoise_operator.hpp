#pragma once
// Runs the denoiser of denoise.filterType over every element of the loaded image that is marked
// to be denoised, and keeps the denoised pictures until the next run.
//
// Wiring: dependency 0 is the load operator (pixels of the elements, their squared companions,
// the features and the pass counts "LUMORA_FB_WEIGHTS"); the image information (setImageInfo) is
// the load's element list with its flags and render element records. The element list decides
// what is denoised (ElementFlag::ToBeDenoised) and in which order; the record of an element tells
// the denoiser what kind of element it filters (an element without a record counts as the beauty).
//
// A job reports its failures through the error callback and leaves no results. stop() cancels a
// running job at its next progress report; a cancelled job leaves no results either.

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "lumora/pipeline/async_mixin.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora {

class DenoiseOperator final
    : public DependentMixin<1, SettingsMixin<ImageInfoMixin<AsyncMixin<ProgressMixin<IOperator>>>>> {
public:
    DenoiseOperator() = default;
    ~DenoiseOperator() override;

    // Elements of the load's list that pass filter and can be denoised (visible colour elements
    // with gathered denoising data, including the features the mode requires), respectively those
    // that cannot.
    std::vector<ElementInfo> denoisableElements(const IOperator::ElementFilter& filter) const;
    std::vector<ElementInfo> undenoisableElements(const IOperator::ElementFilter& filter) const;

    // Whether denoise.filterType names a mode that produces a denoised image.
    bool isDenoisingEnabled() const;
    void startDenoising();

    // Whether the last job left a denoised picture of the element (by element name, "" for the
    // beauty). The LXR writer stores such results beside the element.
    bool hasResult(const std::string& elementName) const;

    // Later than the load's time stamp once a job has stored results.
    std::int64_t getTimestamp() const override;
    // The load's elements that have a denoised picture, each with ElementFlag::DenoisedMark.
    std::vector<ElementInfo> getElements() const override;
    // The denoised picture of the element over the region (which must lie inside the region the
    // job denoised); nothing for an element without one.
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;
    std::optional<Bitmap<float>> computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                             unsigned flags) override;

    // Also cancels a job that is running.
    void stop() override;

protected:
    void run() override;

private:
    void denoiseJob();
    std::vector<ElementInfo> listLoaded(const IOperator::ElementFilter& filter, bool denoisable) const;
    // Whether the loaded image holds every feature the selected mode requires (HairIds is
    // optional), with its squares where the mode needs them.
    bool hasRequiredFeatures() const;

    std::atomic<bool> cancelled_{false};

    mutable std::mutex outputMutex_;  // guards everything below
    std::map<std::string, Bitmap<Float4>> results_;
    Bucket resultRegion_;
    std::int64_t resultTime_ = 0;
};

}  // namespace lumora
