#include "image/Picture.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "base/Error.h"
#include "base/FileGuard.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "image/RowGather.h"

namespace qv {

// One allocation of pixel memory, shared by a picture and the views cut from it.
struct Picture::Memory {
  explicit Memory(uint8_t* b) : bits(b) {}
  ~Memory() { std::free(bits); }
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;
  uint8_t* bits;
};

Picture::~Picture() { ClearUp(); }

Picture& Deref(const PictureRef& ref) {
  if (!ref) throw err::ObjectNotSet();
  return *ref;
}

namespace {
const BitmapInfoHeader kEmptyHeader{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

// Clears the padding bytes at the end of each row, for memory that is not cleared as a whole.
void ClearPadding(uint8_t* bits, int32_t width, int32_t height, int32_t stride) {
  const int32_t used = 3 * width;
  if (stride <= used) return;
  for (int32_t y = 0; y < height; ++y) {
    std::memset(bits + static_cast<int64_t>(y) * stride + used, 0, static_cast<size_t>(stride - used));
  }
}
}  // namespace

bool Picture::CreateDIB(Canvas* dc, int32_t width, int32_t height, BitmapHandle& handle) {
  (void)dc;  // pixel memory does not depend on the context
  header_ = BitmapInfoHeader::For24Bit(width, height);
  handle = 0;
  if (width <= 0 || height <= 0 || StrideFor(width) > kMaxPictureBytes / height) {
    header_ = kEmptyHeader;
    return false;
  }
  const auto bytes = static_cast<size_t>(StrideFor(width) * height);
  // calloc hands out zeroed memory without a clearing pass of ours where it can; pictures that are
  // about to be overwritten whole skip the clearing altogether.
  auto* bits = static_cast<uint8_t*>(cleared_ ? std::calloc(bytes, 1) : std::malloc(bytes));
  if (bits == nullptr) {
    header_ = kEmptyHeader;
    return false;
  }
  memory_ = std::make_shared<Memory>(bits);
  bits_ = bits;
  stride_ = BytesPerScanLine();
  shared_ = false;
  handle = reinterpret_cast<BitmapHandle>(bits);
  return true;
}

bool Picture::Create(int32_t width, int32_t height) { return Allocate(width, height, true); }

bool Picture::CreateToOverwrite(int32_t width, int32_t height) {
  if (!Allocate(width, height, false)) return false;
  ClearPadding(bits_, width, height, stride_);
  return true;
}

bool Picture::Allocate(int32_t width, int32_t height, bool cleared) {
  ClearUp();
  cleared_ = cleared;
  dc_ = std::make_unique<Canvas>();
  const bool made = CreateDIB(dc_.get(), width, height, handle_);
  cleared_ = true;
  if (!made) {
    dc_.reset();
    handle_ = 0;
    return false;
  }
  previousGrid_ = dc_->Select(PixelGrid{bits_, width, height, stride_});
  return true;
}

void Picture::Detach(bool keepPixels) const {
  const int32_t width = Width();
  const int32_t height = Height();
  const int32_t stride = BytesPerScanLine();
  auto* bits = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(stride) * height));
  if (bits == nullptr) throw err::OutOfMemory();
  if (keepPixels) {
    if (stride_ == stride) {
      std::memcpy(bits, bits_, static_cast<size_t>(stride) * height);
    } else {
      for (int32_t y = 0; y < height; ++y) {
        std::memcpy(bits + static_cast<int64_t>(y) * stride, bits_ + static_cast<int64_t>(y) * stride_,
                    static_cast<size_t>(3) * width);
      }
    }
  }
  ClearPadding(bits, width, height, stride);
  memory_ = std::make_shared<Memory>(bits);
  bits_ = bits;
  stride_ = stride;
  shared_ = false;
  handle_ = reinterpret_cast<BitmapHandle>(bits);
  // Views get their device context when they get memory of their own.
  if (!dc_) {
    dc_ = std::make_unique<Canvas>();
    previousGrid_ = dc_->Select(PixelGrid{bits_, width, height, stride_});
  } else {
    dc_->Select(PixelGrid{bits_, width, height, stride_});
  }
}

void Picture::ClearUp() {
  if (dc_) {
    if (handle_ != 0) dc_->Select(previousGrid_);
    dc_.reset();
  }
  memory_.reset();
  handle_ = 0;
  previousGrid_ = PixelGrid{};
  bits_ = nullptr;
  stride_ = 0;
  shared_ = false;
  header_ = kEmptyHeader;
}

