#pragma once
// GLWindow: the OpenGL window of the OpenGL and NVidia stereo surfaces. One window with one
// context, drawn into directly (a picture is uploaded into a texture and drawn as a rectangle,
// then the buffers are swapped when the surface says so). It forwards clicks, keys and the loss
// of the focus to the display callbacks on behalf of its surface, and asks its surface to draw
// again when the window system has lost what it showed (exposure).
//
// Qt's user-interface thread only.

#include <QRect>
#include <QWindow>

#include <functional>
#include <memory>
#include <vector>

#include "image/Canvas.h"

class QOpenGLContext;
class QOpenGLFunctions_2_0;
class QSurfaceFormat;

namespace qv {

class DisplaySurface;

// The messages of a window whose pixel format or context could not be made, each shown with the
// title "ERROR" and the exclamation icon; the window stays usable and draws nothing.
inline constexpr const char* kNoPixelFormat = "Can't Find A Suitable PixelFormat.";
inline constexpr const char* kPixelFormatRefused = "Can't Set The PixelFormat.";
inline constexpr const char* kNoContext = "Can't Create A GL Rendering Context.";
inline constexpr const char* kContextNotCurrent = "Can't Activate The GL Rendering Context.";

class GLWindow : public QWindow {
 public:
  explicit GLWindow(DisplaySurface* owner);
  ~GLWindow() override;

  // After this the window forwards no more events: its surface has let go of it.
  void Detach() { owner_ = nullptr; }
  // Called when the window has been exposed again and must show its content anew.
  std::function<void()> Exposed;

  // Creates the native window with `format` and a context for it, current from then on; false
  // when there is none. With tellFailures every step that fails shows its message (the sequence
  // goes on).
  bool CreateContext(const QSurfaceFormat& format, bool tellFailures = true);
  void DestroyContext();
  // Makes the context current: false without one (then nothing may be drawn).
  bool Begin();
  QOpenGLFunctions_2_0& Gl() { return *gl_; }
  // Whether the context has quad buffers (back-left and back-right).
  bool HasStereoBuffers() const;
  void SwapBuffers();
  // Processes window messages until the window system shows the window (a second at most), so
  // that what is drawn next reaches the screen.
  void WaitUntilExposed();

  // Loads a 24-bit picture (blue, green, red; rows bottom-up, as the grid lays them out) into the
  // window's texture without converting it; only its first `columns` columns when given.
  void UploadPicture(const PixelGrid& grid, int columns = -1);
  // Loads `part` of a top-down 32-bit (Format_RGB32) or 16-bit (Format_RGB16) image.
  void UploadImage(const QImage& image, const QRect& part);
  // As DrawTexture for a projection of one unit to a window pixel with y up, when the rectangle
  // is drawn at its own size at whole pixels: then copies it (software renderers copy memory
  // where a drawing runs a shader for every pixel) and is true; otherwise draws nothing, false.
  bool CopyTexture(double x, double y, double w, double h, double s0, double t0, double s1,
                   double t1);
  // Draws the texture's rectangle (s0, t0) - (s1, t1) of texels (in texels, t counted as the
  // rows were given) onto the rectangle at (x, y) of size w x h in the current projection,
  // unfiltered (each screen pixel takes the texel under its centre) and black outside the texture.
  void DrawTexture(double x, double y, double w, double h, double s0, double t0, double s1,
                   double t1);

 protected:
  void exposeEvent(QExposeEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  void PrepareTexture(int width, int height);

  DisplaySurface* owner_;
  std::unique_ptr<QOpenGLContext> context_;
  QOpenGLFunctions_2_0* gl_ = nullptr;
  unsigned texture_ = 0;
  unsigned readFramebuffer_ = 0;  // reads the texture, for copies at its own size
  QSize textureSize_;
  QSize imageSize_;  // the size of the picture last loaded into the texture
  std::vector<uint32_t> staging_;  // a picture widened to four bytes a pixel on its way up
};

}  // namespace qv
