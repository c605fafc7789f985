#include "lumora/pipeline/load_operator.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "lumora/foundation/application_context.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/region_sampling.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/image/accumulator.hpp"
#include "lumora/image/exr_loader.hpp"
#include "lumora/image/property_attributes.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

namespace {

std::string mismatchedWeightsMessage() {
    return std::string(
               "Number of specified weights is mismatched with number of input images.\n\nYou can either set no "
               "weight at all which will lead to a default (%") +
           names::weights +
           ") for all input images, or set only one weight to actually change the default, or set same number of "
           "weights as the number of input images.";
}

std::string doesNotFitMessage(const std::filesystem::path& path) {
    return "Image \"" + path.string() +
           "\" does not fit within the merged output image.\n\nThe first image loaded for merging defines the "
           "dimensions of the output image. All other images to be merged have to fit within those dimensions, "
           "otherwise they are not compatible for the merging.";
}

// Virtual elements are computed on demand; a file that stores one is refused.
void checkNoStoredVirtualElements(const std::vector<ElementInfo>& elements) {
    for (const ElementInfo& element : elements) {
        if (element.name == kLightMixInteractive || element.name == kBloomAndGlareInteractive) {
            throw Exception("Render element \"" + element.name +
                            "\" is expected to be virtual and computed in real time. It shall not be physically "
                            "stored.");
        }
    }
}

std::filesystem::path suggestOutput(const std::filesystem::path& input) {
    const std::string text = input.string();
    const auto dot = text.rfind('.');
    const std::string base = dot == std::string::npos ? text : text.substr(0, dot);
    const std::string extension = dot == std::string::npos ? "lxr" : text.substr(dot + 1);
    return base + "_Post." + extension;
}

// Which source pixel each output pixel of a scaled region takes.
struct Sampling {
    std::vector<int> columns;
    std::vector<int> rows;
};

std::optional<Sampling> makeSampling(const Bucket& region, float scale, Pixel imageSize) {
    if (region.isEmpty() || !(scale > 0.f) || !std::isfinite(scale)) return std::nullopt;
    if (!Bucket{Pixel::ZERO, imageSize}.contains(region)) return std::nullopt;
    const auto axis = [scale](int first, int length) {
        const int count = sampledExtent(length, scale, SampledExtent::RoundDown).value_or(0);
        std::vector<int> sources(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) sources[static_cast<std::size_t>(i)] = first + sampledSource(i, scale, length);
        return sources;
    };
    Sampling sampling{axis(region.min.x, region.width()), axis(region.min.y, region.height())};
    if (sampling.columns.empty() || sampling.rows.empty()) return std::nullopt;
    return sampling;
}

bool hasSize(const Channel<float>* channel, Pixel size) {
    return channel && channel->width == size.x && channel->height == size.y;
}

}  // namespace

std::string missingWeightChannelMessage(const std::filesystem::path& path, const std::string& channel) {
    std::string message = "Image \"" + path.string() + "\" is missing channel \"" + channel +
                          "\", expected to contain pixel weights.\n\nFor each pixel to be merged its weight is "
                          "required. For this purpose mergeable images store a special weight channel defining a "
                          "weight of each pixel of the image. By default Lumora Renderer names this channel \"" +
                          names::weights + "\".";
    const auto context = getApplicationContext();
    if (context && context->getApplicationType() == ApplicationType::CommandLineInterface) {
        message +=
            "\n\nIf the weight channel exists but with a different name than the expected default, please "
            "explicitly specify the channel name - see help (" +
            utils::getExecutableFilePath().filename().string() +
            " -h) for how to do this. The other available option is to specify a constant weight for all "
            "pixels.";
    }
    return message;
}

void cleanNaNs(ChannelImage& image) {
    std::vector<Channel<float>*> channels;
    for (auto& [name, channel] : image.channels()) {
        if (auto* values = dynamic_cast<Channel<float>*>(channel.get())) channels.push_back(values);
    }
    scheduler::parallelFor(0, static_cast<std::int64_t>(channels.size()), 1, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t c = begin; c < end; ++c) {
            // Compared on the bits: a NaN has magnitude bits above those of infinity. This also
            // holds where the compiler is allowed to assume that no NaN exists.
            for (float& value : channels[static_cast<std::size_t>(c)]->data) {
                std::uint32_t bits = 0;
                std::memcpy(&bits, &value, sizeof bits);
                if ((bits & 0x7fffffffu) > 0x7f800000u) value = 0.f;
            }
        }
    });
}

