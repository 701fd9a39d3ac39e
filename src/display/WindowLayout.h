#pragma once
// Where a surface puts its window (screen pixels) and the picture inside it (window pixels).

#include <cstdint>

namespace qv {

struct WindowLayout {
  int32_t WindowLeft = 0;
  int32_t WindowTop = 0;
  int32_t WindowWidth = 0;
  int32_t WindowHeight = 0;
  int32_t PictureX = 0;
  int32_t PictureY = 0;
  int32_t PictureWidth = 0;
  int32_t PictureHeight = 0;
  bool operator==(const WindowLayout&) const = default;
};

// Windowed: a window of the picture's width, 50 pixels taller than it, centred on the screen of
// areaWidth x areaHeight. Full screen: a window of the whole area with the picture letterboxed
// into it, starting on an even row so that interlaced lines keep their parity.
WindowLayout LayOutWindow(bool fullscreen, int32_t width, int32_t height, int32_t areaWidth,
                          int32_t areaHeight);

}  // namespace qv
