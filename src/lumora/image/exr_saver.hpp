#pragma once
// Writes a ChannelImage to one single-part, scan-line, ZIP-compressed OpenEXR file.
//
// Float channels are written as FLOAT (never HALF), unsigned channels as UINT; attributes of the
// types string, int, float, double, Pixel, Bucket and Rgb are written under their names (with
// "_" for characters that have no 8-bit form) unless the header already holds that name. What
// makes the file an LXR is only the set of attributes the image carries.

#include <expected>
#include <filesystem>
#include <string>

#include "lumora/image/channel_image.hpp"

namespace lumora {

class ExrSaver {
public:
    // Multithreaded saves encode on OpenEXR's worker threads, the others in the calling thread.
    explicit ExrSaver(bool multithreaded = true) : multithreaded_(multithreaded) {}
    virtual ~ExrSaver() = default;

    // True, or the reason the image could not be written. The file appears only once it is
    // complete: a failed save leaves no partial file and keeps an earlier file of that name.
    // Channels must have the data window's size. An image without a Bucket "dataWindow" is
    // written with the data window at the origin, sized like its channels; without a Bucket
    // "displayWindow", with the display window equal to the data window. Loads and saves of the
    // whole process run one at a time.
    virtual std::expected<bool, std::string> save(const ChannelImage& image, const std::filesystem::path& path);

    bool isMultithreaded() const { return multithreaded_; }
    void setMultithreaded(bool multithreaded) { multithreaded_ = multithreaded; }

private:
    bool multithreaded_;
};

}  // namespace lumora