LoadOperator::LoadOperator() : imageLoader_([](const std::filesystem::path& path) { return ExrLoader().load(path); }) {}

LoadOperator::~LoadOperator() { stopWorker(); }

void LoadOperator::setInputs(std::vector<WeightDescriptor> weights, std::vector<std::filesystem::path> paths) {
    {
        std::lock_guard lock(inputsMutex_);
        weights_ = std::exchange(weights, {});
        paths_ = std::exchange(paths, {});
    }
    start("LoadOperator");
}

void LoadOperator::setImageLoader(ImageLoader loader) {
    std::lock_guard lock(inputsMutex_);
    imageLoader_ = std::move(loader);
}

void LoadOperator::setElementFlag(std::uint32_t flag, const std::vector<std::string>& names) {
    std::unique_lock lock(outputMutex_);
    for (ElementInfo& element : elements_) {
        if (std::find(names.begin(), names.end(), element.name) != names.end()) {
            element.flags |= flag;
        } else {
            element.flags &= ~flag;
        }
    }
    elementsTime_ = currentTimestamp();
}

std::vector<std::filesystem::path> LoadOperator::getLoadedPaths() const {
    std::shared_lock lock(outputMutex_);
    return loadedPaths_;
}

std::filesystem::path LoadOperator::getSuggestedOutput() const {
    std::shared_lock lock(outputMutex_);
    return suggestedOutput_;
}

// Images without the window attributes (made in memory) count as one window at the origin.
Bucket LoadOperator::window(const char* name) const {
    std::shared_lock lock(outputMutex_);
    if (image_.channels().empty()) return {};
    if (const auto* stored = image_.getAttribute<Bucket>(name)) return stored->value;
    return Bucket{Pixel::ZERO, image_.getSize()};
}

Bucket LoadOperator::getImageRect() const { return window(names::displayWindow); }
Bucket LoadOperator::getRegion() const { return window(names::dataWindow); }

std::optional<Bitmap<Float4>> LoadOperator::compute(const ElementInfo& element, const Bucket& region, float scale,
                                                    unsigned /*flags*/) {
    std::shared_lock lock(outputMutex_);
    const Pixel size = image_.getSize();
    std::array<const Channel<float>*, 4> channels{};
    const std::array<const char*, 4> components{names::R, names::G, names::B, names::A};
    for (std::size_t c = 0; c < channels.size(); ++c) {
        channels[c] = image_.getChannel<float>(channelName(element.name, components[c]));
        if (c < 3 && !hasSize(channels[c], size)) return std::nullopt;
    }
    if (!hasSize(channels[3], size)) channels[3] = nullptr;
    const auto sampling = makeSampling(region, scale, size);
    if (!sampling) return std::nullopt;

    const int width = static_cast<int>(sampling->columns.size());
    const int height = static_cast<int>(sampling->rows.size());
    Bitmap<Float4> bitmap(width, height);
    scheduler::parallelFor(0, height, 16, [&](std::int64_t y0, std::int64_t y1) {
        for (std::int64_t y = y0; y < y1; ++y) {
            const int sourceRow = sampling->rows[static_cast<std::size_t>(y)];
            const float* r = channels[0]->row(sourceRow);
            const float* g = channels[1]->row(sourceRow);
            const float* b = channels[2]->row(sourceRow);
            const float* a = channels[3] ? channels[3]->row(sourceRow) : nullptr;
            Float4* out = bitmap.row(static_cast<int>(y));
            for (int x = 0; x < width; ++x) {
                const int s = sampling->columns[static_cast<std::size_t>(x)];
                out[x] = Float4(r[s], g[s], b[s], a ? a[s] : 1.f);
            }
        }
    });
    return bitmap;
}

