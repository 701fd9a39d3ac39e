#include "video/FrameConverter.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace qv {

namespace {

// Same-size conversions: swscale's special converters (fast, may write past the row).
constexpr int kFastFlags = SWS_BILINEAR;
// Exact rounding and full chroma resolution: the general path, which writes each row exactly;
// also the one used for scaling, where the fast path leaves the picture's edge off by a level.
constexpr int kExactFlags =
    SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
// Guard bytes on each side of the trial picture: far more than any block store reaches.
constexpr size_t kGuardBytes = 4096;
constexpr uint8_t kGuardValue = 0xA5;

// The "J" formats are the plain ones in full range; swscale wants them said that way.
AVPixelFormat WithoutFullRangeAlias(AVPixelFormat format, bool& fullRange) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P:
      fullRange = true;
      return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
      fullRange = true;
      return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
      fullRange = true;
      return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
      fullRange = true;
      return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
      fullRange = true;
      return AV_PIX_FMT_YUV411P;
    default:
      return format;
  }
}

}  // namespace

bool FrameConverter::MakeContext(const AVFrame& frame, const Key& key, int flags) {
  sws_.reset(sws_getContext(key.srcWidth, key.srcHeight, static_cast<AVPixelFormat>(key.srcFormat),
                            key.dstWidth, key.dstHeight, AV_PIX_FMT_BGR24, flags, nullptr, nullptr,
                            nullptr));
  if (sws_ == nullptr) return false;
  if (key.colorspace >= 0) {
    // Matrix and range as the stream states them; an unstated matrix is taken as BT.601.
    sws_setColorspaceDetails(sws_.get(), sws_getCoefficients(frame.colorspace), key.fullRange,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  }
  return true;
}

bool FrameConverter::Scale(const AVFrame& frame, uint8_t* bits, int32_t stride, int32_t height) {
  // Rows bottom-up: start at the top row (the last in memory) and step backwards.
  uint8_t* dst[4] = {bits + static_cast<int64_t>(height - 1) * stride, nullptr, nullptr, nullptr};
  const int dstStride[4] = {-stride, 0, 0, 0};
  // The source planes' pointers and strides are only read; swscale's signature lacks the const.
  return sws_scale(sws_.get(), frame.data, frame.linesize, 0, frame.height, dst, dstStride) ==
         height;
}

bool FrameConverter::ConvertIntoScratch(const AVFrame& frame, bool checkGuards) {
  const size_t pictureBytes = static_cast<size_t>(key_.dstStride) * key_.dstHeight;
  if (checkGuards || scratch_.size() != pictureBytes + 2 * kGuardBytes) {
    scratch_.assign(pictureBytes + 2 * kGuardBytes, kGuardValue);
  }
  uint8_t* bits = scratch_.data() + kGuardBytes;
  if (!Scale(frame, bits, key_.dstStride, key_.dstHeight)) return false;
  if (!checkGuards) return true;
  const auto untouched = [](const uint8_t* from, const uint8_t* to) {
    return std::all_of(from, to, [](uint8_t b) { return b == kGuardValue; });
  };
  if (!untouched(scratch_.data(), bits) ||
      !untouched(bits + pictureBytes, scratch_.data() + scratch_.size())) {
    return false;
  }
  const size_t rowBytes = 3 * static_cast<size_t>(key_.dstWidth);
  for (int32_t y = 0; y < key_.dstHeight; ++y) {
    const uint8_t* row = bits + static_cast<size_t>(y) * key_.dstStride;
    if (!untouched(row + rowBytes, row + key_.dstStride)) return false;
  }
  return true;
}

bool FrameConverter::Prepare(const AVFrame& frame, const Key& key) {
  key_ = key;
  route_ = Route::kNone;
  const bool sameSize = key.srcWidth == key.dstWidth && key.srcHeight == key.dstHeight;
  if (sameSize && MakeContext(frame, key, kFastFlags) && ConvertIntoScratch(frame, true)) {
    route_ = Route::kFastDirect;
  } else if (MakeContext(frame, key, kExactFlags)) {
    route_ = ConvertIntoScratch(frame, true) ? Route::kExactDirect : Route::kThroughScratch;
  }
  if (route_ != Route::kThroughScratch) {
    scratch_.clear();
    scratch_.shrink_to_fit();
  }
  return route_ != Route::kNone;
}

bool FrameConverter::Convert(const AVFrame& frame, uint8_t* bits, int32_t stride, int32_t width,
                             int32_t height) {
  if (bits == nullptr || width <= 0 || height <= 0 || stride < 3 * width || frame.width <= 0 ||
      frame.height <= 0) {
    return false;
  }
  bool fullRange = frame.color_range == AVCOL_RANGE_JPEG;
  const AVPixelFormat format =
      WithoutFullRangeAlias(static_cast<AVPixelFormat>(frame.format), fullRange);
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(format);
  if (desc == nullptr || (desc->flags & AV_PIX_FMT_FLAG_HWACCEL)) return false;
  const bool yuv = !(desc->flags & AV_PIX_FMT_FLAG_RGB) && desc->nb_components >= 3;

  const Key key{frame.width,
                frame.height,
                format,
                width,
                height,
                stride,
                yuv ? static_cast<int>(frame.colorspace) : -1,
                yuv ? int(fullRange) : -1};
  if (route_ == Route::kNone || !(key == key_)) {
    if (!Prepare(frame, key)) return false;
  }
  if (route_ != Route::kThroughScratch) return Scale(frame, bits, stride, height);

  if (!ConvertIntoScratch(frame, false)) return false;
  const uint8_t* from = scratch_.data() + kGuardBytes;
  for (int32_t y = 0; y < height; ++y) {
    std::memcpy(bits + static_cast<size_t>(y) * stride, from + static_cast<size_t>(y) * stride,
                3 * static_cast<size_t>(width));
  }
  return true;
}

}  // namespace qv
