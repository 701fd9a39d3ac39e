// Fitting a picture to the screen (letterboxing with even sizes, rounding halves to even, zero
// sizes) and the current screen size from the screen seam.
#include <gtest/gtest.h>

#include "base/Error.h"
#include "base/Seams.h"
#include "display/ScreenModes.h"

namespace qv {
namespace {

TEST(ScreenModes, FitToScreenLetterboxesAndKeepsSizesEven) {
  struct Case {
    int32_t w, h, targetW, targetH, fitW, fitH, offX, offY;
  };
  const Case cases[] = {
      {640, 480, 1024, 768, 1024, 768, 0, 0},     // same aspect
      {720, 576, 1280, 1024, 1280, 1024, 0, 0},   // same aspect, height branch
      {1280, 480, 1024, 768, 1024, 384, 0, 192},  // wide
      // h = round(599.06) = 599, offY = round(100.5) = 100, then h becomes even: 598.
      {641, 480, 800, 800, 800, 598, 0, 100},
      // A tall picture: w = round(0.5 x 601) = 300 and offX = round(251 / 2) = 126.
      {300, 600, 551, 601, 300, 600, 126, 0},
  };
  for (const Case& c : cases) {
    int32_t w = c.w, h = c.h, offX = -1, offY = -1;
    EXPECT_EQ(FitToScreen(w, h, offX, offY, c.targetW, c.targetH), c.fitW);
    EXPECT_EQ(std::vector<int32_t>({w, h, offX, offY}),
              std::vector<int32_t>({c.fitW, c.fitH, c.offX, c.offY}))
        << c.w << "x" << c.h << " on " << c.targetW << "x" << c.targetH;
  }
}

TEST(ScreenModes, ZeroSizesRaiseErrorsInsteadOfDividingByZero) {
  int32_t w = 640, h = 0, x = 0, y = 0;
  EXPECT_THROW(FitToScreen(w, h, x, y, 1024, 768), AppError);
  h = 480;
  EXPECT_THROW(FitToScreen(w, h, x, y, 1024, 0), AppError);
  w = 0;
  EXPECT_THROW(FitToScreen(w, h, x, y, 0, 768),
               AppError);  // the height branch divides by the width
}

TEST(ScreenModes, CurrentScreenSizeComesFromTheScreenSeam) {
  FixedScreen screen(1280, 1024, 15.0, 12.0);
  SetScreenInfo(&screen);
  EXPECT_EQ(CurrentScreenWidth(), 1280);
  EXPECT_EQ(CurrentScreenHeight(), 1024);
  FixedScreen broken(1280, 0, 0.0, 15.0);
  SetScreenInfo(&broken);
  EXPECT_THROW(CurrentScreenWidth(), AppError);
  EXPECT_EQ(CurrentScreenHeight(), 0);
  SetScreenInfo(nullptr);
  EXPECT_EQ(CurrentScreenWidth(), 1024);  // the default screen
}

}  // namespace
}  // namespace qv
