// Template members of ImageProcessor that take caller arrays of any element type.
#pragma once

#include <limits>
#include <type_traits>

#include "base/Numbers.h"
#include "imageproc/AbsoluteDifferences.h"

namespace qv {

namespace detail {
template <typename T>
uint8_t ToPixelByte(T value) {
  if constexpr (std::is_floating_point_v<T>) {
    return ToByteChecked(static_cast<double>(value));
  } else {
    return ToByteChecked(static_cast<int64_t>(value));
  }
}

template <typename T>
bool FitsPixelByte(T value) {
  if constexpr (std::is_floating_point_v<T>) {
    const double r = RoundHalfEven(static_cast<double>(value));
    return r >= 0.0 && r <= 255.0;
  } else if constexpr (std::is_unsigned_v<T>) {
    return value <= 255;
  } else {
    return value >= 0 && value <= 255;
  }
}
}  // namespace detail

template <typename T>
void ImageProcessor::CopyToSpecifiedArray(const Picture& picture, Array2D<T>& values) {
  const uint32_t start = StartTick();
  const int32_t H = picture.Height();
  const int32_t W = picture.Width();
  values.ReDim(3 * static_cast<int64_t>(W) + 1, H);
  RaiseInitProgress(W - 1);
  const PixelGrid grid = picture.ReadGrid();
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = grid.MemoryRow(y);
    T* out = values.Row(y);
    for (int32_t i = 0; i < 3 * W; ++i) out[i] = static_cast<T>(row[i]);
  }
  for (int32_t i = 0; i < 3 * W; i += 3) RaiseProgress(i);
  RaiseComplete(start);
}

template <typename T>
void ImageProcessor::CopyFromArray(Picture& picture, const Array2D<T>& values) {
  const uint32_t start = StartTick();
  const int32_t H = picture.Height();
  const int32_t W = picture.Width();
  RaiseInitProgress(W - 1);
  if (W <= 0 || H <= 0) {
    RaiseComplete(start);
    return;
  }
  if (!values.Covers(3 * static_cast<int64_t>(W) - 1, H - 1)) throw err::SubscriptOutOfRange();
  const PixelGrid grid = picture.Grid();
  bool allInRange = true;
  for (int32_t y = 0; y < H && allInRange; ++y) {
    const T* in = values.Row(y);
    for (int32_t k = 0; k < 3 * W; ++k) {
      if (!detail::FitsPixelByte(in[k])) {
        allInRange = false;
        break;
      }
    }
  }
  if (allInRange) {
    for (int32_t y = 0; y < H; ++y) {
      const T* in = values.Row(y);
      uint8_t* row = grid.MemoryRow(y);
      for (int32_t k = 0; k < 3 * W; ++k) row[k] = detail::ToPixelByte(in[k]);
    }
    for (int32_t i = 0; i <= 3 * (W - 1); ++i) RaiseProgress(i);
  } else {
    // Column by column (in steps of one byte), bottom row up, so that the element outside
    // 0 ... 255 stops the copy with exactly the bytes before it written.
    for (int32_t i = 0; i <= 3 * (W - 1); ++i) {
      for (int32_t y = 0; y < H; ++y) {
        uint8_t* row = grid.MemoryRow(y);
        for (int32_t c = 0; c < 3; ++c) row[i + c] = detail::ToPixelByte(values(i + c, y));
      }
      RaiseProgress(i);
    }
  }
  RaiseComplete(start);
}

template <typename T>
void ImageProcessor::Correlate(const Picture& picture, const Array2D<T>& values,
                                 int32_t& correlation) {
  const uint32_t start = StartTick();
  const int32_t H = picture.Height();
  const int32_t W = picture.Width();
  RaiseInitProgress(W - 1);
  if (W <= 0 || H <= 0) {
    RaiseComplete(start);
    return;
  }
  if (!values.Covers(3 * static_cast<int64_t>(W) - 1, H - 1)) throw err::SubscriptOutOfRange();
  const PixelGrid grid = picture.ReadGrid();

  if constexpr (std::is_integral_v<T>) {
    // Every term is >= 0, so the running sum only grows: it passes the 32-bit limit exactly when
    // the total does. The total is taken row by row (the fast way through memory) until it is
    // past the limit; only then is the sum walked again in column order to leave the value the
    // counter had reached.
    int64_t total = correlation;
    for (int32_t y = 0; y < H && total <= std::numeric_limits<int32_t>::max(); ++y) {
      const uint8_t* row = grid.MemoryRow(y);
      const T* in = values.Row(y);
      if constexpr (std::is_same_v<T, int32_t>) {
        total += static_cast<int64_t>(SumOfAbsoluteDifferences(in, row, 3 * W));
      } else {
        int64_t rowSum = 0;
        for (int32_t k = 0; k < 3 * W; ++k) {
          const int64_t d = static_cast<int64_t>(in[k]) - row[k];
          rowSum += d < 0 ? -d : d;
        }
        total += rowSum;
      }
    }
    if (total <= std::numeric_limits<int32_t>::max()) {
      correlation = static_cast<int32_t>(total);
      for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
      RaiseComplete(start);
      return;
    }
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) {
      for (int32_t y = 0; y < H; ++y) {
        for (int32_t c = 0; c < 3; ++c) {
          const int64_t d = static_cast<int64_t>(values(i + c, y)) - grid.MemoryRow(y)[i + c];
          correlation = CheckedAdd(correlation, d < 0 ? -d : d);
        }
      }
      RaiseProgress(i);
    }
  } else {
    // A fractional difference makes the sum fractional; it is rounded back to a 32-bit integer
    // after every addition.
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) {
      for (int32_t y = 0; y < H; ++y) {
        for (int32_t c = 0; c < 3; ++c) {
          const double d = static_cast<double>(values(i + c, y)) - grid.MemoryRow(y)[i + c];
          correlation = ToInt32Checked(static_cast<double>(correlation) + (d < 0 ? -d : d));
        }
      }
      RaiseProgress(i);
    }
  }
  RaiseComplete(start);
}

}  // namespace qv
