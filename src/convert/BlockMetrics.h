#pragma once
// Sums of absolute differences between one block of 10 x 10 pixels (30 bytes a row) and
// positions in a reference frame: the pixel metrics of the depth trackers, one table of functions
// filled once for the CPU. The plain versions are the reference that the fast ones are checked
// against.
//
// A block is 10 rows of 32 bytes back to back, the last two bytes of each row 0 (MakeBlock). A
// reference position must have 32 readable bytes in each of the rows read; only 30 count.

#include <cstddef>
#include <cstdint>

namespace qv {

inline constexpr int32_t kBlockBytes = 30;  // 10 pixels of 3 bytes
inline constexpr int32_t kBlockRows = 10;
inline constexpr int32_t kBlockStride = 32;

struct BlockMetrics {
  // Sum over rows 0, rowStep, 2 rowStep ... < 10 of the 30-byte row differences.
  int32_t (*sad)(const uint8_t* block, const uint8_t* reference, ptrdiff_t stride, int32_t rowStep);
  // The same for four reference positions at once (the source rows are loaded once).
  void (*sadX4)(const uint8_t* block, const uint8_t* const reference[4], ptrdiff_t stride,
                int32_t rowStep, int32_t sums[4]);
  const char* name;
};

// Copies 10 rows of 30 bytes, `stride` apart, into a block laid out as above.
void MakeBlock(const uint8_t* pixels, ptrdiff_t stride, uint8_t* block);

const BlockMetrics& PlainBlockMetrics();
// The fastest version this CPU runs (vector registers where it has them).
const BlockMetrics& FastBlockMetrics();

}  // namespace qv
