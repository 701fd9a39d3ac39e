#include "display/OpenGLSurface.h"

#include <dlfcn.h>
#include <link.h>

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions_2_0>
#include <QSurfaceFormat>
#include <QWidget>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "display/GLWindow.h"
#include "display/XRandRModes.h"
#include "image/BufferHelpers.h"
#include "stereo/ScreenSizes.h"

namespace qv {

namespace {

bool gStereoNoticeGiven = false;

// Keeps its parent widget covering the whole of the widget it watches.
class FillParent : public QObject {
 public:
  explicit FillParent(QWidget* parent) : QObject(parent) {}
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Resize) {
      static_cast<QWidget*>(parent())->setGeometry(static_cast<QWidget*>(watched)->rect());
    }
    return false;
  }
};

// The window's pixel format: double-buffered RGB of the colour depth (5-6-5 at 16 bits, 8 bits a
// channel otherwise), a 16-bit depth buffer, quad buffers when stereo is wanted.
QSurfaceFormat FormatFor(int32_t colourDepth, bool stereo) {
  QSurfaceFormat format;
  format.setRenderableType(QSurfaceFormat::OpenGL);
  format.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
  format.setStereo(stereo);
  const bool sixteen = colourDepth == 16;
  format.setRedBufferSize(sixteen ? 5 : 8);
  format.setGreenBufferSize(sixteen ? 6 : 8);
  format.setBlueBufferSize(sixteen ? 5 : 8);
  format.setDepthBufferSize(16);
  return format;
}

}  // namespace

OpenGLLayout LayOutOpenGL(bool fullscreen, bool stereo, int32_t srcX, int32_t srcY,
                          int32_t screenWidth, int32_t screenHeight, int32_t modeWidth,
                          int32_t modeHeight) {
  if (srcX < 0 || srcY < 0) throw err::InvalidArgument();
  const int32_t eye = stereo ? ToInt32Checked(srcX / 2.0) : srcX;
  OpenGLLayout l;
  static_cast<WindowLayout&>(l) = fullscreen
                                      ? LayOutWindow(true, eye, srcY, modeWidth, modeHeight)
                                      : LayOutWindow(false, eye, srcY, screenWidth, screenHeight);
  if (eye == 0 || srcY == 0) throw err::DivisionByZero();
  l.Zoom = static_cast<float>(std::min(static_cast<double>(l.WindowWidth) / eye,
                                       static_cast<double>(l.WindowHeight) / srcY));
  return l;
}

OpenGLSurface::OpenGLSurface() : OpenGLSurface(TheXRandRModes()) {}

OpenGLSurface::OpenGLSurface(ModeSwitcher& modes) : modes_(modes) {}

OpenGLSurface::~OpenGLSurface() {
  if (modes_.Changed()) modes_.ResetDisplayMode();
  DestroyWindow();
}

void OpenGLSurface::ForgetStereoNotice() {
  gStereoNoticeGiven = false;
}

