#pragma once
// The display configuration shared by the settings dialog (which keeps it in step with its
// controls), the composers, the output dispatch and the display surfaces.

#include <cstdint>

namespace qv {

struct DisplayConfig {
  int16_t GlassesType = 0;     // 1 ... 7, the viewing hardware chosen in the settings dialog
  int32_t ScreenWidth = 0;     // full-screen resolution chosen in the settings dialog
  int32_t ScreenHeight = 0;
  int32_t ColourDepth = 0;     // bits per pixel
  int32_t RefreshRate = 0;     // hertz; -1 = the display's default
  int16_t VertOffset = 0;      // divisor of the screen height that gives the sync-doubled gap
  bool InterlaceViaOpenGL = false;  // full-screen interlaced output goes through OpenGL
};

inline DisplayConfig gDisplay;

}  // namespace qv
