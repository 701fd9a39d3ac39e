#pragma once
// The display-surface interface: what the output dispatch opens, puts composed frames on and
// closes. Implemented by the window surfaces (blit, OpenGL), by a recording surface in tests and
// by the video-file surface of `quorvex convert`. No toolkit types appear here.
//
// Surfaces report a click, a key or the loss of the focus to the display callbacks (OnClick,
// OnKey, OnLost), which perform the action the playback session registered.

#include <cstdint>

#include "base/DisplayConfig.h"
#include "image/Picture.h"

namespace qv {

class DisplaySurface {
 public:
  virtual ~DisplaySurface() = default;

  // Opens the surface for frames of srcX x srcY. modeFlag means what the surface makes of it
  // (persistent drawing on the blit surface, quad-buffer stereo on the OpenGL surface). With
  // useLineCode the start line-code picture is shown for one second first and the end one when
  // the surface closes. Returns false when it could not open (it has told the user why).
  virtual bool OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool modeFlag,
                           bool useLineCode, const PictureRef& lineCodeStart,
                           const PictureRef& lineCodeEnd) = 0;
  // Shows a picture; resize scales it to the surface, quick allows the cheap scaling. False asks
  // the session to stop.
  virtual bool PutImage(const Picture& picture, bool resize, bool quick) = 0;
  virtual void ResizeSurface(int32_t srcX, int32_t srcY) = 0;
  // Closes the surface (after the end line code when one is in use). Safe when never opened.
  virtual bool CloseDisplay() = 0;

  // The display settings of the session that opens the surface (screen mode, refresh rate,
  // vertical offset), handed over by the output dispatch just before OpenDisplay.
  void UseSettings(const DisplayConfig& settings) { settings_ = settings; }
  const DisplayConfig& Settings() const { return settings_; }

 private:
  DisplayConfig settings_;
};

}  // namespace qv