namespace {

// The loader unloads the driver with the last context, and the next surface would load it all
// over again: the drivers loaded now stay for the rest of the run.
void KeepDriversLoaded() {
  std::vector<std::string> drivers;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* found) {
        const std::string_view name = info->dlpi_name ? info->dlpi_name : "";
        if (name.find("_dri.so") != std::string_view::npos) {
          static_cast<std::vector<std::string>*>(found)->emplace_back(name);
        }
        return 0;
      },
      &drivers);
  for (const std::string& driver : drivers) {
    dlopen(driver.c_str(), RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

}  // namespace

void OpenGLSurface::LoadDriver() {
  static bool loaded = false;
  if (loaded) return;
  loaded = true;
  QOffscreenSurface surface;
  surface.create();
  QOpenGLContext context;
  if (context.create() && context.makeCurrent(&surface)) {
    KeepDriversLoaded();
    context.doneCurrent();
  }
}

void OpenGLSurface::SetTarget(QWidget* target) {
  target_ = target;
}

GLWindow* OpenGLSurface::PictureWindow() const {
  return window_.data();
}

bool OpenGLSurface::HasStereoBuffers() const {
  return window_ && window_->HasStereoBuffers();
}

void OpenGLSurface::ResizeSurface(int32_t srcX, int32_t srcY) {
  try {
    LayOut(srcX, srcY);
  } catch (const std::exception& e) {
    MsgBox(DescribeError(e));  // the surface keeps its layout
  }
}

void OpenGLSurface::LayOut(int32_t srcX, int32_t srcY) {
  layout_ = LayOutOpenGL(fullscreen_, stereo_, srcX, srcY, CurrentScreenWidth(),
                         CurrentScreenHeight(), Settings().ScreenWidth, Settings().ScreenHeight);
  EnsureWindow();
  PlaceWindow();
  if (window_ && window_->Begin()) {
    const QSize inner = InnerSize();
    ReSizeGLScene(inner.width(), inner.height());
    ClearBothBuffers();
  }
}

QSize OpenGLSurface::InnerSize() const {
  // Asked for, not yet granted: the window system resizes windows after the call that asks.
  return container_ ? QSize(layout_.PictureWidth, layout_.PictureHeight)
                    : QSize(layout_.WindowWidth, layout_.WindowHeight);
}

void OpenGLSurface::EnsureWindow() {
  if (window_) return;
  window_ = new GLWindow(this);
  window_->setTitle(QString::fromUtf8(kAppName));
  window_->Exposed = [this] { Redraw(); };
  if (!fullscreen_ && target_) {
    container_ = QWidget::createWindowContainer(window_, target_);
    container_->setFocusPolicy(Qt::StrongFocus);
    container_->setGeometry(target_->rect());
    target_->installEventFilter(new FillParent(container_));
  } else if (fullscreen_) {
    window_->setFlags(Qt::Window | Qt::FramelessWindowHint);
  }
}

void OpenGLSurface::DestroyWindow() {
  lastDrawing_ = nullptr;
  if (!window_) return;
  GLWindow* window = window_.data();
  window_ = nullptr;
  window->Detach();
  window->Exposed = nullptr;
  window->DestroyContext();
  window->hide();
  // We may be inside one of the window's own event handlers.
  if (container_) {
    container_->hide();
    container_->deleteLater();  // and the window with it
  } else {
    window->deleteLater();
  }
  container_ = nullptr;
}

void OpenGLSurface::PlaceWindow() {
  const OpenGLLayout& l = layout_;
  if (container_ && target_) {
    // As the blit surface does: the main window gets what its own parts take beside the target,
    // so that the target, and the window in it, is the picture's size.
    QWidget* window = target_->window();
    const QSize around = window->size() - target_->size();
    window->move(l.WindowLeft, l.WindowTop);
    window->resize(l.PictureWidth + around.width(), l.PictureHeight + around.height());
    container_->setGeometry(target_->rect());
  } else if (fullscreen_) {
    window_->setGeometry(l.WindowLeft, l.WindowTop, l.WindowWidth, l.WindowHeight);
  } else {
    window_->setFramePosition(QPoint(l.WindowLeft, l.WindowTop));
    window_->resize(l.WindowWidth, l.WindowHeight);
  }
}

void OpenGLSurface::ReSizeGLScene(int32_t width, int32_t height) {
  if (height == 0) height = 1;
  viewport_ = QRect(0, 0, width, height);
  if (!window_ || !window_->Begin()) return;
  QOpenGLFunctions_2_0& gl = window_->Gl();
  const qreal ratio = window_->devicePixelRatio();
  gl.glViewport(0, 0, static_cast<GLsizei>(width * ratio), static_cast<GLsizei>(height * ratio));
  gl.glMatrixMode(GL_PROJECTION);
  gl.glLoadIdentity();
  gl.glOrtho(0, width, 0, height, -1, 1);
  gl.glMatrixMode(GL_MODELVIEW);
  gl.glLoadIdentity();
}

bool OpenGLSurface::InitGL() {
  QOpenGLFunctions_2_0& gl = window_->Gl();
  gl.glShadeModel(GL_SMOOTH);
  gl.glClearColor(0, 0, 0, 0);
  gl.glClearDepth(1.0);
  gl.glEnable(GL_DEPTH_TEST);
  gl.glDepthFunc(GL_LEQUAL);
  gl.glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_NICEST);
  return true;
}

