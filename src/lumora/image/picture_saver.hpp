#pragma once
// Writes one finished picture in an ordinary raster format through OpenImageIO.
//
// Conventions:
// - The picture is an RGBA float bitmap; Picture::alpha says whether its fourth lane is an alpha
//   channel to keep. Formats without alpha (JPEG, HDR) get red, green and blue only.
// - Integer formats get the values clamped to [0, 1] and rounded to the nearest step; formats of
//   float values (EXR, HDR) get them as they are. NaN is written as 0 everywhere.
// - rawData marks data that is not a colour picture (normals, depths, masks): its values are
//   written the same way but the file is not tagged as display-referred colour.
// - The file appears only once it is complete: it is written to a hidden temporary file next to
//   the target and renamed into place, so a failed save leaves no partial file and keeps an
//   earlier file of that name.

#include <expected>
#include <filesystem>
#include <optional>
#include <string>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"
#include "lumora/image/image_format.hpp"

namespace lumora {

struct Picture {
    const Bitmap<Float4>& pixels;
    bool alpha = false;
};

// Without a format, the path's extension names it. True, or the reason the picture was not
// written (an unknown or read-only format, an unwritable path, the writer's own error).
std::expected<bool, std::string> saveImage(const std::filesystem::path& path, const Picture& picture, bool rawData,
                                           std::optional<ImageFormat> format, const ImageSaveSettings& settings);

// The reason a picture cannot be saved in the format named by the path (or given), checked
// before anything is written; nothing when it can.
std::optional<std::string> checkWritableFormat(const std::filesystem::path& path,
                                               std::optional<ImageFormat> format);

}  // namespace lumora
