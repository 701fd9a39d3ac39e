#include "display/NvidiaStereoSurface.h"

#include <QOpenGLFunctions_2_0>
#include <QPainter>
#include <QSurfaceFormat>

#include <string>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "display/GLWindow.h"
#include "display/StereoTagWriter.h"
#include "display/XRandRModes.h"
#include "image/BufferHelpers.h"
#include "imageproc/ImageProcessor.h"
#include "stereo/ScreenSizes.h"

namespace qv {

namespace {

// How a picture is scaled into a rectangle: not at all (what does not fit is cut, the rest is
// black), with repeated pixels, or smoothly.
enum class Filter { None = 1, Point = 2, Triangle = 4 };

// A copy of the picture turned upside down, so that its rows run top-down; null when the
// picture is empty.
PictureRef TopDownCopy(const Picture& picture) {
  PictureRef copy = picture.CopyOf();
  if (!copy) throw err::ObjectNotSet();
  ImageProcessor processor;
  processor.Flip(*copy);
  return copy;
}

// The memory of a top-down copy as an image, without copying (bytes blue, green, red).
QImage AsImage(const Picture& topDown) {
  return QImage(topDown.Bits(), topDown.Width(), topDown.Height(), topDown.BytesPerScanLine(),
                QImage::Format_BGR888);
}

// Loads `source` into `target` of `surface` with the filter.
void LoadSurface(QImage& surface, const QRect& target, const QImage& source, Filter filter) {
  QPainter painter(&surface);
  painter.setCompositionMode(QPainter::CompositionMode_Source);
  if (filter == Filter::None) {
    painter.fillRect(target, Qt::black);
    painter.setClipRect(target);
    painter.drawImage(target.topLeft(), source);
  } else if (filter == Filter::Point) {
    painter.drawImage(target, source);
  } else {
    painter.drawImage(target.topLeft(), source.scaled(target.size(), Qt::IgnoreAspectRatio,
                                                      Qt::SmoothTransformation));
  }
}

}  // namespace

NvidiaStereoSurface::NvidiaStereoSurface() : NvidiaStereoSurface(TheXRandRModes()) {}

NvidiaStereoSurface::NvidiaStereoSurface(ModeSwitcher& modes) : modes_(modes) {}

NvidiaStereoSurface::~NvidiaStereoSurface() {
  ReleaseSurfaces();
  ReleaseDevice();
}

bool NvidiaStereoSurface::IsOpen() const {
  return !window_.isNull();
}

GLWindow* NvidiaStereoSurface::PictureWindow() const {
  return window_.data();
}

bool NvidiaStereoSurface::HasDevice() const {
  return window_ && window_->Begin();
}

bool NvidiaStereoSurface::FitPicture(int32_t srcX, int32_t srcY) {
  if (!fullscreen_) {
    MsgBox(kNoWindowedDisplay);
    return false;
  }
  const int32_t screenWidth = Settings().ScreenWidth, screenHeight = Settings().ScreenHeight;
  display_ = QRect(0, 0, screenWidth, screenHeight);
  int32_t width = srcX, height = srcY;
  FitToScreen(width, height, pictureX_, pictureY_,
              nvidiaStereo_ ? 2 * screenWidth : screenWidth, screenHeight);
  pictureWidth_ = width;
  pictureHeight_ = height;
  return true;
}

bool NvidiaStereoSurface::Initialize3DEnvironment(bool fullscreen) {
  try {
    if (!fullscreen) {
      MsgBox("Windowed DirectX is not supported.");
      return false;
    }
    const int32_t depth = Settings().ColourDepth;
    if (depth == 16) {
      backBufferFormat_ = QImage::Format_RGB16;
    } else if (depth == 24 || depth == 32) {
      backBufferFormat_ = QImage::Format_RGB32;
    } else {
      MsgBox("Invalid colour depth: " + std::to_string(depth));
      return false;
    }
    int32_t refreshRate = Settings().RefreshRate;
    modes_.SetScreenMode(display_.width(), display_.height(), depth, true, refreshRate);

    window_ = new GLWindow(this);
    window_->setTitle(QString::fromUtf8(kAppName));
    window_->setFlags(Qt::Window | Qt::FramelessWindowHint);
    window_->setGeometry(display_);
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
    format.setRedBufferSize(depth == 16 ? 5 : 8);
    format.setGreenBufferSize(depth == 16 ? 6 : 8);
    format.setBlueBufferSize(depth == 16 ? 5 : 8);
    if (!window_->CreateContext(format, false)) {
      throw AppError(err::kInvalidArgument, kAppName, "The display offers no OpenGL rendering.");
    }
    window_->show();
    window_->raise();
    window_->requestActivate();
    window_->WaitUntilExposed();
    // Back-buffer coordinates: (0, 0) is the top-left corner, rows run down.
    QOpenGLFunctions_2_0& gl = window_->Gl();
    const qreal ratio = window_->devicePixelRatio();
    gl.glViewport(0, 0, static_cast<GLsizei>(display_.width() * ratio),
                  static_cast<GLsizei>(display_.height() * ratio));
    gl.glMatrixMode(GL_PROJECTION);
    gl.glLoadIdentity();
    gl.glOrtho(0, display_.width(), display_.height(), 0, -1, 1);
    gl.glMatrixMode(GL_MODELVIEW);
    gl.glLoadIdentity();
    gl.glDisable(GL_DEPTH_TEST);
    gl.glDisable(GL_BLEND);
    gl.glClearColor(0, 0, 0, 1);
    return true;
  } catch (const std::exception& e) {
    MsgBox("An error occurred in Initialize3DEnvironment. " + DescribeError(e));
    return false;
  }
}

void NvidiaStereoSurface::MakeImageSurface() {
  imageSurface_ = QImage(pictureWidth_, pictureHeight_, backBufferFormat_);
  if (imageSurface_.isNull()) throw err::OutOfMemory();
  imageSurface_.fill(Qt::black);
}

bool NvidiaStereoSurface::OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY,
                                      bool nvidiaStereo, bool useLineCode,
                                      const PictureRef& lineCodeStart,
                                      const PictureRef& lineCodeEnd) {
  try {
    nvidiaStereo_ = nvidiaStereo;
    useLineCode_ = useLineCode;
    fullscreen_ = fullscreen;
    if (useLineCode) CopyDIB(lineCodeEnd, endLineCode_, false);
    if (!FitPicture(srcX, srcY)) return false;
    if (!Initialize3DEnvironment(fullscreen)) {
      MsgBox(kInitialiseFailed);
      ReleaseDevice();
      return false;
    }
    MakeImageSurface();
    surfaceBits_ = backBufferFormat_ == QImage::Format_RGB32 ? 32 : 16;
    ClearTarget();
    if (useLineCode) {
      PutLineCode(Deref(lineCodeStart));
      lineCodeTimer_.Wait();
      if (!window_) return true;  // closed by a click or a key meanwhile
    }
    ClearTarget();
    Present();
    ClearTarget();
    DoEvents();
    return true;
  } catch (const std::exception& e) {
    MsgBox(DescribeError(e));
    // Nothing half-open stays behind: the window goes and the screen mode comes back.
    ReleaseSurfaces();
    ReleaseDevice();
    return false;
  }
}

