#include <gtest/gtest.h>

#include <random>

#include "image/RowGather.h"

namespace qv::test {
namespace {

// Each output pixel is the source pixel its column names, and nothing past the row is written.
// (The shuffled gather against this one is checked by the kernel versions' test.)
TEST(RowGather, TakesTheNamedColumnsAndWritesNothingPastTheRow) {
  std::mt19937 random(7);
  for (const auto& [sourceWidth, destWidth] : {std::pair{1281, 640}, {17, 16}, {2, 1}, {64, 33}}) {
    std::vector<int32_t> columns(static_cast<size_t>(destWidth));
    for (auto& c : columns) c = static_cast<int32_t>(random() % sourceWidth);
    std::vector<uint8_t> source(static_cast<size_t>(3 * sourceWidth));
    for (auto& b : source) b = static_cast<uint8_t>(random());
    std::vector<uint8_t> out(static_cast<size_t>(3 * destWidth + 8), 0xEE), expected = out;
    for (size_t i = 0; i < static_cast<size_t>(3 * destWidth); ++i)
      expected[i] = source[3 * static_cast<size_t>(columns[i / 3]) + i % 3];
    RowGatherPlan(columns, sourceWidth, false).Gather(source.data(), out.data());
    EXPECT_EQ(out, expected) << sourceWidth << " -> " << destWidth;
  }
  // The shuffled gather is used where the processor has it, or the comparison proves nothing.
  EXPECT_TRUE(RowGatherPlan(std::vector<int32_t>(1280, 0), 1920, true).UsesSimd() ||
              !__builtin_cpu_supports("ssse3"));
}

}  // namespace
}  // namespace qv::test
