#include "display/GLWindow.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QExposeEvent>
#include <QFocusEvent>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QOpenGLFunctions_2_0>
#include <QOpenGLVersionFunctionsFactory>

#include <algorithm>

#include "base/Seams.h"
#include "display/QtInput.h"
#include "playback/DisplayEvents.h"

// Not in every gl.h that Qt's headers bring along.
#ifndef GL_BGR
#define GL_BGR 0x80E0
#endif
#ifndef GL_BGRA
#define GL_BGRA 0x80E1
#endif
#ifndef GL_CLAMP_TO_BORDER
#define GL_CLAMP_TO_BORDER 0x812D
#endif
#ifndef GL_UNSIGNED_SHORT_5_6_5
#define GL_UNSIGNED_SHORT_5_6_5 0x8363
#endif

namespace qv {

GLWindow::GLWindow(DisplaySurface* owner) : owner_(owner) {
  setSurfaceType(QSurface::OpenGLSurface);
}

GLWindow::~GLWindow() {
  DestroyContext();
}

bool GLWindow::CreateContext(const QSurfaceFormat& format, bool tellFailures) {
  auto tell = [tellFailures](const char* text) {
    if (tellFailures) MsgBox(text, msg::kExclamation, "ERROR");
  };
  DestroyContext();
  setFormat(format);
  create();
  if (!handle()) tell(kNoPixelFormat);
  if (!supportsOpenGL()) tell(kPixelFormatRefused);
  context_ = std::make_unique<QOpenGLContext>();
  context_->setFormat(format);
  if (!context_->create()) {
    tell(kNoContext);
    context_.reset();
  }
  if (!context_ || !handle() || !context_->makeCurrent(this)) {
    tell(kContextNotCurrent);
    context_.reset();
    return false;
  }
  gl_ = QOpenGLVersionFunctionsFactory::get<QOpenGLFunctions_2_0>(context_.get());
  if (!gl_ || !gl_->initializeOpenGLFunctions()) {
    // A context without the fixed-function pipeline (a core profile, OpenGL ES) cannot draw here.
    tell(kContextNotCurrent);
    context_.reset();
    gl_ = nullptr;
    return false;
  }
  return true;
}

void GLWindow::DestroyContext() {
  if (context_ && texture_ && context_->makeCurrent(this)) gl_->glDeleteTextures(1, &texture_);
  texture_ = 0;
  textureSize_ = {};
  if (context_) context_->doneCurrent();
  context_.reset();
  gl_ = nullptr;
}

bool GLWindow::Begin() {
  return context_ && gl_ && handle() && context_->makeCurrent(this);
}

bool GLWindow::HasStereoBuffers() const {
  return context_ && context_->format().stereo();
}

void GLWindow::SwapBuffers() {
  if (context_ && handle()) context_->swapBuffers(this);
}

void GLWindow::WaitUntilExposed() {
  QElapsedTimer waited;
  waited.start();
  while (!isExposed() && waited.elapsed() < 1000) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  }
}

void GLWindow::PrepareTexture(int width, int height) {
  QOpenGLFunctions_2_0& gl = *gl_;
  if (!texture_) {
    gl.glGenTextures(1, &texture_);
    gl.glBindTexture(GL_TEXTURE_2D, texture_);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_BORDER);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_BORDER);
    const GLfloat black[4] = {0, 0, 0, 1};
    gl.glTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, black);
  }
  gl.glBindTexture(GL_TEXTURE_2D, texture_);
  if (textureSize_ != QSize(width, height)) {
    gl.glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB8, width, height, 0, GL_BGR, GL_UNSIGNED_BYTE, nullptr);
    textureSize_ = QSize(width, height);
  }
  imageSize_ = QSize(width, height);
}

void GLWindow::UploadPicture(const PixelGrid& grid, int columns) {
  const int width = columns < 0 ? grid.width : std::min(columns, grid.width);
  if (grid.Empty() || width <= 0 || !gl_) return;
  PrepareTexture(width, grid.height);
  QOpenGLFunctions_2_0& gl = *gl_;
  // Rows padded to four bytes are what an unpack alignment of 4 expects, and the first row given
  // is the bottom one in OpenGL as in the picture. A view of a wider picture has that picture's
  // stride: its row length in pixels, rounded up the same way, gives the same stride.
  gl.glPixelStorei(GL_UNPACK_ALIGNMENT, grid.stride % 4 == 0 ? 4 : 1);
  gl.glPixelStorei(GL_UNPACK_ROW_LENGTH, grid.stride % 4 == 0 ? grid.stride / 3 : 0);
  if (grid.stride % 4 == 0) {
    gl.glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, grid.height, GL_BGR, GL_UNSIGNED_BYTE,
                       grid.bits);
  } else {
    for (int y = 0; y < grid.height; ++y) {
      gl.glTexSubImage2D(GL_TEXTURE_2D, 0, 0, y, width, 1, GL_BGR, GL_UNSIGNED_BYTE,
                         grid.MemoryRow(y));
    }
  }
  gl.glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
}

void GLWindow::UploadImage(const QImage& image, const QRect& part) {
  const QRect rect = part & image.rect();
  if (rect.isEmpty() || !gl_) return;
  const bool wide = image.format() == QImage::Format_RGB32;
  if (!wide && image.format() != QImage::Format_RGB16) return;
  PrepareTexture(rect.width(), rect.height());
  QOpenGLFunctions_2_0& gl = *gl_;
  const int bytesPerPixel = wide ? 4 : 2;
  gl.glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  gl.glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<GLint>(image.bytesPerLine() / bytesPerPixel));
  const uchar* first = image.constScanLine(rect.top()) + rect.left() * bytesPerPixel;
  gl.glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, rect.width(), rect.height(), wide ? GL_BGRA : GL_RGB,
                     wide ? GL_UNSIGNED_BYTE : GL_UNSIGNED_SHORT_5_6_5, first);
  gl.glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
}

void GLWindow::DrawTexture(double x, double y, double w, double h, double s0, double t0, double s1,
                           double t1) {
  if (!gl_ || !texture_ || imageSize_.isEmpty()) return;
  QOpenGLFunctions_2_0& gl = *gl_;
  const double sw = textureSize_.width(), th = textureSize_.height();
  gl.glEnable(GL_TEXTURE_2D);
  gl.glBindTexture(GL_TEXTURE_2D, texture_);
  gl.glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
  gl.glBegin(GL_QUADS);
  gl.glTexCoord2d(s0 / sw, t0 / th);
  gl.glVertex2d(x, y);
  gl.glTexCoord2d(s1 / sw, t0 / th);
  gl.glVertex2d(x + w, y);
  gl.glTexCoord2d(s1 / sw, t1 / th);
  gl.glVertex2d(x + w, y + h);
  gl.glTexCoord2d(s0 / sw, t1 / th);
  gl.glVertex2d(x, y + h);
  gl.glEnd();
  gl.glDisable(GL_TEXTURE_2D);
}

void GLWindow::exposeEvent(QExposeEvent*) {
  if (isExposed() && Exposed) Exposed();
}

void GLWindow::mousePressEvent(QMouseEvent* event) {
  if (owner_) OnClick(*owner_, ButtonCodeOf(event->button()), ShiftStateOf(event->modifiers()));
}

void GLWindow::keyPressEvent(QKeyEvent* event) {
  if (owner_) {
    OnKey(*owner_, KeyCodeOf(event->key(), event->modifiers()), ShiftStateOf(event->modifiers()));
  }
}

void GLWindow::focusOutEvent(QFocusEvent*) {
  if (owner_) OnLost(*owner_);
}

}  // namespace qv