void NvidiaStereoSurface::ResizeSurface(int32_t srcX, int32_t srcY) {
  try {
    if (!FitPicture(srcX, srcY)) return;
    imageSurface_ = QImage();
    if (backBufferFormat_ != QImage::Format_Invalid) MakeImageSurface();
  } catch (const std::exception& e) {
    MsgBox(DescribeError(e));  // the next frame finds no image surface and says so
  }
}

bool NvidiaStereoSurface::PutImage(const Picture& picture, bool resize, bool quick) {
  bool ok = InitDeviceObjects(picture, resize, quick);
  if (ok) ok = RestoreDeviceObjects();
  if (!ok && nvidiaStereo_) MsgBox(kStereoPutFailed);
  return ok;
}

bool NvidiaStereoSurface::InitDeviceObjects(const Picture& picture, bool resize, bool quick) {
  try {
    const PictureRef topDown = TopDownCopy(picture);
    const Filter filter = !resize ? Filter::None : (quick ? Filter::Point : Filter::Triangle);
    if (!HasDevice()) throw err::ObjectNotSet();
    if (nvidiaStereo_) {
      if (imageSurface_.isNull()) throw err::ObjectNotSet();
      LoadSurface(imageSurface_, QRect(0, 0, pictureWidth_, pictureHeight_), AsImage(*topDown),
                  filter);
      const int32_t height = imageSurface_.height();
      WriteStereoTag(imageSurface_.bits(),
                     static_cast<size_t>(height - 1) * imageSurface_.bytesPerLine(), 0,
                     imageSurface_.width(), height, surfaceBits_);
    } else {
      // The letterboxed picture, its row made even, straight onto the back buffer.
      ClearTarget();
      QImage scaled(pictureWidth_, pictureHeight_, backBufferFormat_);
      if (scaled.isNull()) throw err::OutOfMemory();
      LoadSurface(scaled, scaled.rect(), AsImage(*topDown), filter);
      window_->UploadImage(scaled, scaled.rect());
      const int32_t y = pictureY_ - pictureY_ % 2;
      window_->DrawTexture(pictureX_, y, pictureWidth_, pictureHeight_, 0, 0, pictureWidth_,
                           pictureHeight_);
    }
    topDown->ClearUp();
    return true;
  } catch (const std::exception& e) {
    MsgBox("An error occurred in InitDeviceObjects. " + DescribeError(e));
    return false;
  }
}

