#pragma once
// NvidiaStereoSurface: full-screen output for NVidia stereo. In NVidia stereo mode each frame is
// a side-by-side pair (left eye left). The surface loads it into an image surface of twice the
// eye width (the frame letterboxed into twice the screen's width), writes the stereo tag into that
// surface's last row (WriteStereoTag), and shows the left-eye rectangle of the tagged surface in
// the middle of the screen: a stereo driver that finds the tag presents the pair, anything else
// shows the left eye. Without NVidia stereo it scales the frame into the screen, letterboxed.
//
// It is an OpenGL window over the whole screen: the image surface lives in memory in the back
// buffer's format (32-bit XRGB, or 5-6-5 at a colour depth of 16), and the back buffer is the
// window's. Opening switches the screen to the mode of the display settings (Settings()) and
// closing puts the old mode back. Like the other surfaces it can show a start and an end line
// code for one second.
//
// Clicks, keys and the loss of the focus go to OnClick, OnKey and OnLost. Qt's user-interface
// thread only; needs a QGuiApplication.

#include <QImage>
#include <QPointer>

#include <cstdint>

#include "display/LineCodeTimer.h"
#include "display/ScreenModes.h"
#include "playback/DisplaySurface.h"

namespace qv {

class GLWindow;

inline constexpr const char* kNoWindowedDisplay = "This mode does not support windowed display.";
inline constexpr const char* kInitialiseFailed =
    "Failed to initialise DirectX. Try changing the resolution and/or colour depth in "
    "Display>Configure Display.";
inline constexpr const char* kStereoPutFailed =
    "An error occurred while trying to display image. Ensure that stereo is enabled in control "
    "panel.";

class NvidiaStereoSurface : public DisplaySurface {
 public:
  NvidiaStereoSurface();
  explicit NvidiaStereoSurface(ModeSwitcher& modes);
  ~NvidiaStereoSurface() override;
  NvidiaStereoSurface(const NvidiaStereoSurface&) = delete;
  NvidiaStereoSurface& operator=(const NvidiaStereoSurface&) = delete;

  // Letterboxes the new frame size and makes a new image surface of it.
  void ResizeSurface(int32_t srcX, int32_t srcY) override;
  // Full screen only ("This mode does not support windowed display." and false otherwise). A
  // colour depth other than 16, 24 or 32 is refused ("Invalid colour depth: " and the depth,
  // then kInitialiseFailed, and false).
  bool OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool nvidiaStereo, bool useLineCode,
                   const PictureRef& lineCodeStart, const PictureRef& lineCodeEnd) override;
  // The end line code when line codes are in use; then the window goes and the screen mode comes
  // back. Always true; safe when not open, twice, and from the window's own event handlers.
  bool CloseDisplay() override;
  // Uploads (a copy turned upside down, scaled with no filter, repeated pixels when quick, or
  // smoothly), tags, copies and presents. False, after the message, when a step failed.
  bool PutImage(const Picture& picture, bool resize, bool quick) override;
  // The line code stretched across the top of the screen with repeated pixels, at its own height.
  bool PutLineCode(const Picture& code);

  bool IsOpen() const;
  // The tagged image surface of the last frame (top row first) and the letterboxed picture.
  const QImage& ImageSurface() const { return imageSurface_; }
  QRect PictureRect() const { return {pictureX_, pictureY_, pictureWidth_, pictureHeight_}; }
  int32_t SurfaceBits() const { return surfaceBits_; }
  GLWindow* PictureWindow() const;
  const ScreenModes& Modes() const { return modes_; }

 private:
  bool FitPicture(int32_t srcX, int32_t srcY);
  bool Initialize3DEnvironment(bool fullscreen);
  bool InitDeviceObjects(const Picture& picture, bool resize, bool quick);
  bool RestoreDeviceObjects();
  void ReleaseSurfaces();
  void ReleaseDevice();
  bool HasDevice() const;
  void ClearTarget();
  void Present();
  void MakeImageSurface();

  bool nvidiaStereo_ = false;
  bool useLineCode_ = false;
  bool fullscreen_ = false;
  bool closing_ = false;
  QRect display_;
  int32_t pictureX_ = 0;
  int32_t pictureY_ = 0;
  int32_t pictureWidth_ = 0;
  int32_t pictureHeight_ = 0;
  QImage::Format backBufferFormat_ = QImage::Format_Invalid;
  QImage imageSurface_;
  int32_t surfaceBits_ = 0;
  PictureRef endLineCode_;
  QPointer<GLWindow> window_;
  ScreenModes modes_;
  LineCodeTimer lineCodeTimer_;
};

// The process-wide surface, created on first use (after the QGuiApplication), never destroyed.
NvidiaStereoSurface& TheNvidiaStereoSurface();

}  // namespace qv
