#include "lumora/pipeline/save_lxr_operator.hpp"

#include <algorithm>
#include <array>

#include "lumora/foundation/exception.hpp"
#include "lumora/image/exr_saver.hpp"
#include "lumora/image/property_attributes.hpp"
#include "lumora/pipeline/load_operator.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

namespace {

bool isSavable(const ElementInfo& element) {
    return (element.layout == ElementLayout::Rgb || element.layout == ElementLayout::Rgba) &&
           !element.has(ElementFlag::Hidden) && !element.has(ElementFlag::Virtual);
}

bool isVirtualName(const std::string& element) {
    return element == kLightMixInteractive || element == kBloomAndGlareInteractive;
}

// The element a channel belongs to: the text before its last ".", the beauty's bare R, G, B, A
// belonging to the beauty.
std::string elementOfChannel(const std::string& channel) {
    const auto dot = channel.rfind('.');
    if (dot != std::string::npos) return channel.substr(0, dot);
    if (channel == names::R || channel == names::G || channel == names::B || channel == names::A) return names::beauty;
    return channel;
}

std::vector<std::string> colorChannelNames(const std::string& element, bool alpha) {
    std::vector<std::string> result{channelName(element, names::R), channelName(element, names::G),
                                    channelName(element, names::B)};
    if (alpha) result.push_back(channelName(element, names::A));
    return result;
}

void copyChannels(const ChannelImage& source, const std::vector<std::string>& channels, ChannelImage& target) {
    for (const std::string& name : channels) {
        const auto it = source.channels().find(name);
        if (it != source.channels().end()) target.addChannel(it->second->clone());
    }
}

// The record that describes a stored element: by type for the beauty, else by name.
bool describes(const RenderElementInfo& record, const std::string& element) {
    if (element == names::beauty) return record.type.is(RenderElement::Beauty);
    return record.name == element;
}

void writeDenoised(const Bitmap<Float4>& bitmap, const ElementInfo& element, ChannelImage& image) {
    const Pixel size = image.getSize();
    LUMORA_ASSERT(bitmap.width() == size.x && bitmap.height() == size.y);
    const std::string name = std::string(names::denoised) + element.name;
    const auto channels = colorChannelNames(name, element.layout == ElementLayout::Rgba);
    for (std::size_t c = 0; c < channels.size(); ++c) {
        auto channel = std::make_unique<Channel<float>>(channels[c], size.x, size.y);
        const Float4* in = bitmap.data();
        for (float& value : channel->data) value = (*in++)[static_cast<int>(c)];
        image.addChannel(std::move(channel));
    }
}

// What a reader needs to recognise the file as LXR; a plain EXR input gets zero statistics.
void ensureLumoraExrMarkers(ChannelImage& image) {
    if (isLumoraExr(image)) return;
    image.setAttribute<int>(names::isLumoraExr, 1);
    for (const char* name : {names::statsPasses, names::statsTime, names::statsRaysPerSecond}) {
        if (!image.getAttribute<int>(name)) image.setAttribute<int>(name, 0);
    }
    if (!image.getAttribute<float>(names::statsRaysPerSample))
        image.setAttribute<float>(names::statsRaysPerSample, 0.f);
}

}  // namespace

SaveLxrOperatorBase::SaveLxrOperatorBase()
    : writer_(
          [](const ChannelImage& image, const std::filesystem::path& path) { return ExrSaver().save(image, path); }) {}

void SaveLxrOperatorBase::wire(LoadOperator* load, IOperator* denoise) {
    load_ = load;
    setDependency(0, load);
    setDependency(1, denoise);
    setImageInfo(load);
}

void SaveLxrOperatorBase::setImageWriter(ImageWriter writer) {
    std::lock_guard lock(lock_);
    writer_ = std::move(writer);
}

std::vector<ElementInfo> SaveLxrOperatorBase::getElements() const {
    return first() ? first()->getElements() : std::vector<ElementInfo>{};
}

std::optional<Bitmap<Float4>> SaveLxrOperatorBase::compute(const ElementInfo& element, const Bucket& region,
                                                           float scale, unsigned flags) {
    return first() ? first()->compute(element, region, scale, flags) : std::nullopt;
}