bool NvidiaStereoSurface::RestoreDeviceObjects() {
  try {
    if (!HasDevice()) throw err::ObjectNotSet();
    if (nvidiaStereo_) {
      const int32_t imageWidth = imageSurface_.width(), imageHeight = imageSurface_.height();
      const int32_t backWidth = display_.width(), backHeight = display_.height();
      int32_t y = ToInt32Checked((backHeight - imageHeight) / 2.0);
      y -= y % 2;
      const int32_t x = ToInt32Checked(backWidth / 2.0 - imageWidth / 4.0);
      const QRect leftEye(0, 0, ToInt32Checked(imageWidth / 2.0), imageHeight);
      ClearTarget();
      window_->UploadImage(imageSurface_, leftEye);
      window_->DrawTexture(x, y, leftEye.width(), leftEye.height(), 0, 0, leftEye.width(),
                           leftEye.height());
    }
    Present();
    return true;
  } catch (const std::exception& e) {
    MsgBox("An error occurred in RestoreDeviceObjects. " + DescribeError(e));
    return false;
  }
}

bool NvidiaStereoSurface::PutLineCode(const Picture& code) {
  try {
    const PictureRef topDown = TopDownCopy(code);
    if (!HasDevice()) throw err::ObjectNotSet();
    window_->UploadPicture(topDown->Grid());
    // Memory row 0 is the top row now, and the first texture row: drawn top-down as it comes.
    window_->DrawTexture(0, 0, display_.width(), topDown->Height(), 0, 0, topDown->Width(),
                         topDown->Height());
    Present();
    topDown->ClearUp();
    return true;
  } catch (const std::exception& e) {
    MsgBox("An error occurred in PutLineCode. " + DescribeError(e));
    return false;
  }
}

void NvidiaStereoSurface::ClearTarget() {
  if (!HasDevice()) return;
  window_->Gl().glDrawBuffer(GL_BACK);
  window_->Gl().glClear(GL_COLOR_BUFFER_BIT);
}

void NvidiaStereoSurface::Present() {
  if (window_) window_->SwapBuffers();
}

void NvidiaStereoSurface::ReleaseSurfaces() {
  imageSurface_ = QImage();
}

void NvidiaStereoSurface::ReleaseDevice() {
  if (window_) {
    GLWindow* window = window_.data();
    window_ = nullptr;
    window->Detach();
    window->DestroyContext();
    window->hide();
    window->deleteLater();  // we may be inside one of its own event handlers
  }
  modes_.ResetDisplayMode();
}

bool NvidiaStereoSurface::CloseDisplay() {
  if (closing_) return true;
  closing_ = true;
  if (useLineCode_ && endLineCode_ && HasDevice()) {
    PutLineCode(*endLineCode_);
    lineCodeTimer_.Wait();
  }
  if (endLineCode_) {
    endLineCode_->ClearUp();
    endLineCode_.reset();
  }
  ReleaseSurfaces();
  ReleaseDevice();
  closing_ = false;
  return true;
}

NvidiaStereoSurface& TheNvidiaStereoSurface() {
  static NvidiaStereoSurface* surface = new NvidiaStereoSurface;
  return *surface;
}

}  // namespace qv
