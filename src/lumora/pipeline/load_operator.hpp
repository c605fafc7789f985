#pragma once
// The head of every pipeline: reads the input images, merges several into one, publishes the
// render elements of the result and copies the post-processing settings stored in the input into
// the pipeline's settings.
//
// Conventions:
// - Regions are in the loaded image's pixel coordinates, relative to its data window: the image
//   rectangle and the region are both (0, 0) - (width, height).
// - The image and its element list change only at the end of a successful load, under the output
//   lock, so readers never see a half-loaded image; a failed load keeps the previous one.
// - compute gives Rgb and Rgba elements (Rgb ones with alpha 1), computeMono any float channel by
//   name; both work for hidden elements too (weights, squared companions, denoising features).

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "lumora/image/channel_image.hpp"
#include "lumora/image/weight_descriptor.hpp"
#include "lumora/pipeline/async_mixin.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora {

class LoadOperator final : public SettingsMixin<AsyncMixin<ProgressMixin<IOperator>>>, public IImageInfoProvider {
public:
    using ImageLoader = std::function<std::expected<ChannelImage, std::string>(const std::filesystem::path&)>;

    LoadOperator();
    ~LoadOperator() override;

    // Takes both lists over (they are left empty) and starts a load. No weights means the
    // default weight channel; one weight applies to every input.
    void setInputs(std::vector<WeightDescriptor> weights, std::vector<std::filesystem::path> paths);

    // Replaces the reader of one file (by default the LXR/EXR loader).
    void setImageLoader(ImageLoader loader);

    // Sets flag on the elements whose names are listed and clears it on every other element, then
    // renews the element list's time stamp.
    void setElementFlag(std::uint32_t flag, const std::vector<std::string>& names);
    void markToBeDenoised(const std::vector<std::string>& names) { setElementFlag(ElementFlag::ToBeDenoised, names); }

    // Calls f with the loaded image under the output lock and returns what f returns; f must not
    // call back into this operator's writers.
    template <class F>
    decltype(auto) withImage(F&& f) const {
        std::shared_lock lock(outputMutex_);
        return std::forward<F>(f)(std::as_const(image_));
    }

    // The paths of the last successful load and the output name derived from the first of them
    // ("render.lxr" gives "render_Post.lxr", "render" gives "render_Post.lxr").
    std::vector<std::filesystem::path> getLoadedPaths() const;
    std::filesystem::path getSuggestedOutput() const;

    // IOperator
    std::int64_t getTimestamp() const override { return getElementsTimestamp(); }
    std::vector<ElementInfo> getElements() const override { return getElementInfos(); }
    // The display window and the data window of the loaded image.
    Bucket getImageRect() const override;
    Bucket getRegion() const override;
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;
    std::optional<Bitmap<float>> computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                             unsigned flags) override;

    // IImageInfoProvider
    std::optional<RenderElementInfo> findRenderElementInfo(const std::string& displayName) const override;
    std::vector<ElementInfo> getElementInfos() const override;
    std::int64_t getElementsTimestamp() const override;

protected:
    void run() override;

private:
    ChannelImage loadSingle(const std::filesystem::path& path) const;
    ChannelImage merge(const std::vector<WeightDescriptor>& weights,
                       const std::vector<std::filesystem::path>& paths) const;
    void copyStoredSettings(const ChannelImage& image) const;
    Bucket window(const char* name) const;

    mutable std::mutex inputsMutex_;  // guards the input lists and the loader
    std::vector<WeightDescriptor> weights_;
    std::vector<std::filesystem::path> paths_;
    ImageLoader imageLoader_;

    mutable std::shared_mutex outputMutex_;  // guards everything below
    ChannelImage image_;
    std::vector<ElementInfo> elements_;
    std::int64_t elementsTime_ = 0;
    std::vector<WeightDescriptor> weightsUsed_;
    std::vector<std::filesystem::path> loadedPaths_;
    std::filesystem::path suggestedOutput_;
};

// The missing-weight-channel message of a merge; the command-line hint follows when the running
// application is the command-line interface.
std::string missingWeightChannelMessage(const std::filesystem::path& path, const std::string& channel);

// Replaces every NaN of every float channel by +0.0; infinities stay.
void cleanNaNs(ChannelImage& image);

}  // namespace lumora
