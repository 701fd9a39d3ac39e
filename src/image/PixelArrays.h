#pragma once
// Number arrays laid over pictures, and the two program-wide ones.
//
// An Array2D is indexed (column, row) with the column varying fastest: element (i, y) lies at
// position i + cols * y. Laid over a W x H picture it has cols = 3W + 1 byte columns (channel c of
// pixel x at 3x + c; the extra last column stays 0) and rows = H memory rows (row 0 at the bottom).

#include <cstdint>
#include <vector>

#include "base/Error.h"

namespace qv {

template <typename T>
class Array2D {
 public:
  using value_type = T;

  int32_t Cols() const { return cols_; }
  int32_t Rows() const { return rows_; }
  bool Empty() const { return data_.empty(); }

  // Re-dimensions to (0 ... cols - 1, 0 ... rows - 1) with every element 0; the previous contents
  // are discarded. An empty range raises the subscript-range error.
  void ReDim(int64_t cols, int64_t rows) {
    if (cols <= 0 || rows <= 0) throw err::SubscriptOutOfRange();
    if (cols * rows > (int64_t{1} << 31)) throw err::OutOfMemory();
    data_.assign(static_cast<size_t>(cols * rows), T{});
    cols_ = static_cast<int32_t>(cols);
    rows_ = static_cast<int32_t>(rows);
  }
  void Clear() {
    data_.clear();
    data_.shrink_to_fit();
    cols_ = rows_ = 0;
  }

  // Unchecked access for loops that have checked their bounds.
  T& operator()(int32_t i, int32_t y) { return data_[static_cast<size_t>(i) + static_cast<size_t>(cols_) * y]; }
  const T& operator()(int32_t i, int32_t y) const {
    return data_[static_cast<size_t>(i) + static_cast<size_t>(cols_) * y];
  }
  // Checked access: the subscript-range error outside the dimensions.
  T& At(int32_t i, int32_t y) {
    if (!Covers(i, y)) throw err::SubscriptOutOfRange();
    return (*this)(i, y);
  }
  const T& At(int32_t i, int32_t y) const {
    if (!Covers(i, y)) throw err::SubscriptOutOfRange();
    return (*this)(i, y);
  }
  bool Covers(int64_t i, int64_t y) const { return i >= 0 && y >= 0 && i < cols_ && y < rows_; }

  T* Row(int32_t y) { return data_.data() + static_cast<size_t>(cols_) * y; }
  const T* Row(int32_t y) const { return data_.data() + static_cast<size_t>(cols_) * y; }
  T* Data() { return data_.data(); }
  const T* Data() const { return data_.data(); }

 private:
  std::vector<T> data_;
  int32_t cols_ = 0;
  int32_t rows_ = 0;
};

using PixelArray = Array2D<int32_t>;

// A three-dimensional array indexed (i, j, k) with i varying fastest, then j: element (i, j, k)
// lies at i + n0 * (j + n1 * k).
template <typename T>
class Array3D {
 public:
  int32_t Size(int dimension) const { return size_[dimension]; }
  bool Empty() const { return data_.empty(); }

  // Re-dimensions to (0 ... n0 - 1, 0 ... n1 - 1, 0 ... n2 - 1), every element 0. An empty range
  // raises the subscript-range error.
  void ReDim(int64_t n0, int64_t n1, int64_t n2) {
    if (n0 <= 0 || n1 <= 0 || n2 <= 0) throw err::SubscriptOutOfRange();
    if (n0 * n1 * n2 > (int64_t{1} << 31)) throw err::OutOfMemory();
    data_.assign(static_cast<size_t>(n0 * n1 * n2), T{});
    size_[0] = static_cast<int32_t>(n0);
    size_[1] = static_cast<int32_t>(n1);
    size_[2] = static_cast<int32_t>(n2);
  }
  bool Covers(int64_t i, int64_t j, int64_t k) const {
    return i >= 0 && j >= 0 && k >= 0 && i < size_[0] && j < size_[1] && k < size_[2];
  }
  T& operator()(int32_t i, int32_t j, int32_t k) { return data_[Index(i, j, k)]; }
  const T& operator()(int32_t i, int32_t j, int32_t k) const { return data_[Index(i, j, k)]; }
  // Checked access: the subscript-range error outside the dimensions.
  T& At(int32_t i, int32_t j, int32_t k) {
    if (!Covers(i, j, k)) throw err::SubscriptOutOfRange();
    return (*this)(i, j, k);
  }
  const T& At(int32_t i, int32_t j, int32_t k) const {
    if (!Covers(i, j, k)) throw err::SubscriptOutOfRange();
    return (*this)(i, j, k);
  }

 private:
  size_t Index(int32_t i, int32_t j, int32_t k) const {
    return static_cast<size_t>(i) +
           static_cast<size_t>(size_[0]) * (static_cast<size_t>(j) + static_cast<size_t>(size_[1]) * k);
  }
  std::vector<T> data_;
  int32_t size_[3] = {0, 0, 0};
};

// A depth map: one unsigned byte a pixel, (W + 1) x (H + 1) for a W x H picture, element (x, y)
// the level of pixel x in memory row y; column W and row H are never filled from a picture. 255 is
// nearest to the viewer, 0 farthest.
using DepthMap = Array2D<uint8_t>;

// The arrays that image-processing members share (see ImageProcessor):
//   SharedPixels: signed 32-bit channel values of the picture last copied in by CopyToArray,
//     (3W + 1) x H as above; the hand-over between CopyToArray and the members that compare or
//     combine a picture with an earlier one.
//   GLPixels: the picture last repacked by CopyToArrayOPENGL, red, green, blue bytes, rows
//     bottom-up without padding (3WH bytes plus one that is never written), ready for
//     glDrawPixels with GL_RGB, GL_UNSIGNED_BYTE and an unpack alignment of 1.
//   MotionField: the block motion last measured by GetBlockMove, (blocks across, blocks up, 2):
//     element (i, j, 0) the byte column and (i, j, 1) the row at which the 8 x 8 block with origin
//     pixel (8i, 8j) was found in the previous picture.
//   DepthPixels: a depth image copied in the layout of SharedPixels (depth level in each pixel's
//     blue element), which Make3D reads as the depth of the picture held in SharedPixels.
// One thread at a time, without locks: a CopyToArray and the member that reads SharedPixels after
// it are one operation.
struct ProcessorArrays {
  PixelArray SharedPixels;
  std::vector<uint8_t> GLPixels;
  Array3D<int32_t> MotionField;
  PixelArray DepthPixels;
};

}  // namespace qv
