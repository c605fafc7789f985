#include "lumora/pipeline/save_separate_operator.hpp"

#include "lumora/foundation/exception.hpp"
#include "lumora/image/channel_image.hpp"

namespace lumora {

namespace {

bool isSavable(const ElementInfo& element) {
    return (element.layout == ElementLayout::Rgb || element.layout == ElementLayout::Rgba) &&
           !element.has(ElementFlag::Hidden);
}

}  // namespace

std::string escapeFilename(const std::string& name) {
    std::string result = name;
    for (char& c : result) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7F || std::string_view("\\/:*?\"<>|").find(c) != std::string_view::npos) c = '_';
    }
    return result;
}

std::filesystem::path elementFileName(const std::filesystem::path& output, const ElementInfo& element) {
    const std::string& text = output.native();
    const auto dot = text.rfind('.');
    const std::string base = dot == std::string::npos ? text : text.substr(0, dot);
    const std::string extension = dot == std::string::npos ? std::string() : text.substr(dot + 1);
    std::string name = base;
    if (!element.name.empty()) name.append("_").append(escapeFilename(toDisplayName(element.name)));
    return name.append(".").append(extension);
}

SaveSeparateOperator::SaveSeparateOperator() {
    saver_ = [this](const std::filesystem::path& path, const Picture& picture, bool rawData) {
        std::optional<ImageFormat> format;
        ImageSaveSettings settings;
        {
            std::lock_guard lock(lock_);
            format = format_;
            settings = settings_;
        }
        return saveImage(path, picture, rawData, format, settings);
    };
}

SaveSeparateOperator::~SaveSeparateOperator() { stopWorker(); }

std::vector<ElementInfo> SaveSeparateOperator::savableElements(const ElementFilter& filter) const {
    std::vector<ElementInfo> result;
    for (const ElementInfo& element : getElements()) {
        if ((*filter)(element) && isSavable(element)) result.push_back(element);
    }
    return result;
}

void SaveSeparateOperator::start(std::vector<ElementInfo> elements, std::filesystem::path output,
                                 std::optional<ImageFormat> format, ImageSaveSettings settings) {
    {
        std::lock_guard lock(lock_);
        elements_ = std::move(elements);
        output_ = std::move(output);
        format_ = format;
        settings_ = settings;
    }
    AsyncMixin::start("SaveSeparateOperator");
}

void SaveSeparateOperator::setBitmapSaver(BitmapSaver saver) {
    std::lock_guard lock(lock_);
    saver_ = std::move(saver);
}

std::vector<ElementInfo> SaveSeparateOperator::getElements() const {
    return first() ? first()->getElements() : std::vector<ElementInfo>{};
}

std::optional<Bitmap<Float4>> SaveSeparateOperator::compute(const ElementInfo& element, const Bucket& region,
                                                            float scale, unsigned flags) {
    return first() ? first()->compute(element, region, scale, flags) : std::nullopt;
}

bool SaveSeparateOperator::keepsAlpha(const ElementInfo& element, const Bucket& region) {
    if (element.layout == ElementLayout::Rgba) return true;
    // Only elements left alone by the colour filters can stem from a single channel; asking the
    // others would cost a second pass through the chain for nothing.
    if (!element.has(ElementFlag::NoSharpenBlur)) return false;
    return first()->computeMono(element, region, 1.f, IOperator::ComputeUpdate).has_value();
}

void SaveSeparateOperator::run() {
    std::vector<ElementInfo> elements;
    std::filesystem::path output;
    std::optional<ImageFormat> format;
    BitmapSaver saver;
    {
        std::lock_guard lock(lock_);
        elements = elements_;
        output = output_;
        format = format_;
        saver = saver_;
    }
    reportProgressText("Saving progress");
    reportProgress(0.f);

    if (output.filename().empty() || output.extension().empty()) {
        throw Exception("Well-formed output image path having a file extension is expected.");
    }
    if (elements.empty()) {
        throw Exception("There are not selected any render elements that can be saved. You need to select at least "
                        "one.");
    }
    if (const auto refused = checkWritableFormat(output, format)) throw Exception(*refused);
    LUMORA_ASSERT(first() != nullptr);

    // Each picture is written whole or not at all (the writer renames a finished temporary file
    // into place); when one element fails, the pictures of the elements before it stay.
    for (const ElementInfo& element : elements) {
        const Bucket region = first()->getRegion();
        const auto bitmap = first()->compute(element, region, 1.f, IOperator::ComputeUpdate);
        if (!bitmap) {
            throw Exception("Unable to retrieve output image data of the \"" + toDisplayName(element.name) +
                            "\" render element.");
        }
        const Picture picture{*bitmap, keepsAlpha(element, region)};
        const std::filesystem::path file = elements.size() < 2 ? output : elementFileName(output, element);
        const auto saved = saver(file, picture, element.has(ElementFlag::RawData));
        if (!saved) throw Exception(saved.error());
        reportStep();
    }

    reportProgress(1.f);
    reportInfo("Image \"" + output.string() + "\" has been successfully saved.");
}

}  // namespace lumora
