#include "stereo/ScreenSizes.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"

namespace qv {

namespace {

double Divide(double dividend, double divisor) {
  if (divisor == 0.0) throw err::DivisionByZero();
  return dividend / divisor;
}

}  // namespace

int32_t CurrentScreenWidth() {
  const ScreenInfo& screen = Screen();
  const double twips = static_cast<double>(screen.WidthPixels()) * screen.TwipsPerPixelX();
  return ToInt32Checked(Divide(twips, screen.TwipsPerPixelX()));
}

int32_t CurrentScreenHeight() {
  const ScreenInfo& screen = Screen();
  const double twips = static_cast<double>(screen.HeightPixels()) * screen.TwipsPerPixelY();
  return ToInt32Checked(Divide(twips, screen.TwipsPerPixelY()));
}

int32_t FitToScreen(int32_t& width, int32_t& height, int32_t& offsetX, int32_t& offsetY,
                    int32_t targetWidth, int32_t targetHeight) {
  offsetX = 0;
  offsetY = 0;
  const double aspect = Divide(width, height);
  const double targetAspect = Divide(targetWidth, targetHeight);
  if (targetAspect <= aspect) {
    height = ToInt32Checked(Divide(height, width) * targetWidth);
    width = targetWidth;
    offsetY = ToInt32Checked((static_cast<double>(targetHeight) - height) / 2.0);
  } else {
    width = ToInt32Checked(aspect * targetHeight);
    height = targetHeight;
    offsetX = ToInt32Checked((static_cast<double>(targetWidth) - width) / 2.0);
  }
  height = ToInt32Checked(2.0 * Floor(height / 2.0));
  width = ToInt32Checked(2.0 * Floor(width / 2.0));
  return width;
}

}  // namespace qv
