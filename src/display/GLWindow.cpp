#include "display/GLWindow.h"
#include "display/WindowImage.h"

#include <QCoreApplication>

#include <cmath>
#include <QElapsedTimer>
#include <QExposeEvent>
#include <QFocusEvent>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QOpenGLExtraFunctions>
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
  if (context_ && context_->makeCurrent(this)) {
    if (texture_) gl_->glDeleteTextures(1, &texture_);
    if (readFramebuffer_) context_->extraFunctions()->glDeleteFramebuffers(1, &readFramebuffer_);
  }
  texture_ = 0;
  readFramebuffer_ = 0;
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
    // Four bytes a texel in the order the drivers keep them, so that an upload is a plain copy.
    gl.glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB8, width, height, 0, GL_BGRA,
                    GL_UNSIGNED_INT_8_8_8_8_REV, nullptr);
    textureSize_ = QSize(width, height);
  }
  imageSize_ = QSize(width, height);
}

void GLWindow::UploadPicture(const PixelGrid& grid, int columns) {
  const int width = columns < 0 ? grid.width : std::min(columns, grid.width);
  if (grid.Empty() || width <= 0 || !gl_) return;
  PrepareTexture(width, grid.height);
  QOpenGLFunctions_2_0& gl = *gl_;
  // The rows go in memory order, bottom row first, as OpenGL counts them too. Widened to four
  // bytes here (a vector shuffle) rather than by the driver, which does it a texel at a time.
  staging_.resize(static_cast<size_t>(width) * static_cast<size_t>(grid.height));
  for (int y = 0; y < grid.height; ++y) {
    ToOpaqueRow(grid.MemoryRow(y), staging_.data() + static_cast<size_t>(y) * width, width);
  }
  gl.glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  gl.glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, grid.height, GL_BGRA,
                     GL_UNSIGNED_INT_8_8_8_8_REV, staging_.data());
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

// A rectangle drawn at its own size, at whole pixels and inside the texture, is copied from a
// framebuffer that reads the texture: software renderers copy it as memory, where drawing it
// runs a shader for every pixel.
bool GLWindow::CopyTexture(double x, double y, double w, double h, double s0, double t0, double s1,
                           double t1) {
  const auto whole = [](double v) { return v == std::floor(v) && std::abs(v) < 1e6; };
  if (!gl_ || !texture_ || imageSize_.isEmpty() || devicePixelRatio() != 1.0 || !whole(x) || !whole(y) || !whole(s0) || !whole(t0) || w != s1 - s0 || h != t1 - t0 ||
      w <= 0 || h <= 0 || s0 < 0 || t0 < 0 || s1 > textureSize_.width() ||
      t1 > textureSize_.height() || !context_->hasExtension("GL_ARB_framebuffer_object")) {
    return false;
  }
  QOpenGLExtraFunctions& extra = *context_->extraFunctions();
  if (!readFramebuffer_) {
    extra.glGenFramebuffers(1, &readFramebuffer_);
    extra.glBindFramebuffer(GL_READ_FRAMEBUFFER, readFramebuffer_);
    extra.glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_,
                                 0);
  } else {
    extra.glBindFramebuffer(GL_READ_FRAMEBUFFER, readFramebuffer_);
  }
  const bool complete =
      extra.glCheckFramebufferStatus(GL_READ_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
  if (complete) {
    const auto ix = static_cast<GLint>(x), iy = static_cast<GLint>(y);
    const auto is0 = static_cast<GLint>(s0), it0 = static_cast<GLint>(t0);
    const auto is1 = static_cast<GLint>(s1), it1 = static_cast<GLint>(t1);
    extra.glBlitFramebuffer(is0, it0, is1, it1, ix, iy, ix + (is1 - is0), iy + (it1 - it0),
                            GL_COLOR_BUFFER_BIT, GL_NEAREST);
  }
  extra.glBindFramebuffer(GL_READ_FRAMEBUFFER, context_->defaultFramebufferObject());
  return complete;
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
