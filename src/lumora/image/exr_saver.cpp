#include "lumora/image/exr_saver.hpp"

#include <OpenEXR/ImfBoxAttribute.h>
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfDoubleAttribute.h>
#include <OpenEXR/ImfFloatAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <OpenEXR/ImfThreading.h>
#include <OpenEXR/ImfVecAttribute.h>


#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_streams.hpp"

namespace lumora {

namespace {

constexpr const char* kEmptyChannelName = "File channels must have non-empty names.";
constexpr const char* kOutOfMemory = "There is not enough memory to write the image.";

// The header's names are 8-bit texts: UTF-16 units that fit a byte are kept, others become "_".
std::string toEightBit(const std::string& name) {
    std::string out;
    for (const char16_t unit : text::toUtf16(name)) {
        out += unit <= 0xFF ? static_cast<char>(unit) : '_';
    }
    return out;
}

const std::string& requireUtf8(const std::string& value) {
    if (!text::isValidUtf8(value)) {
        throw Exception("String value \"" + value + "\" cannot be encoded to UTF-8.");
    }
    return value;
}

// The exclusive maximum becomes the file's inclusive one (wrapping, never overflowing).
int inclusive(int exclusiveMax) { return static_cast<int>(static_cast<unsigned>(exclusiveMax) - 1u); }

Imath::Box2i toBox(const Bucket& bucket) {
    return {{bucket.min.x, bucket.min.y}, {inclusive(bucket.max.x), inclusive(bucket.max.y)}};
}

// Images from the reader and the merge always carry both windows. Without a Bucket "dataWindow"
// the data window lies at the origin, sized like the channels; without a Bucket "displayWindow"
// the display window equals the data window.
Bucket dataWindowOf(const ChannelImage& image) {
    if (const auto* data = image.getAttribute<Bucket>(names::dataWindow)) {
        return data->value;
    }
    if (image.channels().empty()) {
        return {};
    }
    const IChannel& first = *image.channels().begin()->second;
    return {{0, 0}, {first.getWidth(), first.getHeight()}};
}

Imf::Header makeHeader(const ChannelImage& image, const Bucket& dataWindow) {
    const auto* display = image.getAttribute<Bucket>(names::displayWindow);
    return Imf::Header(toBox(display ? display->value : dataWindow), toBox(dataWindow), 1.0f, Imath::V2f(0.0f, 0.0f),
                       1.0f, Imf::INCREASING_Y, Imf::ZIP_COMPRESSION);
}

void insertAttribute(Imf::Header& header, const std::string& name, const IAttribute& attribute) {
    if (const auto* a = dynamic_cast<const Attribute<std::string>*>(&attribute)) {
        header.insert(name, Imf::StringAttribute(requireUtf8(a->value)));
    } else if (const auto* a = dynamic_cast<const Attribute<int>*>(&attribute)) {
        header.insert(name, Imf::IntAttribute(a->value));
    } else if (const auto* a = dynamic_cast<const Attribute<float>*>(&attribute)) {
        header.insert(name, Imf::FloatAttribute(a->value));
    } else if (const auto* a = dynamic_cast<const Attribute<double>*>(&attribute)) {
        header.insert(name, Imf::DoubleAttribute(a->value));
    } else if (const auto* a = dynamic_cast<const Attribute<Pixel>*>(&attribute)) {
        header.insert(name, Imf::V2iAttribute(Imath::V2i(a->value.x, a->value.y)));
    } else if (const auto* a = dynamic_cast<const Attribute<Bucket>*>(&attribute)) {
        header.insert(name, Imf::Box2iAttribute(toBox(a->value)));
    } else if (const auto* a = dynamic_cast<const Attribute<Rgb>*>(&attribute)) {
        header.insert(name, Imf::V3fAttribute(Imath::V3f(a->value.r, a->value.g, a->value.b)));
    }
}

void addAttributes(Imf::Header& header, const ChannelImage& image) {
    for (const auto& [imageName, attribute] : image.attributes()) {
        const std::string name = toEightBit(imageName);
        // Keeps the windows, the fixed values and OpenEXR's own attributes the header already has.
        // The part type read from a deep or tiled file describes that file's layout; this writer's
        // file is always a flat scan-line one, so the type is never copied.
        if (header.find(name) == header.end() && name != "type") {
            insertAttribute(header, name, *attribute);
        }
    }
}

Imf::FrameBuffer addChannels(Imf::Header& header, const ChannelImage& image, const Bucket& data) {
    const Imath::Box2i window = header.dataWindow();
    Imf::FrameBuffer frameBuffer;
    for (const auto& [name, channel] : image.channels()) {
        requireUtf8(name);
        if (name.empty()) {
            throw Exception(kEmptyChannelName);
        }
        // Slices read width x height values from the channel.
        LUMORA_ASSERT(channel->getWidth() == data.width() && channel->getHeight() == data.height());
        Imf::PixelType type;
        const void* values;
        if (const auto* f = dynamic_cast<const Channel<float>*>(channel.get())) {
            type = Imf::FLOAT;
            values = f->data.data();
        } else if (const auto* u = dynamic_cast<const Channel<unsigned int>*>(channel.get())) {
            type = Imf::UINT;
            values = u->data.data();
        } else {
            LUMORA_STOP();
        }
        header.channels().insert(name, Imf::Channel(type));
        frameBuffer.insert(name, Imf::Slice::Make(type, values, window, 4, 4 * static_cast<std::size_t>(data.width())));
    }
    return frameBuffer;
}

}  // namespace

std::expected<bool, std::string> ExrSaver::save(const ChannelImage& image, const std::filesystem::path& path) {
    std::lock_guard lock(exrIoMutex());
    try {
        setExrThreadCount(multithreaded_);
        const Bucket dataWindow = dataWindowOf(image);
        Imf::Header header = makeHeader(image, dataWindow);
        addAttributes(header, image);
        const Imf::FrameBuffer frameBuffer = addChannels(header, image, dataWindow);

        ExrOStreamAdapter stream(path);
        {
            Imf::OutputFile file(stream, header, Imf::globalThreadCount());
            file.setFrameBuffer(frameBuffer);
            file.writePixels(dataWindow.height());
        }
        stream.commit();
        return true;
    } catch (...) {
        return std::unexpected(describeExrFailure(std::current_exception(), kOutOfMemory, path));
    }
}

}  // namespace lumora
