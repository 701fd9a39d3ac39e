#pragma once
// Picture: the one picture type of the program.
//
// A 24-bit device-independent bitmap whose pixel memory is addressed directly and which is at the
// same time selected into its own memory device context, so that Blit and Stretch can copy,
// crop and scale it.
//   - Three bytes a pixel: blue, green, red. No alpha.
//   - BytesPerScanLine = (3 x Width + 3) with the two low bits cleared; padding bytes mean nothing.
//   - Rows bottom-up: memory row 0 is the bottom row. Channel c of pixel (x, memory row y) is at
//     y * BytesPerScanLine + 3x + c from Bits.
//   - Device-context operations (LoadPictureBlt, PaintPicture, Crop, CopyOf, stretching) use
//     top-down device coordinates.
//   - A new picture is all zero bytes (black).
// Members that make a picture (Resample, CanvasSize, CopyOf, Crop) return a new picture owned by
// the caller, or nothing (nullptr); they never change the source. Every member works on an empty
// picture: the getters return 0 and the copying members return nothing.
//
// CropView gives the same picture as Crop but shares the source's memory instead of copying it:
// the pixels are copied only when one of the two is written (copy on write). Every member that
// hands out writable pixels (Bits, Grid, DrawingCanvas) first gives its picture memory of its
// own, so callers always see a picture laid out as described above. ReadGrid reads without
// copying. A picture, and the pictures sharing its memory, are used by one thread at a time.

#include <cstdint>
#include <memory>
#include <string>

#include "image/BitmapFormat.h"
#include "image/Canvas.h"
#include "image/LoadedPicture.h"

namespace qv {

class Picture;
// A reference to a picture, shared like an object reference: emptying a picture (ClearUp) empties
// it for every holder.
using PictureRef = std::shared_ptr<Picture>;
using BitmapHandle = std::uintptr_t;

// Largest pixel memory a picture may have; a bigger request fails like any refused bitmap.
inline constexpr int64_t kMaxPictureBytes = int64_t{1} << 30;

class Picture {
 public:
  Picture() = default;
  ~Picture();
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  // Puts a copy of the picture on the clipboard. With asDib True it only says that it cannot and
  // returns false.
  bool CopyToClipboard(bool asDib);
  // Fills the info header for a width x height 24-bit bottom-up picture and allocates its pixel
  // memory (all zero); Handle receives the bitmap's handle. False when no bitmap could be made (a
  // size that is zero, negative or above kMaxPictureBytes, or no memory).
  bool CreateDIB(Canvas* dc, int32_t width, int32_t height, BitmapHandle& handle);
  // Makes this picture the size of `picture` and copies it in (always ending up 24-bit).
  void CreateFromPicture(const LoadedPicture& picture);
  // Empties the picture and makes a new, black width x height one. False on failure (then empty).
  bool Create(int32_t width, int32_t height);
  // Create for a caller that writes every pixel itself: the pixel memory is not cleared, which
  // saves a pass over a frame-sized buffer (the row padding is, so that saved files do not depend
  // on what the memory held).
  bool CreateToOverwrite(int32_t width, int32_t height);

  int32_t BytesPerScanLine() const { return static_cast<int32_t>(StrideFor(header_.biWidth)); }
  int32_t Width() const { return header_.biWidth; }
  int32_t Height() const { return header_.biHeight; }

  // Bit-block transfer from (srcLeft, srcTop) of source to (0, 0) of this picture; a negative
  // width or height means this picture's.
  void LoadPictureBlt(Canvas* source, int32_t srcLeft = 0, int32_t srcTop = 0, int32_t srcWidth = -1,
                      int32_t srcHeight = -1, uint32_t rop = SRCCOPY);
  // Bit-block transfer from (srcLeft, srcTop) of this picture to (destLeft, destTop) of target; a
  // negative width or height means this picture's.
  void PaintPicture(Canvas* target, int32_t destLeft = 0, int32_t destTop = 0, int32_t destWidth = -1,
                    int32_t destHeight = -1, int32_t srcLeft = 0, int32_t srcTop = 0,
                    uint32_t rop = SRCCOPY) const;

