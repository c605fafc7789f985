#pragma once
// What an OpenEXR file's headers claim about its pixel data, checked against the bytes the file
// holds before OpenEXR or the reader allocates anything by those claims.
//
// OpenEXR sizes its chunk tables, line buffers and tile buffers, and the reader its channels, from
// the data window, the channel list, the compression and the tile description. A damaged header
// can claim terabytes from a few bytes; such a file is refused here with a message, so that memory
// stays bounded by the file's size and the image it really holds.

#include <OpenEXR/ImfIO.h>

#include <cstdint>

namespace lumora {

// Walks every header of the file (every part of a multi-part file) from the stream's start without
// trusting any size in it. Throws Iex::InputExc naming what is wrong, or the program's Exception
// for an empty data window of the part that is read (the first). Headers that OpenEXR itself
// refuses (other versions, unknown flags, missing attributes) are left for OpenEXR to report.
void checkExrHeaderClaims(Imf::IStream& stream, std::uint64_t fileSize);

// The message of a header whose claims exceed the file.
inline constexpr const char* kExrDamagedClaims = "File is damaged: its header claims more pixel data than the file holds.";

}  // namespace lumora
