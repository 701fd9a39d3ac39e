#pragma once
// BitmapFile: a device-independent bitmap held as plain bytes (file header, info header, info block and
// pixel bytes). Brings bitmaps in from BMP files and from packed DIBs (a 40-byte info header
// directly followed by the pixels), hands them on as a Picture or writes them as BMP files.
// Failures are reported to the user through the message sink; the members then return false.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "image/BitmapFormat.h"
#include "image/PixelArrays.h"
#include "image/Picture.h"

namespace qv {

class BitmapFile {
 public:
  // Packed 24-bit DIB -> picture (created at the header's size, image-size bytes copied without
  // conversion). False when packed is null (with a message) or the image size is below 1.
  bool CreateDIBSectionFromPackedDIBPointer(const uint8_t* packed, Picture& picture);
  // Reads a BMP file of any kind (the image-size field must be filled in).
  bool CreateFromFile(const std::string& filename);
  // Packed DIB -> this object; with interlaced the rows are split by DeinterleaveRows. False with a
  // message for fewer than 16 bits a pixel.
  bool CreateFromPackedDIBPointer(const uint8_t* packed, bool interlaced);
  // Writes the file header, the info block and the pixels into filename (created if missing, not
  // truncated). Always true.
  bool WriteToFile(const std::string& filename);

  int32_t BitCount() const { return header_.biBitCount; }
  int32_t Height() const { return header_.biHeight; }
  int32_t Width() const { return header_.biWidth; }
  int32_t Compression() const { return static_cast<int32_t>(header_.biCompression); }
  int32_t SizeInfoHeader() const { return static_cast<int32_t>(header_.biSize); }
  int32_t SizeImage() const { return static_cast<int32_t>(header_.biSizeImage); }
  int32_t Planes() const { return header_.biPlanes; }
  int32_t ClrImportant() const { return static_cast<int32_t>(header_.biClrImportant); }
  int32_t ClrUsed() const { return static_cast<int32_t>(header_.biClrUsed); }
  int32_t XPPM() const { return header_.biXPelsPerMeter; }
  int32_t YPPM() const { return header_.biYPelsPerMeter; }
  int32_t FileType() const { return fileHeader_.bfType; }
  int32_t SizeFileHeader() const { return static_cast<int32_t>(fileHeader_.bfSize); }
  int32_t BitOffset() const { return static_cast<int32_t>(fileHeader_.bfOffBits); }
  const uint8_t* PointerToBits() const { return pixels_.empty() ? nullptr : pixels_.data(); }
  const uint8_t* PointerToBitmapInfo() const { return info_.empty() ? nullptr : info_.data(); }
  int32_t SizeBitmapInfo() const { return static_cast<int32_t>(info_.size()); }

  // As CreateFromPackedDIBPointer (without its message), then red and blue swapped in every
  // complete group of three pixel bytes.
  bool CreateRGBFromPackedDIBPointer(const uint8_t* packed, bool interlaced);
  // Builds a 24-bit bitmap from a pixel array laid out as the shared one (the low 8 bits of each
  // element).
  void CreateFromPicarray(const PixelArray& values);
  // Takes size and pixels from a picture.
  void CreateFromSection(const Picture& picture);
  // Copies the pixel bytes into a picture of the same size and layout; raises the subscript-range
  // error when the picture is smaller.
  void CopyToSection(Picture& picture) const;

  // Reads a BMP file from an open stream (closed on return); `filename` names it in messages.
  bool ReadBmp(std::FILE* file, const std::string& filename);

 private:
  static bool FileExists(const std::string& filename);
  void SetPacked24BitHeaders(const BitmapInfoHeader& header);

  std::vector<uint8_t> pixels_;
  std::vector<uint8_t> info_;
  BitmapInfoHeader header_{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  BitmapFileHeader fileHeader_;
};

}  // namespace qv
