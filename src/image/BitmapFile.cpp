#include "image/BitmapFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/Error.h"
#include "base/FileGuard.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "image/PixelArrays.h"

namespace qv {

namespace {

// Reads up to n bytes at offset; what lies past the end of the file reads as zero.
void ReadAt(std::FILE* file, long offset, uint8_t* out, size_t n) {
  std::memset(out, 0, n);
  if (std::fseek(file, offset, SEEK_SET) == 0) (void)std::fread(out, 1, n, file);
}

int64_t ImageSizeOf(const BitmapInfoHeader& h) { return static_cast<int32_t>(h.biSizeImage); }

}  // namespace

bool BitmapFile::CreateDIBSectionFromPackedDIBPointer(const uint8_t* packed, Picture& picture) {
  try {
    if (packed == nullptr) {
      MsgBox("An error occurred while unpacking the packed Bitmap.");
      return false;
    }
    header_ = BitmapInfoHeader::FromBytes(packed);
    const int64_t imageSize = ImageSizeOf(header_);
    if (imageSize < 1) return false;
    if (!picture.Create(header_.biWidth, header_.biHeight)) throw err::InvalidArgument();
    if (imageSize > static_cast<int64_t>(picture.BytesPerScanLine()) * picture.Height()) {
      throw err::SubscriptOutOfRange();
    }
    std::memcpy(picture.Bits(), packed + BitmapInfoHeader::kBytes,
                static_cast<size_t>(imageSize));
    return true;
  } catch (const std::exception& e) {
    MsgBox("An error occurred in CreateDIBSectionFromPackedDIBPointer. " + DescribeError(e));
    return false;
  }
}

bool BitmapFile::FileExists(const std::string& filename) {
  struct stat st {};
  return !filename.empty() && ::stat(filename.c_str(), &st) == 0;
}

bool BitmapFile::CreateFromFile(const std::string& filename) {
  if (!FileExists(filename)) {
    MsgBox("File does not exist:\n" + filename, msg::kCritical, kAppName);
    return false;
  }
  std::FILE* file = std::fopen(filename.c_str(), "rb");
  if (file == nullptr) {
    const int error = errno;
    if (error == EACCES || error == EPERM) {
      MsgBox("File is locked - cannot access:\n" + filename, msg::kCritical, kAppName);
    } else {
      MsgBox(err::FromErrno(error).Description(), msg::kInformation);
    }
    return false;
  }
  return ReadBmp(file, filename);
}

bool BitmapFile::ReadBmp(std::FILE* stream, const std::string& filename) {
  const FileStreamPtr owner(stream);
  std::FILE* file = owner.get();

  uint8_t fileBytes[BitmapFileHeader::kBytes];
  ReadAt(file, 0, fileBytes, sizeof fileBytes);
  const BitmapFileHeader fileHeader = BitmapFileHeader::FromBytes(fileBytes);
  if (fileHeader.bfType != BitmapFileHeader::kTypeBM) {
    MsgBox("File is not a supported bitmap format:\n" + filename, msg::kInformation, kAppName);
    return false;
  }

  uint8_t infoBytes[BitmapInfoHeader::kBytes];
  ReadAt(file, BitmapFileHeader::kBytes, infoBytes, sizeof infoBytes);
  const BitmapInfoHeader header = BitmapInfoHeader::FromBytes(infoBytes);

  // Headers that point outside the file, or claim more pixels than it holds, are refused before
  // anything is allocated for them.
  int64_t fileLength = -1;
  if (std::fseek(file, 0, SEEK_END) == 0) fileLength = std::ftell(file);
  const int64_t offset = fileHeader.bfOffBits;
  const int64_t imageSize = header.biSizeImage;
  if (fileLength < 0 || offset < static_cast<int64_t>(BitmapFileHeader::kBytes) ||
      offset > fileLength || imageSize > fileLength - offset || imageSize > kMaxPictureBytes) {
    MsgBox("File is damaged or truncated - cannot read:\n" + filename, msg::kInformation, kAppName);
    return false;
  }

  fileHeader_ = fileHeader;
  header_ = header;
  pixels_.assign(static_cast<size_t>(imageSize), 0);
  if (imageSize > 0) ReadAt(file, static_cast<long>(offset), pixels_.data(), pixels_.size());
  info_.assign(static_cast<size_t>(offset - BitmapFileHeader::kBytes), 0);
  if (!info_.empty()) ReadAt(file, BitmapFileHeader::kBytes, info_.data(), info_.size());
  return true;
}

void BitmapFile::SetPacked24BitHeaders(const BitmapInfoHeader& header) {
  header_ = header;
  const auto bytes = header.ToBytes();
  info_.assign(bytes.begin(), bytes.end());
  fileHeader_ = BitmapFileHeader{};
  fileHeader_.bfType = BitmapFileHeader::kTypeBM;
  fileHeader_.bfOffBits = 54;
  fileHeader_.bfSize = static_cast<uint32_t>(54 + pixels_.size());
}

bool BitmapFile::CreateFromPackedDIBPointer(const uint8_t* packed, bool interlaced) {
  if (packed == nullptr) throw err::InvalidArgument();
  const BitmapInfoHeader header = BitmapInfoHeader::FromBytes(packed);
  header_ = header;
  if (header.biBitCount < 16) {
    MsgBox("Error! DIB was less than 16 colors.");
    return false;
  }
  const int64_t imageSize = ImageSizeOf(header);
  pixels_.clear();
  if (imageSize >= 1) {
    if (imageSize > kMaxPictureBytes) throw err::OutOfMemory();
    pixels_.assign(static_cast<size_t>(imageSize), 0);
    const uint8_t* source = packed + BitmapInfoHeader::kBytes;
    if (interlaced) {
      const int64_t rowsCopied = header.biHeight - header.biHeight % 2;
      if (header.biWidth < 0 || header.biHeight < 0 ||
          (rowsCopied > 0 && 3 * static_cast<int64_t>(header.biWidth) > imageSize / rowsCopied)) {
        throw err::SubscriptOutOfRange();
      }
      DeinterleaveRows(pixels_.data(), source, header.biWidth, header.biHeight);
    } else {
      std::memcpy(pixels_.data(), source, pixels_.size());
    }
  }
  SetPacked24BitHeaders(header);
  return true;
}

bool BitmapFile::CreateRGBFromPackedDIBPointer(const uint8_t* packed, bool interlaced) {
  if (packed == nullptr) throw err::InvalidArgument();
  if (BitmapInfoHeader::FromBytes(packed).biBitCount < 16) {
    header_ = BitmapInfoHeader::FromBytes(packed);
    return false;
  }
  if (!CreateFromPackedDIBPointer(packed, interlaced)) return false;
  for (size_t i = 0; i + 2 < pixels_.size(); i += 3) std::swap(pixels_[i], pixels_[i + 2]);
  return true;
}

bool BitmapFile::WriteToFile(const std::string& filename) {
  const FileDescriptor file(::open(filename.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  if (!file.IsOpen()) return true;  // errors are not reported by this member
  const auto fileBytes = fileHeader_.ToBytes();
  auto writeAt = [fd = file.Get()](const uint8_t* data, size_t n, off_t at) {
    size_t done = 0;
    while (done < n) {
      const ssize_t k = ::pwrite(fd, data + done, n - done, at + static_cast<off_t>(done));
      if (k < 0 && errno == EINTR) continue;
      if (k <= 0) return;
      done += static_cast<size_t>(k);
    }
  };
  writeAt(fileBytes.data(), fileBytes.size(), 0);
  writeAt(info_.data(), info_.size(), BitmapFileHeader::kBytes);
  writeAt(pixels_.data(), pixels_.size(),
          static_cast<off_t>(BitmapFileHeader::kBytes + info_.size()));
  return true;
}

void BitmapFile::CreateFromPicarray(const PixelArray& shared) {
  const int32_t width = shared.Empty() ? 0 : (shared.Cols() - 1) / 3;
  const int32_t height = shared.Rows();
  const BitmapInfoHeader header = BitmapInfoHeader::For24Bit(width, height);
  const int64_t stride = StrideFor(width);
  pixels_.assign(static_cast<size_t>(stride * height), 0);
  for (int32_t y = 0; y < height; ++y) {
    const int32_t* in = shared.Row(y);
    uint8_t* out = pixels_.data() + stride * y;
    for (int32_t i = 0; i < 3 * width; ++i) out[i] = StoreByte(in[i]);
  }
  SetPacked24BitHeaders(header);
}

void BitmapFile::CreateFromSection(const Picture& picture) {
  const BitmapInfoHeader header = BitmapInfoHeader::For24Bit(picture.Width(), picture.Height());
  const uint8_t* bits = picture.Bits();
  if (bits == nullptr) {
    pixels_.clear();
  } else {
    pixels_.assign(bits, bits + header.biSizeImage);
  }
  SetPacked24BitHeaders(header);
}

void BitmapFile::CopyToSection(Picture& picture) const {
  const int64_t imageSize = static_cast<int64_t>(pixels_.size());
  if (imageSize == 0) return;
  if (picture.Bits() == nullptr ||
      imageSize > static_cast<int64_t>(picture.BytesPerScanLine()) * picture.Height()) {
    throw err::SubscriptOutOfRange();
  }
  std::memcpy(picture.Bits(), pixels_.data(), pixels_.size());
}

}  // namespace qv