Canvas* Picture::DrawingCanvas() const {
  Own();
  return dc_.get();
}

uint8_t* Picture::Bits() const {
  Own();
  return bits_;
}

PixelGrid Picture::Grid() const {
  if (bits_ == nullptr) return PixelGrid{};
  Own();
  return PixelGrid{bits_, Width(), Height(), stride_};
}

PixelGrid Picture::ReadGrid() const {
  if (bits_ == nullptr) return PixelGrid{};
  return PixelGrid{bits_, Width(), Height(), stride_};
}

uint8_t* Picture::BitsForOverwrite() {
  if (shared_ || (memory_ && memory_.use_count() > 1)) Detach(false);
  return bits_;
}

bool Picture::SharesMemory() const { return shared_ || (memory_ && memory_.use_count() > 1); }

void Picture::CreateFromPicture(const LoadedPicture& picture) {
  if (picture.Empty() || !Create(picture.width, picture.height)) return;
  const PixelGrid grid = Grid();
  for (int32_t y = 0; y < picture.height; ++y) {
    uint8_t* row = grid.DeviceRow(y);
    for (int32_t x = 0; x < picture.width; ++x) {
      const uint32_t argb = picture.At(x, y);
      row[3 * x] = static_cast<uint8_t>(argb);
      row[3 * x + 1] = static_cast<uint8_t>(argb >> 8);
      row[3 * x + 2] = static_cast<uint8_t>(argb >> 16);
    }
  }
}

void Picture::LoadPictureBlt(Canvas* source, int32_t srcLeft, int32_t srcTop, int32_t srcWidth,
                                 int32_t srcHeight, uint32_t rop) {
  if (srcWidth < 0) srcWidth = Width();
  if (srcHeight < 0) srcHeight = Height();
  Blit(DrawingCanvas(), 0, 0, srcWidth, srcHeight, source, srcLeft, srcTop, rop);
}

void Picture::PaintPicture(Canvas* target, int32_t destLeft, int32_t destTop, int32_t destWidth,
                               int32_t destHeight, int32_t srcLeft, int32_t srcTop,
                               uint32_t rop) const {
  if (destWidth < 0) destWidth = Width();
  if (destHeight < 0) destHeight = Height();
  Canvas reader;
  reader.Select(ReadGrid());
  Blit(target, destLeft, destTop, destWidth, destHeight, &reader, srcLeft, srcTop, rop);
}

void Picture::RandomiseBits(bool gray) {
  const PixelGrid grid = Grid();
  if (grid.Empty()) return;
  const auto seed = static_cast<uint64_t>(
      std::chrono::system_clock::now().time_since_epoch().count());
  std::mt19937_64 engine(seed);
  std::uniform_real_distribution<double> random(0.0, 1.0);  // [0, 1)
  auto level = [&] { return ToByteChecked(random(engine) * 255.0); };
  for (int32_t y = 0; y < grid.height; ++y) {
    uint8_t* row = grid.MemoryRow(y);
    for (int32_t x = 0; x < grid.width; ++x) {
      uint8_t* p = row + 3 * x;
      if (gray) {
        p[0] = p[1] = p[2] = level();
      } else {
        p[0] = 0;
        p[1] = level();
        p[2] = level();
      }
    }
  }
}

PictureRef Picture::Resample(int32_t newHeight, int32_t newWidth, bool interpolate) const {
  auto out = std::make_shared<Picture>();
  // Every rule below writes every pixel of the new picture, unless this one is empty.
  const bool writesAll = bits_ != nullptr;
  if (!(writesAll ? out->CreateToOverwrite(newWidth, newHeight) : out->Create(newWidth, newHeight))) {
    return nullptr;
  }
  Canvas reader;
  reader.Select(ReadGrid());
  if (newWidth == Width() && newHeight == Height()) {
    Blit(out->DrawingCanvas(), 0, 0, newWidth, newHeight, &reader, 0, 0, SRCCOPY);
  } else if (interpolate) {
    ResampleInto(*out, true);
  } else if (newWidth >= Width() && newHeight >= Height()) {
    out->DrawingCanvas()->SetStretchMode(COLORONCOLOR);
    Stretch(out->DrawingCanvas(), 0, 0, newWidth, newHeight, &reader, 0, 0, Width(), Height(), SRCCOPY);
  } else {
    ResampleInto(*out, false);
  }
  return out;
}

