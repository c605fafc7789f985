#pragma once
// Rotation of an image about its centre by bilinear resampling, as the glare streaks need it.
//
// Coordinates: pixel (x, y) covers [x, x + 1) x [y, y + 1) and its centre is (x + 0.5, y + 0.5);
// the centre of a w x h image is (w / 2, h / 2). The angle turns the image's content by -angle in
// pixel coordinates (x right, y down), so a destination pixel at offset d from the destination's
// centre samples the source at R(angle) d from the source's centre.

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/geometry.hpp"

namespace lumora {

// Size of the buffer that holds the whole image turned by -angle degrees: the bounding box of
// the four turned corners, each rounded to the nearest integer, plus 4 pixels on each axis.
Pixel rotatedBufferSize(int width, int height, float angleDegrees);

// The source turned by -angle degrees into dst, both about their centres; with add, the turned
// image is added to dst instead (1 x dst + 1 x turned, the turned values rounded to the storage
// first). Only source positions strictly inside the last pixel row and column interpolate; every
// other destination pixel is zero. Storage is FloatPixels or HalfPixels (pixel_storage.hpp).
template <class Storage>
void rotateImage(BitmapView<const typename Storage::Pixel> src, float angleDegrees,
                 BitmapView<typename Storage::Pixel> dst, bool add, bool parallel);

// The same into a new width x height image.
template <class Storage>
Bitmap<typename Storage::Pixel> rotateImage(const Bitmap<typename Storage::Pixel>& src, float angleDegrees,
                                            int width, int height, bool parallel);

}  // namespace lumora
