// Fitting a picture to the screen (letterboxing with even sizes, rounding halves to even, zero
// sizes) and the current screen size from the screen seam. The blit surface's layout table has
// more letterboxed cases.
#include <gtest/gtest.h>

#include "base/Error.h"
#include "base/Seams.h"
#include "stereo/ScreenSizes.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

// FitToScreen's result as "width x height at offsetX, offsetY".
std::string Fit(int32_t w, int32_t h, int32_t targetW, int32_t targetH) {
  int32_t x = -1, y = -1;
  const int32_t result = FitToScreen(w, h, x, y, targetW, targetH);
  return std::to_string(w) + "x" + std::to_string(h) + " at " + std::to_string(x) + "," +
         std::to_string(y) + (result == w ? "" : " but returned " + std::to_string(result));
}

TEST(ScreenModes, FitToScreenLetterboxesAndKeepsSizesEven) {
  EXPECT_EQ(Fit(640, 480, 1024, 768), "1024x768 at 0,0");    // same aspect
  EXPECT_EQ(Fit(720, 576, 1280, 1024), "1280x1024 at 0,0");  // same aspect, height branch
  // h = round(599.06) = 599, offY = round(100.5) = 100, then h becomes even: 598.
  EXPECT_EQ(Fit(641, 480, 800, 800), "800x598 at 0,100");
  // A tall picture: w = round(0.5 x 601) = 300 and offX = round(251 / 2) = 126 (halves to even).
  EXPECT_EQ(Fit(300, 600, 551, 601), "300x600 at 126,0");

  int32_t w = 640, h = 0, x = 0, y = 0;  // zero sizes raise errors instead of dividing by zero
  EXPECT_THROW(FitToScreen(w, h, x, y, 1024, 768), AppError);
  h = 480;
  EXPECT_THROW(FitToScreen(w, h, x, y, 1024, 0), AppError);
  w = 0;
  EXPECT_THROW(FitToScreen(w, h, x, y, 0, 768),
               AppError);  // the height branch divides by the width
}

TEST(ScreenModes, CurrentScreenSizeComesFromTheScreenSeam) {
  FixedScreen screen(1280, 1024, 15.0, 12.0), broken(1280, 0, 0.0, 15.0);
  Installed<ScreenInfo> installed(SetScreenInfo, &screen);
  EXPECT_EQ(std::pair(CurrentScreenWidth(), CurrentScreenHeight()), std::pair(1280, 1024));
  SetScreenInfo(&broken);
  EXPECT_THROW(CurrentScreenWidth(), AppError);
  EXPECT_EQ(CurrentScreenHeight(), 0);
  SetScreenInfo(nullptr);
  EXPECT_EQ(CurrentScreenWidth(), 1024);  // the default screen
}

}  // namespace
}  // namespace qv::test