void Picture::ResampleInto(Picture& dest, bool interpolate) const {
  const PixelGrid s = ReadGrid();
  const PixelGrid d = dest.Grid();
  if (s.Empty() || d.Empty()) return;
  const double xScale = static_cast<double>(s.width - 1) / d.width;
  const double yScale = static_cast<double>(s.height - 1) / d.height;
  if (s.width < 2 || s.height < 2) interpolate = false;

  // Source column of every destination column, computed as sx = x * xScale, ix = its integer part.
  std::vector<int32_t> ix(static_cast<size_t>(d.width));
  std::vector<double> fx(static_cast<size_t>(d.width));
  for (int32_t x = 0; x < d.width; ++x) {
    const double sx = x * xScale;
    ix[static_cast<size_t>(x)] = static_cast<int32_t>(sx);
    fx[static_cast<size_t>(x)] = sx - ix[static_cast<size_t>(x)];
  }

  if (!interpolate) {
    const RowGatherPlan plan(ix, s.width, /*allowSimd=*/true);
    int32_t previousIy = -1;
    const uint8_t* previousRow = nullptr;
    for (int32_t y = 0; y < d.height; ++y) {
      const auto iy = static_cast<int32_t>(y * yScale);
      uint8_t* dRow = d.MemoryRow(y);
      if (iy == previousIy) {
        std::memcpy(dRow, previousRow, static_cast<size_t>(3) * d.width);
      } else {
        plan.Gather(s.MemoryRow(iy), dRow);
        previousIy = iy;
        previousRow = dRow;
      }
    }
    return;
  }

  const bool bilinear = xScale <= 2.0;
  const int32_t r = bilinear ? 0 : ToInt32Checked(xScale / 2.0);
  const double positions = static_cast<double>(2 * r + 1) * (2 * r + 1);
  for (int32_t y = 0; y < d.height; ++y) {
    const double sy = y * yScale;
    const auto iy = static_cast<int32_t>(sy);
    const double fy = sy - iy;
    uint8_t* dRow = d.MemoryRow(y);
    for (int32_t x = 0; x < d.width; ++x) {
      const int32_t cx = ix[static_cast<size_t>(x)];
      for (int c = 0; c < 3; ++c) {
        double value;
        if (bilinear) {
          auto v = [&](int32_t col, int32_t row) { return static_cast<double>(s.MemoryRow(row)[3 * col + c]); };
          const double left = RoundHalfEven((1 - fy) * v(cx, iy) + fy * v(cx, iy + 1));
          const double right = RoundHalfEven((1 - fy) * v(cx + 1, iy) + fy * v(cx + 1, iy + 1));
          const double f = fx[static_cast<size_t>(x)];
          value = RoundHalfEven((1 - f) * left + f * right);
        } else {
          // The outermost source rows and columns are never sampled, but every position counts
          // in the divisor, so pictures darken towards their borders.
          int64_t sum = 0;
          for (int32_t dy = -r; dy <= r; ++dy) {
            const int32_t row = iy + dy;
            if (row < 1 || row > s.height - 2) continue;
            const uint8_t* sRow = s.MemoryRow(row);
            for (int32_t dx = -r; dx <= r; ++dx) {
              const int32_t col = cx + dx;
              if (col >= 1 && col <= s.width - 2) sum += sRow[3 * col + c];
            }
          }
          value = RoundHalfEven(static_cast<double>(sum) / positions);
        }
        dRow[3 * x + c] = static_cast<uint8_t>(std::clamp(value, 0.0, 255.0));
      }
    }
  }
}

PictureRef Picture::CanvasSize(int32_t newHeight, int32_t newWidth) const {
  auto out = std::make_shared<Picture>();
  if (!out->Create(newWidth, newHeight)) return nullptr;
  return out;
}

PictureRef Picture::CopyOf() const {
  auto out = std::make_shared<Picture>();
  if (!out->CreateToOverwrite(Width(), Height())) return nullptr;
  Canvas reader;
  reader.Select(ReadGrid());
  out->LoadPictureBlt(&reader, 0, 0, Width(), Height(), SRCCOPY);
  return out;
}

