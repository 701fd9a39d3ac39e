#include <gtest/gtest.h>

#include <random>

#include "image/RowGather.h"

namespace qv::test {
namespace {

// The shuffled and the pixel-by-pixel gather give the same bytes and write nothing past the row.
TEST(RowGather, ShuffledAndPlainGatherAgreeForAnyColumnPattern) {
  std::mt19937 random(7);
  const std::pair<int, int> sizes[] = {{1920, 1280}, {1281, 640}, {640, 321}, {17, 16},   {5, 3},
                                       {2, 1},       {100, 99},   {64, 33},   {1000, 999}};
  for (const auto& [sourceWidth, destWidth] : sizes) {
    for (int pattern = 0; pattern < 3; ++pattern) {
      std::vector<int32_t> columns(static_cast<size_t>(destWidth));
      const double scale = static_cast<double>(sourceWidth - 1) / destWidth;
      for (int x = 0; x < destWidth; ++x) {
        columns[static_cast<size_t>(x)] =
            pattern == 0   ? static_cast<int32_t>(x * scale)                     // shrinking
            : pattern == 1 ? static_cast<int32_t>(random() % sourceWidth)        // anything
                           : static_cast<int32_t>(sourceWidth - 1 - x * scale);  // mirrored
      }
      std::vector<uint8_t> source(static_cast<size_t>(3 * sourceWidth));
      for (auto& b : source) b = static_cast<uint8_t>(random());
      std::vector<uint8_t> plain(static_cast<size_t>(3 * destWidth + 8), 0xEE);
      std::vector<uint8_t> shuffled = plain;
      RowGatherPlan(columns, sourceWidth, false).Gather(source.data(), plain.data());
      RowGatherPlan(columns, sourceWidth, true).Gather(source.data(), shuffled.data());
      ASSERT_EQ(plain, shuffled) << sourceWidth << " -> " << destWidth << " pattern " << pattern;
      for (int x = 0; x < destWidth; ++x) {
        for (int c = 0; c < 3; ++c) {
          ASSERT_EQ(plain[static_cast<size_t>(3 * x + c)],
                    source[static_cast<size_t>(3 * columns[x] + c)]);
        }
      }
      for (size_t i = static_cast<size_t>(3 * destWidth); i < plain.size(); ++i)
        ASSERT_EQ(plain[i], 0xEE);
    }
  }
  EXPECT_TRUE(RowGatherPlan(std::vector<int32_t>(1280, 0), 1920, true).UsesSimd() ||
              !__builtin_cpu_supports("ssse3"));
}

}  // namespace
}  // namespace qv::test