void SaveLxrOperatorBase::save(const IOperator::ElementSelector& selector, const std::filesystem::path& output) {
    reportProgressText("Saving progress");
    reportProgress(0.f);
    LUMORA_ASSERT(load_ && imageInfo_);

    if (output.filename().empty()) throw Exception("Well-formed output image path is expected.");

    const auto filter = IOperator::makeElementFilter(selector);
    const auto listed =
        listElements(*imageInfo_, [&](const ElementInfo& element) { return (*filter)(element) && isSavable(element); });
    if (listed.empty()) {
        if (selector.selectsAll()) throw Exception("There are no render elements that can be saved to Lumora EXR.");
        throw Exception("Render element \"" + selector.name +
                        "\" cannot be saved to Lumora EXR.\nThe element either does not exist, or saving such "
                        "element alone is not supported.");
    }

    ChannelImage image = buildImage(selector, listed);
    if (settings_) storePropertyAttributes(image, *settings_);
    ensureLumoraExrMarkers(image);

    ImageWriter writer;
    {
        std::lock_guard lock(lock_);
        writer = writer_;
    }
    const auto written = writer(image, output);
    if (!written) throw Exception(written.error());

    reportProgress(1.f);
    reportInfo("Image \"" + output.string() + "\" has been successfully saved.");
}

ChannelImage SaveLxrOperatorBase::buildImage(const IOperator::ElementSelector& selector,
                                             const std::vector<ElementInfo>& listed) {
    const bool all = selector.selectsAll();
    // Elements whose fresh denoised picture is written; a stored "Denoised" variant of the input
    // is kept only where there is none.
    std::vector<ElementInfo> denoised;
    if (IOperator* denoise = getDependency(1)) {
        for (const ElementInfo& element : denoise->getElements()) {
            const bool selected =
                std::any_of(listed.begin(), listed.end(), [&](const ElementInfo& e) { return e.name == element.name; });
            if (selected && element.has(ElementFlag::DenoisedMark)) denoised.push_back(element);
        }
    }
    const auto hasFreshResult = [&](const std::string& name) {
        return std::any_of(denoised.begin(), denoised.end(), [&](const ElementInfo& e) { return e.name == name; });
    };

    ChannelImage image;
    load_->withImage([&](const ChannelImage& source) {
        for (const auto& [name, attribute] : source.attributes()) {
            // A single element takes only its own records.
            if (all || (name != names::elements && name != names::lightmixElements)) {
                image.attributes().emplace(name, attribute->clone());
            }
        }
        if (all) {
            // The records stay as they are, in their order, so that this file and the inputs it
            // came from still agree when they are merged together; the records of the virtual
            // elements are among them, while their pixels never are.
            for (const auto& [name, channel] : source.channels()) {
                const std::string element = elementOfChannel(name);
                const bool replaced = element.starts_with(names::denoised) &&
                                      hasFreshResult(element.substr(std::string(names::denoised).size()));
                if (!isVirtualName(element) && !replaced) image.addChannel(channel->clone());
            }
            return;
        }
        // The beauty's alpha "A" is a Mono element and never listed; it goes with the Rgba beauty.
        const ElementInfo& element = listed.front();
        copyChannels(source, colorChannelNames(element.name, element.layout == ElementLayout::Rgba), image);
        if (element.has(ElementFlag::DenoisedMark) && !hasFreshResult(element.name)) {
            const std::string stored = std::string(names::denoised) + element.name;
            copyChannels(source, colorChannelNames(stored, source.hasRgba(stored)), image);
        }
        std::vector<RenderElementInfo> records;
        for (const RenderElementInfo& record : source.getRenderElementInfos()) {
            if (describes(record, element.name)) records.push_back(record);
        }
        setRenderElementInfos(image, records);
    });

    const Bucket region = wholeRegion(*getDependency(0));
    for (const ElementInfo& element : denoised) {
        if (auto bitmap = getDependency(1)->compute(element, region, 1.f, 0)) writeDenoised(*bitmap, element, image);
    }
    return image;
}

SaveLxrOperatorCli::~SaveLxrOperatorCli() { stopWorker(); }

void SaveLxrOperatorCli::start(IOperator::ElementSelector selector, std::filesystem::path output) {
    {
        std::lock_guard lock(lock_);
        selector_ = std::move(selector);
        output_ = std::move(output);
    }
    startTask("SaveLxrOperatorCli");
}

void SaveLxrOperatorCli::run() {
    IOperator::ElementSelector selector;
    std::filesystem::path output;
    {
        std::lock_guard lock(lock_);
        selector = selector_;
        output = output_;
    }
    save(selector, output);
}

SaveLxrOperator::~SaveLxrOperator() { stopWorker(); }

void SaveLxrOperator::start(std::filesystem::path output) {
    {
        std::lock_guard lock(lock_);
        output_ = std::move(output);
    }
    startTask("SaveLxrOperator");
}

void SaveLxrOperator::run() {
    std::filesystem::path output;
    {
        std::lock_guard lock(lock_);
        output = output_;
    }
    save(IOperator::ElementSelector{}, output);
}

}  // namespace lumora
