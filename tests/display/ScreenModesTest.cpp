#include <gtest/gtest.h>

#include "base/Error.h"
#include "base/Seams.h"
#include "display/ScreenModes.h"

namespace qv {
namespace {

struct Fit {
  int32_t w, h, offX, offY, result;
};

Fit FitOf(int32_t w, int32_t h, int32_t targetW, int32_t targetH) {
  Fit f{w, h, -1, -1, 0};
  f.result = FitToScreen(f.w, f.h, f.offX, f.offY, targetW, targetH);
  return f;
}

void ExpectFit(const Fit& f, int32_t w, int32_t h, int32_t offX, int32_t offY) {
  EXPECT_EQ(f.w, w);
  EXPECT_EQ(f.h, h);
  EXPECT_EQ(f.offX, offX);
  EXPECT_EQ(f.offY, offY);
  EXPECT_EQ(f.result, w);
}

TEST(ScreenModes, FitToScreenLetterboxesAndKeepsSizesEven) {
  ExpectFit(FitOf(640, 480, 1024, 768), 1024, 768, 0, 0);   // same aspect
  ExpectFit(FitOf(720, 576, 1280, 1024), 1280, 1024, 0, 0);  // same aspect, height branch
  ExpectFit(FitOf(1280, 480, 1024, 768), 1024, 384, 0, 192);
  // h = round(599.06) = 599, offY = round(100.5) = 100, then h becomes even: 598.
  ExpectFit(FitOf(641, 480, 800, 800), 800, 598, 0, 100);
  // A tall picture: w = round(0.5 x 601) = 300 and offX = round(251 / 2) = 126 (halves to even).
  ExpectFit(FitOf(300, 600, 551, 601), 300, 600, 126, 0);
}

TEST(ScreenModes, ZeroSizesRaiseErrorsInsteadOfDividingByZero) {
  int32_t w = 640, h = 0, x = 0, y = 0;
  EXPECT_THROW(FitToScreen(w, h, x, y, 1024, 768), AppError);
  h = 480;
  EXPECT_THROW(FitToScreen(w, h, x, y, 1024, 0), AppError);
  w = 0;
  EXPECT_THROW(FitToScreen(w, h, x, y, 0, 768), AppError);  // the height branch divides by the width
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
