#include "display/WindowLayout.h"

#include <algorithm>

#include "base/Numbers.h"
#include "stereo/ScreenSizes.h"

namespace qv {

WindowLayout LayOutWindow(bool fullscreen, int32_t width, int32_t height, int32_t areaWidth,
                          int32_t areaHeight) {
  WindowLayout l;
  if (!fullscreen) {
    l.WindowWidth = width;
    l.WindowLeft = std::max(0, ToInt32Checked((areaWidth - static_cast<double>(width)) / 2.0));
    l.WindowTop = std::max(0, ToInt32Checked((areaHeight - static_cast<double>(height)) / 2.0));
    l.PictureWidth = width;
    l.PictureHeight = height;
    l.WindowHeight = height + 50;
  } else {
    l.WindowWidth = areaWidth;
    l.WindowHeight = areaHeight;
    FitToScreen(width, height, l.PictureX, l.PictureY, areaWidth, areaHeight);
    l.PictureWidth = width;
    l.PictureHeight = height;
    l.PictureY -= l.PictureY % 2;
  }
  return l;
}

}  // namespace qv
