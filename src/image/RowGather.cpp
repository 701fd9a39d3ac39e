#include "image/RowGather.h"

#include <algorithm>
#include <cstring>

#include "base/CpuFeatures.h"

#ifdef QV_X86
#include <tmmintrin.h>
#endif

namespace qv {

RowGatherPlan::RowGatherPlan(const std::vector<int32_t>& columns, int32_t sourceWidth,
                             bool allowSimd) {
  sourceOffsets_.reserve(columns.size());
  for (int32_t c : columns) sourceOffsets_.push_back(3 * c);
  const auto destBytes = static_cast<int32_t>(3 * columns.size());
  scalarFrom_ = 0;
  wideMoves_ = sourceOffsets_.empty() ||
               *std::max_element(sourceOffsets_.begin(), sourceOffsets_.end()) + 4 <= 3 * sourceWidth;
  if (!allowSimd || !CpuFeatures().ssse3) return;
  // Shuffled chunks run from the start of the row for as long as each reads 32 bytes that lie
  // within the source row.
  for (int32_t at = 0; at + 16 <= destBytes; at += 16) {
    int32_t source[16];
    for (int32_t j = 0; j < 16; ++j) {
      const int32_t b = at + j;
      source[j] = sourceOffsets_[static_cast<size_t>(b / 3)] + b % 3;
    }
    const int32_t first = *std::min_element(source, source + 16);
    const int32_t last = *std::max_element(source, source + 16);
    if (last - first >= 32 || first + 32 > 3 * sourceWidth) break;
    Chunk chunk{};
    chunk.sourceByte = first;
    for (int32_t j = 0; j < 16; ++j) {
      const int32_t i = source[j] - first;
      chunk.lowMask[j] = static_cast<uint8_t>(i < 16 ? i : 0x80);
      chunk.highMask[j] = static_cast<uint8_t>(i < 16 ? 0x80 : i - 16);
    }
    chunks_.push_back(chunk);
    scalarFrom_ = at + 16;
  }
  simd_ = !chunks_.empty();
}

void RowGatherPlan::GatherScalar(const uint8_t* sourceRow, uint8_t* destRow, int32_t fromByte) const {
  const auto pixels = static_cast<int32_t>(sourceOffsets_.size());
  int32_t x = fromByte / 3;
  const int32_t* __restrict off = sourceOffsets_.data();
  // Bytes of a pixel the shuffles already wrote are written again with the same values.
  // Four-byte moves: the fourth byte lands where the next pixel goes; the last pixel, whose
  // fourth byte would leave the row, is moved byte by byte.
  for (; wideMoves_ && x + 4 < pixels; x += 4) {
    uint32_t a, b, c, d;
    std::memcpy(&a, sourceRow + off[x], 4);
    std::memcpy(&b, sourceRow + off[x + 1], 4);
    std::memcpy(&c, sourceRow + off[x + 2], 4);
    std::memcpy(&d, sourceRow + off[x + 3], 4);
    std::memcpy(destRow + 3 * x, &a, 4);
    std::memcpy(destRow + 3 * x + 3, &b, 4);
    std::memcpy(destRow + 3 * x + 6, &c, 4);
    std::memcpy(destRow + 3 * x + 9, &d, 4);
  }
  for (; x < pixels; ++x) std::memcpy(destRow + 3 * x, sourceRow + off[x], 3);
}

#ifdef QV_X86
QV_TARGET("ssse3") void RowGatherPlan::GatherChunks(const uint8_t* sourceRow, uint8_t* destRow,
                                                    const Chunk* chunks, size_t count) {
  for (size_t k = 0; k < count; ++k) {
    const Chunk& c = chunks[k];
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sourceRow + c.sourceByte));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sourceRow + c.sourceByte + 16));
    const __m128i lowMask = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c.lowMask));
    const __m128i highMask = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c.highMask));
    const __m128i bytes = _mm_or_si128(_mm_shuffle_epi8(low, lowMask), _mm_shuffle_epi8(high, highMask));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(destRow + 16 * k), bytes);
  }
}
#else
void RowGatherPlan::GatherChunks(const uint8_t*, uint8_t*, const Chunk*, size_t) {}
#endif

void RowGatherPlan::Gather(const uint8_t* sourceRow, uint8_t* destRow) const {
#ifdef QV_X86
  if (simd_) GatherChunks(sourceRow, destRow, chunks_.data(), chunks_.size());
#endif
  GatherScalar(sourceRow, destRow, scalarFrom_);
}

}  // namespace qv
