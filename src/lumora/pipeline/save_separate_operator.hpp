#pragma once
// The picture writer: one finished picture per element, each in its own file of an ordinary
// raster format (PNG, JPEG, EXR, ...), computed on demand through the dependency, the last
// operator of the picture chain.
//
// With one element the file is the output path itself; with several, every element but the
// beauty gets "_" + its display name (made safe for file names) before the extension:
// Out.png, Out_Alpha.png, Out_Key.png. Each file is written under a temporary name and renamed
// into place; files written for earlier elements stay when a later one fails.

#include <expected>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lumora/image/picture_saver.hpp"
#include "lumora/pipeline/async_mixin.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora {

class SaveSeparateOperator final : public DependentMixin<1, AsyncMixin<ProgressMixin<IOperator>>> {
public:
    using BitmapSaver = std::function<std::expected<bool, std::string>(const std::filesystem::path&,
                                                                       const Picture&, bool rawData)>;

    SaveSeparateOperator();
    ~SaveSeparateOperator() override;

    // The dependency's elements that the filter accepts and that can be saved: visible colour
    // elements, the virtual ones among them.
    std::vector<ElementInfo> savableElements(const ElementFilter& filter) const;

    // Takes the values over and starts the job. Without a format the output's extension names
    // none that is known.
    void start(std::vector<ElementInfo> elements, std::filesystem::path output, std::optional<ImageFormat> format,
               ImageSaveSettings settings);

    // Replaces the file writer (by default saveImage with the started format and settings).
    void setBitmapSaver(BitmapSaver saver);

    std::vector<ElementInfo> getElements() const override;
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;

protected:
    void run() override;

private:
    // Whether the picture of the element carries alpha: Rgba elements, and single-channel ones
    // whose value the chain copied into every lane.
    bool keepsAlpha(const ElementInfo& element, const Bucket& region);

    mutable std::mutex lock_;  // guards everything below
    std::vector<ElementInfo> elements_;
    std::filesystem::path output_;
    std::optional<ImageFormat> format_;
    ImageSaveSettings settings_;
    BitmapSaver saver_;
};

// The file of one element among several: base + "_" + the element's display name made safe for
// file names + "." + extension, where base and extension are the output text split at its last
// "." (no suffix for the beauty).
std::filesystem::path elementFileName(const std::filesystem::path& output, const ElementInfo& element);

// Replaces every character that a file name cannot hold on common systems (control characters
// and \ / : * ? " < > |) by "_".
std::string escapeFilename(const std::string& name);

}  // namespace lumora
