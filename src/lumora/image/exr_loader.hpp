#pragma once
// Reads one OpenEXR file (plain EXR or LXR) into a ChannelImage.
//
// Header attributes of the types string, int, float, double, v2i, box2i and v3f become image
// attributes of the same name (box2i maxima become exclusive); every channel becomes a float
// channel (HALF and FLOAT) or an unsigned channel (UINT) of the data window's size. As OpenEXR's
// InputFile does, a multi-part file is read through its first part, tiled files through their
// full-resolution level, and deep scan-line data is composited into flat pixels. Whether the
// result is an LXR is decided afterwards from its attributes (isLumoraExr).

#include <OpenEXR/ImfIO.h>

#include <cstdint>
#include <exception>
#include <expected>
#include <filesystem>
#include <string>
#include <string_view>

#include "lumora/image/channel_image.hpp"

namespace lumora {

class ExrLoader {
public:
    // Multithreaded loads decode on OpenEXR's worker threads, the others in the calling thread.
    explicit ExrLoader(bool multithreaded = true) : multithreaded_(multithreaded) {}
    virtual ~ExrLoader() = default;

    // The image, or the reason it cannot be read. Files that are not OpenEXR, damaged or
    // truncated files and images too large for this computer are refused with a message. Loads
    // and saves of the whole process run one at a time.
    virtual std::expected<ChannelImage, std::string> load(const std::filesystem::path& path);
    // The same from an open stream of size bytes; messages name the stream's file name.
    std::expected<ChannelImage, std::string> loadStream(Imf::IStream& stream, std::uint64_t size);

    bool isMultithreaded() const { return multithreaded_; }
    void setMultithreaded(bool multithreaded) { multithreaded_ = multithreaded; }

private:
    ChannelImage read(Imf::IStream& stream, std::uint64_t size) const;

    bool multithreaded_;
};

// Turns the text of an error raised by OpenEXR or a file stream into a message that names the
// file: forward-slash spellings of the path become native, a single-quoted path is double-quoted,
// a message that does not name the path is prefixed with it, OpenEXR's "File is not an image
// file." becomes "File is not a supported image file.", and the message ends with a full stop.
// An empty message reads "Unknown error has occurred.".
std::string rewriteExrErrorMessage(std::string_view message, const std::filesystem::path& path);

// The message with the file named in front ("Cannot operate with image file \"<path>\". "), unless
// it already quotes the path or the path is empty.
std::string nameImageFile(const std::string& message, const std::filesystem::path& path);

// The message for what a read or write of path threw: the program's own messages as they are,
// OpenEXR's and the stream's rewritten as above, running out of memory as outOfMemory.
std::string describeExrFailure(std::exception_ptr error, std::string_view outOfMemory,
                               const std::filesystem::path& path);

}  // namespace lumora
