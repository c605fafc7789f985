#include "lumora/pipeline/save_separate_operator.hpp"

#include <cstring>
#include <memory>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/temporary_files.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/image/channel_image.hpp"
#include "lumora/image/exr_loader.hpp"

namespace lumora {

namespace {

bool isSavable(const ElementInfo& element) {
    return (element.layout == ElementLayout::Rgb || element.layout == ElementLayout::Rgba) &&
           !element.has(ElementFlag::Hidden);
}

std::string fileFailure(int error, const std::filesystem::path& file) {
    return rewriteExrErrorMessage(std::string(std::strerror(error)) + ".", file);
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
    if (const auto refused = checkWritableFormat(output, format)) throw Exception(*refused);
    if (elements.empty()) {
        throw Exception("There are not selected any render elements that can be saved. You need to select at least "
                        "one.");
    }
    LUMORA_ASSERT(first() != nullptr);

    // With several elements every picture goes to a hidden temporary file first and they are
    // renamed into place together once all of them are written: a run that fails on one element
    // leaves none of the new files and keeps the earlier ones.
    std::vector<std::pair<std::unique_ptr<io::TemporaryFile>, std::filesystem::path>> written;
    for (const ElementInfo& element : elements) {
        const Bucket region = first()->getRegion();
        const auto bitmap = first()->compute(element, region, 1.f, IOperator::ComputeUpdate);
        if (!bitmap) {
            throw Exception("Unable to retrieve output image data of the \"" + toDisplayName(element.name) +
                            "\" render element.");
        }
        const Picture picture{*bitmap, keepsAlpha(element, region)};
        const std::filesystem::path file = elements.size() < 2 ? output : elementFileName(output, element);
        std::filesystem::path target = file;
        if (elements.size() > 1) {
            const auto created = io::createTemporarySibling(file, file.extension().native());
            if (!created) throw Exception(fileFailure(created.error(), file));
            written.emplace_back(std::make_unique<io::TemporaryFile>(*created), file);
            target = *created;
        }
        const auto saved = saver(target, picture, element.has(ElementFlag::RawData));
        if (!saved) throw Exception(text::replaceAll(saved.error(), target.string(), file.string()));
        reportStep();
    }
    for (auto& [temporary, file] : written) {
        if (const int error = temporary->commit(file)) throw Exception(fileFailure(error, file));
    }

    reportProgress(1.f);
    reportInfo("Image \"" + output.string() + "\" has been successfully saved.");
}

}  // namespace lumora
