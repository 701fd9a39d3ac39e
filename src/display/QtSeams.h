#pragma once
// The Qt side of two engine seams, installed by the GUI at start-up:
//   QtEventPump: "let the window system process its messages" = QCoreApplication::processEvents.
//   QtScreenInfo: the primary screen in Qt's (device-independent) pixels; twips per pixel
//     = 1440 / the screen's logical dots per inch.
// Both need a QGuiApplication.

#include "base/Seams.h"

namespace qv {

class QtEventPump : public EventPump {
 public:
  void ProcessEvents() override;
};

// Without a screen (none attached) the sizes are 0 and the resolution the usual 15 twips a pixel.
class QtScreenInfo : public ScreenInfo {
 public:
  int32_t WidthPixels() const override;
  int32_t HeightPixels() const override;
  double TwipsPerPixelX() const override;
  double TwipsPerPixelY() const override;
};

}  // namespace qv
