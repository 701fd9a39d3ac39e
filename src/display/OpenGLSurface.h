#pragma once
// OpenGLSurface: shows composed frames through OpenGL, in a window (the main window's picture
// area) or full screen, in one of two ways:
//   - plain double-buffered pictures: the sync-doubled and full-screen interlaced frames, whose
//     layout the composers already made;
//   - quad-buffered stereo: the left half of a side-by-side frame goes to the back-left buffer
//     and the right half to the back-right one. A display without a stereo visual (most desktops,
//     Xvfb) is told to the user once, and the left eye is shown.
// Full screen it switches the screen to the mode of the display settings (Settings(): width,
// height, colour depth, refresh rate) and puts the old mode back when it closes. Like the blit
// surface it can show a start and an end line-code picture for one second each.
//
// Frames are loaded into a texture as they are stored (24-bit, rows bottom-up) and drawn as one
// rectangle with the zoom, pixels repeated, which shows what drawing the pixels with a pixel zoom
// shows.
//
// Clicks, keys and the loss of the focus in its window go to OnClick, OnKey and OnLost (values as
// QtInput.h describes them). Qt's user-interface thread only; needs a QGuiApplication.

#include <QPointer>
#include <QRect>

#include <cstdint>
#include <functional>

#include "display/LineCodeTimer.h"
#include "display/ScreenModes.h"
#include "display/WindowLayout.h"
#include "playback/DisplaySurface.h"

class QWidget;

namespace qv {

class GLWindow;

// Where the surface puts its window and the picture inside it: (PictureX, PictureY) is the
// picture's bottom-left corner counted from the window's bottom-left corner. Zoom scales the
// eye's picture to the window.
struct OpenGLLayout : WindowLayout {
  float Zoom = 1;
  bool operator==(const OpenGLLayout&) const = default;
};

// The layout for frames of srcX x srcY. The eye width e is round(srcX / 2) in stereo, else srcX.
// Windowed: the window is e wide and srcY + 50 high (the main window's own parts take the 50
// rows), centred on the screen and never off its top or left edge, the picture at (0, 0).
// Full screen: the window covers modeWidth x modeHeight from (0, 0) and the picture is e x srcY
// letterboxed into it, its row made even. Zoom = min(window width / e, window height / srcY).
// An eye or a height of 0 raises the division-by-zero error, a negative size the
// invalid-argument error.
OpenGLLayout LayOutOpenGL(bool fullscreen, bool stereo, int32_t srcX, int32_t srcY,
                          int32_t screenWidth, int32_t screenHeight, int32_t modeWidth,
                          int32_t modeHeight);

// What the user reads when the surface cannot open, followed by the reason.
inline constexpr const char* kOpenGLOpenFailed = "An error occurred in frmOpenGL::OpenDisplay. ";
// Told once a run when stereo is asked for and the display has no quad-buffered visual.
inline constexpr const char* kNoStereoVisual =
    "This display offers no quad-buffered stereo OpenGL, so only the left eye is shown. Shutter "
    "glasses need a graphics driver with stereo enabled.";

class OpenGLSurface : public DisplaySurface {
 public:
  // Screen modes are switched through `modes` (the X server's by default).
  OpenGLSurface();
  explicit OpenGLSurface(ModeSwitcher& modes);
  ~OpenGLSurface() override;
  OpenGLSurface(const OpenGLSurface&) = delete;
  OpenGLSurface& operator=(const OpenGLSurface&) = delete;

  // Shows the end line code when the start one was shown; full screen, puts the screen mode
  // back and shows the pointer; releases the context and destroys the window. Always true; safe
  // when not open, twice, and from inside the window's own event handlers.
  bool CloseDisplay() override;
  // Puts back the screen mode that the last full-screen opening found.
  void ResetDisplayMode();
  // Makes the mouse pointer visible over the surface.
  void ShowPointer();
  // Lays the surface out for frames of srcX x srcY (LayOutOpenGL), moves and sizes its window and
  // clears both buffers. A size that cannot be laid out is told and changes nothing.
  void ResizeSurface(int32_t srcX, int32_t srcY) override;
  // openGLStereo: quad-buffered stereo. Full screen the screen mode is switched first (a refused
  // mode is told and the surface opens at the mode the screen has). With useLineCode the start
  // code is shown for a second at the top of the window. Errors are told ("An error occurred in
  // frmOpenGL::OpenDisplay. " and the reason) and give false.
  bool OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool openGLStereo, bool useLineCode,
                   const PictureRef& lineCodeStart, const PictureRef& lineCodeEnd) override;
  // Draws the picture at the picture position, zoomed when resize is set, and swaps. In stereo
  // the left half goes to the back-left buffer and the right half to the back-right one. quick
  // is not used. Always true.
  bool PutImage(const Picture& picture, bool resize, bool quick) override;
  // Viewport (0, 0, width, height), a height of 0 counting as 1, with a 2-D projection in which
  // (0, 0) is the bottom-left corner and (width, height) the top-right.
  void ReSizeGLScene(int32_t width, int32_t height);

  // The widget whose area shows windowed output (the main window's picture area); nullptr = a
  // window of the surface's own. Takes effect at the next ResizeSurface.
  void SetTarget(QWidget* target);

  const OpenGLLayout& Layout() const { return layout_; }
  bool IsOpen() const { return open_; }
  // Whether the open window has quad buffers.
  bool HasStereoBuffers() const;
  // The viewport that ReSizeGLScene set last.
  QRect Viewport() const { return viewport_; }
  GLWindow* PictureWindow() const;
  const ScreenModes& Modes() const { return modes_; }
  // Lets the next opening tell again that the display has no stereo visual.
  static void ForgetStereoNotice();
  // The first OpenGL context of a run loads the driver, which takes a good part of a second (a
  // quarter with Mesa's software renderer); done at start-up it does not hold up the first
  // frames of a play, whose sound is already running. Once a run; needs a QGuiApplication.
  static void LoadDriver();

 private:
  void LayOut(int32_t srcX, int32_t srcY);
  void Draw(double x, double y, double w, double h, double s0, double t0, double s1, double t1);  // ResizeSurface, raising what it cannot lay out
  bool CreateGLWindow(int32_t width, int32_t height, int32_t colourDepth, bool fullscreen,
                      int32_t refreshRate);
  bool InitGL();
  bool ShowPicture(const Picture& picture);
  void EnsureWindow();
  void DestroyWindow();
  void PlaceWindow();
  void ClearBothBuffers();
  // The inner size of the window the surface draws into.
  QSize InnerSize() const;
  // Draws what was drawn last again (after an exposure), without swapping.
  void Redraw();

  bool fullscreen_ = false;
  bool stereo_ = false;
  bool open_ = false;
  bool closing_ = false;
  bool lineCodeInUse_ = false;
  OpenGLLayout layout_;
  QRect viewport_;
  QPointer<QWidget> target_;
  QPointer<GLWindow> window_;
  QPointer<QWidget> container_;  // holds the window inside the target
  PictureRef endLineCode_;
  ScreenModes modes_;
  LineCodeTimer lineCodeTimer_;
  std::function<void()> lastDrawing_;  // draws the last shown content again, for exposures
};

// The process-wide surface, created on first use (after the QGuiApplication), never destroyed.
OpenGLSurface& TheOpenGLSurface();

}  // namespace qv