void OpenGLSurface::ClearBothBuffers() {
  if (!window_ || !window_->Begin()) return;
  QOpenGLFunctions_2_0& gl = window_->Gl();
  gl.glDrawBuffer(GL_FRONT_AND_BACK);
  gl.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  gl.glLoadIdentity();
  lastDrawing_ = [] {};
}

bool OpenGLSurface::CreateGLWindow(int32_t width, int32_t height, int32_t colourDepth,
                                   bool fullscreen, int32_t refreshRate) {
  if (fullscreen) {
    modes_.SetScreenMode(width, height, colourDepth, fullscreen, refreshRate);
    PlaceWindow();  // the screen may have changed under it
  }
  window_->CreateContext(FormatFor(colourDepth, stereo_));
  if (container_) {
    container_->show();
    QWidget* main = target_ ? target_->window() : container_->window();
    main->show();
    main->raise();
    main->activateWindow();
    container_->setFocus(Qt::OtherFocusReason);
  } else {
    window_->show();
    window_->raise();
    window_->requestActivate();
  }
  window_->WaitUntilExposed();
  const QSize inner = InnerSize();
  ReSizeGLScene(inner.width(), inner.height());
  if (window_->Begin() && !InitGL()) MsgBox("Initialization Failed.", msg::kExclamation, "ERROR");
  if (stereo_ && window_->Begin() && !window_->HasStereoBuffers() && !gStereoNoticeGiven) {
    gStereoNoticeGiven = true;
    MsgBox(kNoStereoVisual);
  }
  return true;
}

bool OpenGLSurface::OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool openGLStereo,
                                bool useLineCode, const PictureRef& lineCodeStart,
                                const PictureRef& lineCodeEnd) {
  try {
    fullscreen_ = fullscreen;
    stereo_ = openGLStereo;
    lineCodeInUse_ = false;
    LayOut(srcX, srcY);
    open_ = true;
    if (!CreateGLWindow(layout_.WindowWidth, layout_.WindowHeight, Settings().ColourDepth,
                        fullscreen, Settings().RefreshRate)) {
      CloseDisplay();
      return false;
    }
    if (fullscreen && window_->Begin()) {
      window_->Gl().glDisable(GL_BLEND);
      window_->Gl().glShadeModel(GL_FLAT);
    }
    if (useLineCode) {
      if (!ShowPicture(Deref(lineCodeStart))) {
        CloseDisplay();
        return false;
      }
      lineCodeTimer_.Wait();
      if (!window_) return true;  // closed by a click or a key while the line code was shown
      if (window_->Begin()) {
        // The code goes: the back buffer, cleared, is shown.
        window_->Gl().glDrawBuffer(GL_BACK);
        window_->Gl().glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        window_->SwapBuffers();
      }
      CopyDIB(lineCodeEnd, endLineCode_, false);
      lineCodeInUse_ = true;
    }
    ClearBothBuffers();
    return true;
  } catch (const std::exception& e) {
    MsgBox(kOpenGLOpenFailed + DescribeError(e));
    // Nothing half-open stays behind: the window goes and the screen mode comes back.
    if (open_) CloseDisplay();
    return false;
  }
}

bool OpenGLSurface::ShowPicture(const Picture& picture) {
  const PixelGrid grid = picture.ReadGrid();
  if (grid.Empty()) return false;
  if (!window_ || !window_->Begin()) return true;
  ClearBothBuffers();
  window_->UploadPicture(grid);
  const int32_t width = viewport_.width(), height = viewport_.height();
  const int32_t codeWidth = grid.width, codeHeight = grid.height;
  lastDrawing_ = [this, width, height, codeWidth, codeHeight] {
    QOpenGLFunctions_2_0& gl = window_->Gl();
    gl.glDrawBuffer(GL_BACK);
    gl.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    // Stretched across the window and kept at its own height, at the top.
    window_->DrawTexture(0, height - codeHeight, width, codeHeight, 0, 0, codeWidth, codeHeight);
  };
  lastDrawing_();
  DoEvents();
  if (window_) window_->SwapBuffers();
  return true;
}