PictureRef Picture::Crop(int32_t newHeight, int32_t newWidth, int32_t newLeft,
                         int32_t newTop) const {
  if (Width() < 2 || Height() < 2) return nullptr;
  auto out = std::make_shared<Picture>();
  const bool inside = newLeft >= 0 && newTop >= 0 && int64_t{newLeft} + newWidth <= Width() &&
                      int64_t{newTop} + newHeight <= Height();
  if (!(inside ? out->CreateToOverwrite(newWidth, newHeight) : out->Create(newWidth, newHeight))) {
    return nullptr;
  }
  Canvas reader;
  reader.Select(ReadGrid());
  Blit(out->DrawingCanvas(), 0, 0, newWidth, newHeight, &reader, newLeft, newTop, SRCCOPY);
  return out;
}

PictureRef Picture::CropView(int32_t newHeight, int32_t newWidth, int32_t newLeft,
                             int32_t newTop) const {
  const bool inside = newWidth > 0 && newHeight > 0 && newLeft >= 0 && newTop >= 0 &&
                      int64_t{newLeft} + newWidth <= Width() && int64_t{newTop} + newHeight <= Height();
  if (!inside || Width() < 2 || Height() < 2 || bits_ == nullptr) {
    return Crop(newHeight, newWidth, newLeft, newTop);
  }
  auto out = std::make_shared<Picture>();
  out->header_ = BitmapInfoHeader::For24Bit(newWidth, newHeight);
  out->memory_ = memory_;
  out->stride_ = stride_;
  // The view's bottom row is device row newTop + newHeight - 1 of this picture.
  out->bits_ = bits_ + static_cast<int64_t>(Height() - newTop - newHeight) * stride_ + 3 * int64_t{newLeft};
  out->shared_ = true;
  out->handle_ = handle_;
  return out;
}

PictureRef Picture::JoinedView(const Picture& left, const Picture& right) {
  const int32_t width = left.Width();
  const int32_t height = left.Height();
  if (!left.shared_ || !right.shared_ || left.memory_ != right.memory_ || left.stride_ != right.stride_ ||
      right.Width() != width || right.Height() != height || right.bits_ != left.bits_ + 3 * int64_t{width}) {
    return nullptr;
  }
  auto out = std::make_shared<Picture>();
  out->header_ = BitmapInfoHeader::For24Bit(2 * width, height);
  out->memory_ = left.memory_;
  out->stride_ = left.stride_;
  out->bits_ = left.bits_;
  out->shared_ = true;
  out->handle_ = left.handle_;
  return out;
}

std::string Picture::SystemErrorText(int code) {
  char buffer[256];
  const char* text = strerror_r(code, buffer, sizeof buffer);
  return text ? std::string(text) : std::string();
}

bool Picture::WriteFailed(bool ok, int64_t asked, int64_t written) {
  return !(ok && asked == written);
}

bool Picture::SavePicture(const std::string& fileName) const {
  const FileDescriptor output(
      ::open(fileName.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  const int lastError = errno;
  if (!output.IsOpen()) {
    throw AppError(17, std::string(kExeName) + ".cDIBSection256", SystemErrorText(lastError));
  }
  Own();
  const int64_t imageSize = static_cast<int64_t>(BytesPerScanLine()) * Height();
  BitmapFileHeader file;
  file.bfType = BitmapFileHeader::kTypeBM;
  file.bfSize = static_cast<uint32_t>(imageSize + 54);
  file.bfOffBits = 54;
  auto writeAll = [fd = output.Get()](const uint8_t* data, int64_t size) {
    int64_t done = 0;
    while (done < size) {
      const ssize_t n = ::write(fd, data + done, static_cast<size_t>(size - done));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return !WriteFailed(false, size, done);
      done += n;
    }
    return !WriteFailed(true, size, done);
  };
  const auto fileBytes = file.ToBytes();
  const auto infoBytes = header_.ToBytes();
  bool ok = writeAll(fileBytes.data(), static_cast<int64_t>(fileBytes.size()));
  if (ok) ok = writeAll(infoBytes.data(), static_cast<int64_t>(infoBytes.size()));
  if (ok && imageSize > 0) ok = writeAll(bits_, imageSize);
  return ok;
}

bool Picture::CopyToClipboard(bool asDib) {
  if (asDib) {
    MsgBox("I don't know how to put a DIB on the clipboard! Copy as bitmap instead!!!");
    return false;
  }
  ClipboardHook* clipboard = Clipboard();
  if (clipboard == nullptr || bits_ == nullptr) return false;
  const PixelGrid grid = ReadGrid();
  return clipboard->PutBitmap(grid.width, grid.height, grid.bits, grid.stride);
}

}  // namespace qv