  // The device context, the bitmap handle and the pixel memory. The context and the memory may be
  // written through: a picture that shares its memory gets memory of its own first.
  Canvas* DrawingCanvas() const;
  BitmapHandle Handle() const { return handle_; }
  uint8_t* Bits() const;

  // Fills every pixel with random values (padding untouched): gray = one value for all three
  // channels; otherwise blue 0 and independent green and red.
  void RandomiseBits(bool gray);
  // Frees the pixel memory and the device context; safe on an empty picture and twice in a row.
  void ClearUp();

  // A copy scaled to newWidth x newHeight (note the order: height first). Same size: plain copy;
  // interpolate: bilinear (box average when shrinking by more than 2); enlarging: COLORONCOLOR
  // stretch; shrinking: nearest source pixel.
  PictureRef Resample(int32_t newHeight, int32_t newWidth, bool interpolate = false) const;
  // A new black picture of the given size; nothing of this one is copied.
  PictureRef CanvasSize(int32_t newHeight, int32_t newWidth) const;
  PictureRef CopyOf() const;
  // The newWidth x newHeight rectangle whose top-left corner is (newLeft, newTop) in device
  // coordinates; parts outside this picture stay black. Nothing for pictures smaller than 2 x 2.
  PictureRef Crop(int32_t newHeight, int32_t newWidth, int32_t newLeft = 0, int32_t newTop = 0) const;
  // The same picture as Crop, sharing this picture's memory until one of the two is written. A
  // rectangle that is not wholly inside this picture is cut as Crop cuts it.
  PictureRef CropView(int32_t newHeight, int32_t newWidth, int32_t newLeft = 0, int32_t newTop = 0) const;
  // `left` and `right` side by side as one picture sharing their memory, when they are views that
  // lie side by side in one picture's memory (as the two halves of a side-by-side frame do);
  // nothing otherwise.
  static PictureRef JoinedView(const Picture& left, const Picture& right);
  // Writes an uncompressed 24-bit BMP file of exactly 54 + image size bytes. Raises error 17
  // (source "quorvex.cDIBSection256", the system's text) when the file cannot be created; returns
  // false when a write fails (the partly written file stays).
  bool SavePicture(const std::string& fileName) const;

  const BitmapInfoHeader& InfoHeader() const { return header_; }
  // The pixel memory as a writable grid with this picture's own layout; an empty grid for an empty
  // picture.
  PixelGrid Grid() const;
  // The pixels for reading only, without copying: a view answers with the memory it shares and
  // that memory's row stride. Valid until this picture or one sharing its memory is written,
  // emptied or re-created.
  PixelGrid ReadGrid() const;
  // The pixel memory for a caller about to overwrite every pixel: memory shared with another
  // picture is replaced by memory of this picture's own without copying the old pixels.
  uint8_t* BitsForOverwrite();
  // Whether this picture's memory is shared with another picture.
  bool SharesMemory() const;

 private:
  bool Allocate(int32_t width, int32_t height, bool cleared);
  void ResampleInto(Picture& dest, bool interpolate) const;
  static std::string SystemErrorText(int code);
  static bool WriteFailed(bool ok, int64_t asked, int64_t written);

  struct Memory;
  // Gives this picture memory of its own laid out as its own, keeping (or not) its pixels.
  void Detach(bool keepPixels) const;
  void Own() const {
    if (shared_ || (memory_ && memory_.use_count() > 1)) Detach(true);
  }

  mutable BitmapHandle handle_ = 0;
  mutable PixelGrid previousGrid_;  // what the device context held before this picture was selected
  mutable std::unique_ptr<Canvas> dc_;
  // Owned or shared pixel memory; bits_ is this picture's first byte in it and stride_ the bytes
  // from one row to the next (this picture's own stride unless it is a view of another picture).
  mutable std::shared_ptr<Memory> memory_;
  mutable uint8_t* bits_ = nullptr;
  mutable int32_t stride_ = 0;
  mutable bool shared_ = false;  // a view laid out as the picture it was cut from
  bool cleared_ = true;          // whether CreateDIB clears the memory it allocates
  BitmapInfoHeader header_{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
};

// The picture a reference refers to; raises the object-not-set error for an empty reference.
Picture& Deref(const PictureRef& ref);

}  // namespace qv
