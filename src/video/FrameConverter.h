#pragma once
// Turns decoded frames of any pixel format into the program's picture layout: three bytes a pixel
// (blue, green, red), rows bottom-up, `stride` bytes apart. The conversion writes straight into
// the caller's memory (one pass, no intermediate buffer) and scales when the frame's size differs
// from the target's (a stream that changes size mid-way keeps the size it was opened with).
//
// Some of swscale's fast converters store a few bytes past the end of each row (they work in
// blocks of pixels and expect rows as long as their stride). Written bottom-up into a picture
// whose rows are exactly 3 x width bytes plus padding, those bytes would land on a row already
// written or past the end of the memory. So each new geometry is first tried once on scratch
// memory with guard bytes around it: the fast converter is kept only when it writes nothing but
// the row bytes, otherwise the exact (slower) converter is used, and should even that reach
// outside the rows, frames go through a scratch picture and are copied row by row.

#include <cstdint>
#include <vector>

#include "base/FfmpegHandles.h"

namespace qv {

class FrameConverter {
 public:
  enum class Route { kNone, kFastDirect, kExactDirect, kThroughScratch };

  FrameConverter() = default;
  FrameConverter(const FrameConverter&) = delete;
  FrameConverter& operator=(const FrameConverter&) = delete;

  // Writes `frame` as a width x height picture into bits (memory row 0 = bottom row of the
  // picture); 3 x width bytes of each of the height rows are written, the padding bytes up to
  // `stride` are left alone. False when the frame's pixel format cannot be converted.
  bool Convert(const AVFrame& frame, uint8_t* bits, int32_t stride, int32_t width, int32_t height);

  // How the last geometry is converted (for tests and benchmarks).
  Route CurrentRoute() const { return route_; }

 private:
  struct Key {
    int srcWidth = 0, srcHeight = 0, srcFormat = -1;
    int dstWidth = 0, dstHeight = 0, dstStride = 0;
    int colorspace = -1, fullRange = -1;
    bool operator==(const Key&) const = default;
  };
  bool Prepare(const AVFrame& frame, const Key& key);
  bool MakeContext(const AVFrame& frame, const Key& key, int flags);
  // Converts into scratch_ (guard bytes around a picture of the key's geometry); true when
  // nothing outside the rows' pixel bytes was written.
  bool ConvertIntoScratch(const AVFrame& frame, bool checkGuards);
  bool Scale(const AVFrame& frame, uint8_t* bits, int32_t stride, int32_t height);

  ScalerPtr sws_;
  Key key_;
  Route route_ = Route::kNone;
  std::vector<uint8_t> scratch_;
};

}  // namespace qv
