// The shutter-glasses line codes: the size of every picture and the colour of each of its rows,
// counted from the top, across the whole width.
#include <gtest/gtest.h>

#include "playback/LineCodes.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Bgr;

// Red, green, yellow and black by their letters.
Bgr Colour(char letter) {
  const Bgr colours[] = {{0, 0, 255}, {0, 255, 0}, {0, 255, 255}, {0, 0, 0}};
  return colours[std::string("RGYK").find(letter)];
}

TEST(LineCodes, EachRowFromTheTopIsOnePureColour) {
  const std::string black24(24, 'K');
  // One letter a row, from the top.
  const std::tuple<LineCode, int, std::string> codes[] = {
      {LineCode::EDSync, 20, "RRGGYYYYYY"},
      {LineCode::EDInterlace, 9, "RRGGYYYYRR"},
      {LineCode::EDOff, 10, "RRGGYYYYKK"},
      {LineCode::EDInterlaceDeactivate, 10, "RRGGYYYYKK"},
      {LineCode::EDPageStart, 9, "RRGGYYYYGG"},
      {LineCode::EyeSync, 9, "RGRGRGRGGGYGYGGG" + black24},
      {LineCode::EyeOff, 7, "RGRGRGRGGGYGYGKG" + black24},
  };
  for (const auto& [code, width, rows] : codes) {
    SCOPED_TRACE(static_cast<int>(code));
    const PictureRef picture = CreateLineCode(code);
    ASSERT_NE(picture, nullptr);
    const auto height = static_cast<int>(rows.size());
    ASSERT_EQ(std::pair(picture->Width(), picture->Height()), std::pair(width, height));
    EXPECT_TRUE(test::SamePicture(*picture, *test::MakePicture(width, height, [&](int, int y) {
      return Colour(rows[static_cast<size_t>(y)]);
    })));
  }
}

}  // namespace
}  // namespace qv