std::optional<Bitmap<float>> LoadOperator::computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                                       unsigned /*flags*/) {
    std::shared_lock lock(outputMutex_);
    const Pixel size = image_.getSize();
    const Channel<float>* channel = image_.getChannel<float>(element.name);
    if (!hasSize(channel, size)) return std::nullopt;
    const auto sampling = makeSampling(region, scale, size);
    if (!sampling) return std::nullopt;

    const int width = static_cast<int>(sampling->columns.size());
    const int height = static_cast<int>(sampling->rows.size());
    Bitmap<float> bitmap(width, height);
    scheduler::parallelFor(0, height, 16, [&](std::int64_t y0, std::int64_t y1) {
        for (std::int64_t y = y0; y < y1; ++y) {
            const float* in = channel->row(sampling->rows[static_cast<std::size_t>(y)]);
            float* out = bitmap.row(static_cast<int>(y));
            for (int x = 0; x < width; ++x) out[x] = in[sampling->columns[static_cast<std::size_t>(x)]];
        }
    });
    return bitmap;
}

std::optional<RenderElementInfo> LoadOperator::findRenderElementInfo(const std::string& displayName) const {
    std::shared_lock lock(outputMutex_);
    return image_.findRenderElementInfo(displayName);
}

std::vector<ElementInfo> LoadOperator::getElementInfos() const {
    std::shared_lock lock(outputMutex_);
    return elements_;
}

std::int64_t LoadOperator::getElementsTimestamp() const {
    std::shared_lock lock(outputMutex_);
    return elementsTime_;
}

void LoadOperator::run() {
    reportProgressText("Loading progress");
    reportProgress(0.f);

    std::vector<WeightDescriptor> weights;
    std::vector<std::filesystem::path> paths;
    {
        std::lock_guard lock(inputsMutex_);
        if (paths_.empty()) throw Exception("At least one input image path is expected.");
        if (weights_.empty()) weights_.push_back(WeightDescriptor::channel(names::weights));
        if (weights_.size() == 1 && paths_.size() > 1) weights_.assign(paths_.size(), weights_.front());
        if (weights_.size() != paths_.size()) throw Exception(mismatchedWeightsMessage());
        weights = weights_;
        paths = paths_;
    }

    ChannelImage image = paths.size() == 1 ? loadSingle(paths.front()) : merge(weights, paths);
    cleanNaNs(image);
    std::vector<ElementInfo> elements = image.listElements();
    checkNoStoredVirtualElements(elements);
    reportStep();

    {
        std::unique_lock lock(outputMutex_);
        image_ = std::move(image);
        elements_ = std::move(elements);
        elementsTime_ = currentTimestamp();
        weightsUsed_.clear();
        loadedPaths_ = paths;
        suggestedOutput_ = suggestOutput(paths.front());
    }
    {
        std::shared_lock lock(outputMutex_);
        copyStoredSettings(image_);
    }

    reportProgressText("");
    reportProgress(1.f);
}

ChannelImage LoadOperator::loadSingle(const std::filesystem::path& path) const {
    ImageLoader loader;
    {
        std::lock_guard lock(inputsMutex_);
        loader = imageLoader_;
    }
    auto loaded = loader(path);
    if (!loaded) throw Exception(loaded.error());
    return std::move(*loaded);
}

ChannelImage LoadOperator::merge(const std::vector<WeightDescriptor>& weights,
                                 const std::vector<std::filesystem::path>& paths) const {
    ImageLoader loader;
    {
        std::lock_guard lock(inputsMutex_);
        loader = imageLoader_;
    }
    Accumulator accumulator(names::weights, [this](const std::string& text) { reportWarning(text); });
    for (std::size_t i = 0; i < paths.size(); ++i) {
        auto loaded = loader(paths[i]);
        if (!loaded) throw Exception(loaded.error());
        if (i > 0 && !accumulator.fits(*loaded)) throw Exception(doesNotFitMessage(paths[i]));
        if (weights[i].isChannel() && !loaded->getChannel<float>(weights[i].getChannelName())) {
            throw Exception(missingWeightChannelMessage(paths[i], weights[i].getChannelName()));
        }
        accumulator.add(std::move(*loaded), weights[i]);
        reportStep();
    }
    return accumulator.finish();
}

void LoadOperator::copyStoredSettings(const ChannelImage& image) const {
    if (!settings_) return;
    // Every post-processing property gets the input's value or the default, so nothing of an
    // earlier load survives; the command line's overrides come afterwards.
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& descriptor) {
        if (!descriptor.hasFlag(PropertyDescriptor::PostProcessing)) return;
        const auto stored = readPropertyAttribute(image, descriptor);
        settings_->set(descriptor.id, stored ? *stored : descriptor.defaultValue);
    });
}

}  // namespace lumora
