#pragma once
// The raster picture formats that outputs are named by, and what each one can hold.
//
// A format is chosen by the output file's extension (any letter case). The enumeration's values
// and names are the program's own and are never renumbered.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

namespace lumora {

enum class ImageFormat : int {
    Bmp = 0,
    Png = 1,
    Jpg = 2,
    Exr = 3,
    Gif = 4,
    Tga = 5,
    Tiff = 6,
    Hdr = 7,
    Cin = 8,
    Dds = 9,
    Ico = 10,
    Iff = 11,
    Jp2 = 12,
    Psd = 13,
    Rla = 14,
    Sgi = 15,
};

// The pixel format a save asks for; Default lets each format take its usual one.
enum class SavePixelFormat : std::int32_t {
    Default = 0,
    Uint8Rgb = 1,
    Uint16Rgb = 2,
    Flt16LinearRgb = 4,
    Flt32LinearRgb = 8,
};

struct ImageSaveSettings {
    SavePixelFormat pixelFormat = SavePixelFormat::Default;
    // Tags the file with the writing program and, for colour pictures, the colour space their
    // values are in, where the format has a place for them.
    bool writeMetadata = true;
};

// How a file stores the values.
enum class SampleType { Uint8, Uint16, Half, Float };

struct ImageFormatTraits {
    std::string_view name;    // "png": the enumeration's name
    std::string_view writer;  // OpenImageIO's writer; empty for a format that can only be read
    bool alpha;               // the file keeps an alpha channel
    SampleType sample;        // what a Default save writes
    bool uint16;              // a 16-bit save is possible
    bool float32;             // a 32-bit float save is possible (formats of float values)
};

// The format named by the path's extension, in any letter case; nothing for no extension or an
// unknown one. Besides the enumeration's names, "jpeg", "jpe", "tif", "rgb", "rgba" and "bw"
// (SGI) are recognised.
std::optional<ImageFormat> getImageFormatFromFileName(const std::filesystem::path& path);

const ImageFormatTraits& imageFormatTraits(ImageFormat format);

// What a save with the requested pixel format writes in the format. 8-bit and 16-bit requests
// get that depth where the format has it; float requests get half or float in formats of float
// values and the deepest integer type elsewhere; Default gets the format's usual type.
SampleType chooseSampleType(ImageFormat format, SavePixelFormat requested);

}  // namespace lumora
