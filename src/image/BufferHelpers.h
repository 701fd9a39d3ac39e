#pragma once
// Replacing one picture reference by a copy, a crop or a scaled version of a picture, the common
// size of the two stereo views, and the splitting of row-interleaved frames.
//
// emptyOld = true empties the replaced picture at once for every holder of it; pass it only where
// nobody else still uses the old picture.

#include <array>
#include <cstdint>

#include "image/Picture.h"

namespace qv {

// destination := source.CopyOf(). With emptyOld the picture that destination referred to, if any,
// is emptied first. Nothing when the copy fails; an empty source raises the object-not-set error.
void CopyDIB(const PictureRef& source, PictureRef& destination, bool emptyOld);
// destination := source.Crop(newHeight, newWidth, newLeft, newTop), with emptyOld as above.
void CropDIB(const PictureRef& source, PictureRef& destination, int32_t newHeight, int32_t newWidth,
             int32_t newLeft, int32_t newTop, bool emptyOld);
// buffer := buffer.Resample(newHeight, newWidth, interpolate); the old picture is always emptied.
void ResampleDIB(PictureRef& buffer, int32_t newHeight, int32_t newWidth, bool interpolate);

// The picture in a slot, creating an empty one when the slot is still empty.
Picture& AutoCreate(PictureRef& slot);

// The smaller Height / Width of two stereo views (empty slots get an empty picture first).
int32_t MinViewHeight(std::array<PictureRef, 2>& views);
int32_t MinViewWidth(std::array<PictureRef, 2>& views);

// Splits a row-interleaved 24-bit frame: the first half of the destination rows holds the even
// source rows, the second half the odd ones. Rows are 3 x width bytes back to back (no padding),
// counted in memory order; for an odd height the last source row is not copied.
void DeinterleaveRows(uint8_t* destination, const uint8_t* source, int32_t width, int32_t height);

}  // namespace qv
