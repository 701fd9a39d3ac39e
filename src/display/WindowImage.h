#pragma once
// Frames on their way to the window system: a 24-bit bottom-up picture becomes a 32-bit top-down
// image in the window system's own pixel format (0xffRRGGBB, QImage::Format_RGB32), so that
// painting it is a plain copy and Qt's scalers run on their fastest path.

#include <QImage>

#include "image/Canvas.h"

namespace qv {

// Converts grid into image, reusing image's memory when it already has grid's size and format.
// An empty grid gives a null image; so does a failed allocation.
void ToWindowImage(const PixelGrid& grid, QImage& image);
// One row of `width` 24-bit pixels (blue, green, red) as opaque 0xffRRGGBB words.
void ToOpaqueRow(const uint8_t* source, uint32_t* dest, int32_t width);

}  // namespace qv
