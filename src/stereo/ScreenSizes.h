#pragma once
// The screen-size queries and the letterbox fit shared by every display surface and by the
// composers. The screen comes from the ScreenInfo seam (base/Seams.h): the GUI installs the real
// screen, the command line and the tests a FixedScreen, so nothing here needs a window system.
// (Switching the screen mode belongs to the OpenGL surface.)

#include <cstdint>

namespace qv {

// The current screen size in pixels: the screen's size in twips divided by the twips per pixel,
// rounded (halves to even). A screen that reports 0 twips per pixel raises the division-by-zero
// error.
int32_t CurrentScreenWidth();
int32_t CurrentScreenHeight();

// Letterboxes a width x height picture into targetWidth x targetHeight, keeping its aspect ratio:
// when the target is relatively narrower (or equal), the picture takes the target's width and
// offsetY centres it vertically; otherwise it takes the target's height and offsetX centres it.
// Both sizes are then made even by rounding down; the offsets are those of the sizes before that.
// Returns the final width. Rounding is to the nearest integer, halves to even. A zero height
// or target height, or a zero width where the height branch divides by it, raises the
// division-by-zero error; a result beyond 32 bits the overflow error.
int32_t FitToScreen(int32_t& width, int32_t& height, int32_t& offsetX, int32_t& offsetY,
                    int32_t targetWidth, int32_t targetHeight);

}  // namespace qv