// The surface's projection is one unit to a pixel, y up: pictures at their own size are copied.
void OpenGLSurface::Draw(double x, double y, double w, double h, double s0, double t0, double s1,
                         double t1) {
  if (!window_->CopyTexture(x, y, w, h, s0, t0, s1, t1)) {
    window_->DrawTexture(x, y, w, h, s0, t0, s1, t1);
  }
}

bool OpenGLSurface::PutImage(const Picture& picture, bool resize, bool quick) {
  (void)quick;
  const PixelGrid grid = picture.ReadGrid();
  if (grid.Empty() || !window_ || !window_->Begin()) return true;
  QOpenGLFunctions_2_0& gl = window_->Gl();
  gl.glDrawBuffer(GL_FRONT_AND_BACK);
  const double zoom = resize ? layout_.Zoom : 1.0;
  const double x = layout_.PictureX, y = layout_.PictureY;
  const int32_t width = grid.width, height = grid.height;
  // Without quad buffers only the left eye is drawn, and only it is loaded.
  const bool leftOnly = stereo_ && !window_->HasStereoBuffers();
  window_->UploadPicture(grid, leftOnly ? ToInt32Checked(width / 2.0) : width);
  if (!stereo_) {
    lastDrawing_ = [this, x, y, zoom, width, height] {
      window_->Gl().glDrawBuffer(GL_BACK);
      Draw(x, y, width * zoom, height * zoom, 0, 0, width, height);
    };
  } else {
    // The left half, and the right half beside it (black beyond the picture for an odd width).
    const int32_t half = ToInt32Checked(width / 2.0);
    const bool quad = window_->HasStereoBuffers();
    lastDrawing_ = [this, x, y, zoom, half, height, quad] {
      QOpenGLFunctions_2_0& gl = window_->Gl();
      gl.glDrawBuffer(quad ? GL_BACK_LEFT : GL_BACK);
      Draw(x, y, half * zoom, height * zoom, 0, 0, half, height);
      if (!quad) return;
      gl.glDrawBuffer(GL_BACK_RIGHT);
      Draw(x, y, half * zoom, height * zoom, half, 0, 2 * half, height);
    };
  }
  lastDrawing_();
  DoEvents();
  if (window_) window_->SwapBuffers();
  return true;
}

void OpenGLSurface::Redraw() {
  if (!lastDrawing_ || !window_ || !window_->Begin()) return;
  QOpenGLFunctions_2_0& gl = window_->Gl();
  gl.glDrawBuffer(GL_BACK);
  gl.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  lastDrawing_();
  window_->SwapBuffers();
}

void OpenGLSurface::ResetDisplayMode() {
  modes_.ResetDisplayMode();
}

void OpenGLSurface::ShowPointer() {
  if (window_) window_->unsetCursor();
  while (QGuiApplication::overrideCursor() &&
         QGuiApplication::overrideCursor()->shape() == Qt::BlankCursor) {
    QGuiApplication::restoreOverrideCursor();
  }
}

bool OpenGLSurface::CloseDisplay() {
  if (closing_) return true;  // asked again by an event during the end line code
  closing_ = true;
  if (lineCodeInUse_ && endLineCode_ && window_) {
    ShowPicture(*endLineCode_);
    lineCodeTimer_.Wait();
  }
  if (endLineCode_) {
    endLineCode_->ClearUp();
    endLineCode_.reset();
  }
  lineCodeInUse_ = false;
  if (fullscreen_) {
    ResetDisplayMode();
    ShowPointer();
  }
  DestroyWindow();
  open_ = false;
  closing_ = false;
  return true;
}

OpenGLSurface& TheOpenGLSurface() {
  // Never destroyed: its window must not outlive the QGuiApplication, which ends first.
  static OpenGLSurface* surface = new OpenGLSurface;
  return *surface;
}

}  // namespace qv
