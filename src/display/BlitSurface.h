#pragma once
// BlitSurface: the plain display surface. It shows each composed frame either in a target
// window (windowed: the main window, which it moves to the centre of the screen and sizes to the
// frame) or on a borderless window over the whole screen (full screen, the picture letterboxed).
// It can show a start and an end line-code picture for a set time (one second) when it opens and
// closes, which switches shutter glasses of the line-code kind on and off.
//
// Clicks, keys and the loss of the focus in its window go to OnClick, OnKey and OnLost (the
// values as QtInput.h describes them), also while a line code is shown.
//
// Frames are converted once into the window system's 32-bit format and painted synchronously
// (PutImage returns when the frame is in the window). Measured at 1280 x 720: the conversion
// takes 0.6 ms and the unscaled paint 0.1 ms; painting the bottom-up memory in place through a
// flipping transform took 2.9 ms (5.6 to 13.6 ms when scaled smoothly) and our own smoothing
// stretch 20 to 38 ms.
//
// Qt's user-interface thread only; needs a QApplication.

#include <QImage>
#include <QPointer>

#include <chrono>
#include <cstdint>
#include <memory>

#include "display/LineCodeTimer.h"
#include "display/WindowLayout.h"
#include "playback/DisplaySurface.h"

class QWidget;

namespace qv {

class BlitWidget;

using BlitLayout = WindowLayout;

// What the user reads when the surface cannot open, followed by the reason. The routine is named
// as the program's messages have always named it.
inline constexpr const char* kBlitOpenFailed = "An error occurred in frmBlt" "Surface::OpenDisplay. ";

class BlitSurface : public DisplaySurface {
 public:
  BlitSurface();
  ~BlitSurface() override;
  BlitSurface(const BlitSurface&) = delete;
  BlitSurface& operator=(const BlitSurface&) = delete;

  // Lays the surface out for frames of srcX x srcY and clears it. Windowed: the target window
  // is centred on the screen (never off its top or left edge), srcX wide and srcY + 50 high,
  // with the picture at its top-left corner; the extra 50 rows leave room for the main window's
  // menu bar. Full screen: the window covers the screen and the picture is letterboxed into it
  // by FitToScreen, its top row made even so that interlaced rows keep their parity.
  void ResizeSurface(int32_t srcX, int32_t srcY) override;
  // permanent: the last frame is kept and shown again whenever the window is repainted (exposed,
  // resized); otherwise a repaint shows the cleared window until the next frame. A frame size
  // that is not positive or a missing start line-code picture is reported ("An error occurred in
  // BlitSurface::OpenDisplay. " and the error's text) and gives false.
  bool OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool permanent, bool useLineCode,
                   const PictureRef& lineCodeStart, const PictureRef& lineCodeEnd) override;
  // Shows the end line code when the start one was shown, then destroys the surface's window
  // (the target window stays). Always true; safe when not open and from inside the surface's own
  // event handlers.
  bool CloseDisplay() override;
  // resize false: the picture's top-left part is copied unscaled into the picture rectangle.
  // resize true: the whole picture is scaled onto it, smoothly unless it is enlarged with quick
  // set, when pixels are repeated. Always true; a picture that cannot be shown shows nothing.
  bool PutImage(const Picture& picture, bool resize, bool quick) override;

  // The widget whose area shows windowed output (the main window's picture area); its top-level
  // window is what gets moved and sized. nullptr (the default) = a top-level window of the
  // surface's own. Takes effect at the next ResizeSurface.
  void SetTarget(QWidget* target);
  QWidget* Target() const;

  const BlitLayout& Layout() const { return layout_; }
  bool IsOpen() const { return open_; }
  // The widget that shows the pictures and receives the input events; nullptr while closed.
  QWidget* PictureWidget() const;

  // How long a line code stays on the screen, for every surface (LineCodeTimer).
  static void SetLineCodeDuration(std::chrono::milliseconds duration);
  static std::chrono::milliseconds LineCodeDuration();

 private:
  void EnsureWidget();
  void DestroyWidget();
  void PlaceWindow();
  void ShowWidget();
  // Stretches the line-code picture across the screen's width at the top of the window, keeps
  // it there for the line-code duration while window messages are processed, then clears.
  void ShowLineCode(const Picture& code);

  bool fullscreen_ = false;
  bool permanent_ = false;
  bool open_ = false;
  bool closing_ = false;
  bool lineCodeInUse_ = false;
  BlitLayout layout_;
  QPointer<QWidget> target_;
  QPointer<BlitWidget> widget_;
  LineCodeTimer lineCodeTimer_;
  PictureRef endLineCode_;
  QImage scratch_;  // the converted frame before it is scaled down
};

// The process-wide surface, created on first use (after the QApplication) and never destroyed.
BlitSurface& TheBlitSurface();

}  // namespace qv
