#pragma once
// Nearest-pixel row gathering, the inner loop of shrinking a picture without interpolation:
// destination pixel x of every row takes source pixel column[x] of its source row.
//
// The column pattern is the same for every row, so it is compiled once into a plan of 16-byte
// output chunks, each filled by byte shuffles from two 16-byte source loads where CpuFeatures()
// has SSSE3 and the chunk's source bytes lie within 32 bytes; other bytes are moved one pixel at
// a time. Both ways give identical pictures.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/Canvas.h"

namespace qv {

class RowGatherPlan {
 public:
  // columns: a source pixel column (0 ... sourceWidth - 1) for each destination pixel. Without
  // allowSimd (or SSSE3) the plan is the plain version.
  RowGatherPlan(const std::vector<int32_t>& columns, int32_t sourceWidth, bool allowSimd);
  // Fills the 3 x columns.size() pixel bytes of destRow from sourceRow.
  void Gather(const uint8_t* sourceRow, uint8_t* destRow) const;
  bool UsesSimd() const { return simd_; }

 private:
  struct Chunk {
    int32_t sourceByte;  // first of the 32 source bytes the chunk reads
    uint8_t lowMask[16];
    uint8_t highMask[16];
  };
  void GatherScalar(const uint8_t* sourceRow, uint8_t* destRow, int32_t fromByte) const;
  static void GatherChunks(const uint8_t* sourceRow, uint8_t* destRow, const Chunk* chunks,
                           size_t count);

  std::vector<int32_t> sourceOffsets_;  // byte offset of the source pixel of each destination pixel
  std::vector<Chunk> chunks_;           // leading chunks done by shuffles
  int32_t scalarFrom_ = 0;              // destination byte from which pixels are moved one by one
  bool simd_ = false;
  bool wideMoves_ = false;  // every source pixel can be read as four bytes within the row
};

}  // namespace qv
