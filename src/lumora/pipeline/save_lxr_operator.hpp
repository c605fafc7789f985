#pragma once
// The LXR writers: the loaded (and merged) render data of the selected elements, their denoised
// pictures and the current values of all post-processing properties, so that the file can be
// loaded, merged, denoised and edited again. Nothing of the post-processing is baked in.
//
// Wiring (wire()): dependency 0 and the image information are the load operator, dependency 1 is
// the denoise operator, whose elements with ElementFlag::DenoisedMark have a denoised picture.
//
// With "*" the file keeps every channel of the loaded image (hidden and single-channel elements
// included: weights, squared companions, denoising features), so it can be merged and denoised
// again; a single element is written alone with its denoised variant. Denoised pictures are stored
// as the element "Denoised" + name ("Denoised" alone for the beauty).

#include <expected>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>

#include "lumora/image/channel_image.hpp"
#include "lumora/pipeline/async_mixin.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora {

class LoadOperator;

class SaveLxrOperatorBase
    : public DependentMixin<2, SettingsMixin<ImageInfoMixin<AsyncMixin<ProgressMixin<IOperator>>>>> {
public:
    using ImageWriter =
        std::function<std::expected<bool, std::string>(const ChannelImage&, const std::filesystem::path&)>;

    SaveLxrOperatorBase();

    void wire(LoadOperator* load, IOperator* denoise);
    // Replaces the file writer (by default the EXR writer, which writes through a temporary file).
    void setImageWriter(ImageWriter writer);

    // Passes the load's elements and pixels through; the saver offers nothing of its own.
    std::vector<ElementInfo> getElements() const override;
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;

protected:
    void startTask(const std::string& name) { start(name); }
    // The whole save job for one selector and output path.
    void save(const IOperator::ElementSelector& selector, const std::filesystem::path& output);

    std::mutex lock_;  // guards the start values of the derived classes and the writer

private:
    ChannelImage buildImage(const IOperator::ElementSelector& selector, const std::vector<ElementInfo>& listed);

    const LoadOperator* load_ = nullptr;
    ImageWriter writer_;
};

// The console's writer: saves the elements that an element selector names.
class SaveLxrOperatorCli final : public SaveLxrOperatorBase {
public:
    ~SaveLxrOperatorCli() override;

    void start(IOperator::ElementSelector selector, std::filesystem::path output);

protected:
    void run() override;

private:
    IOperator::ElementSelector selector_;
    std::filesystem::path output_;
};

// The graphical edition's writer: saves the whole loaded image, as "*" does.
class SaveLxrOperator final : public SaveLxrOperatorBase {
public:
    ~SaveLxrOperator() override;

    void start(std::filesystem::path output);

protected:
    void run() override;

private:
    std::filesystem::path output_;
};

}  // namespace lumora
