#include "display/BlitSurface.h"

#include <QEvent>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QRegion>
#include <QWidget>

#include <algorithm>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "display/QtInput.h"
#include "stereo/ScreenSizes.h"
#include "display/WindowImage.h"
#include "image/BufferHelpers.h"
#include "playback/DisplayEvents.h"

namespace qv {

// The window that shows the pictures: a child filling the target widget (windowed with a
// target) or a top-level window (windowed without one, and full screen). It paints a frame
// layer and, above it, a line-code layer; everything else is black.
class BlitWidget : public QWidget {
 public:
  BlitWidget(BlitSurface* owner, QWidget* parent) : QWidget(parent), owner_(owner) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::StrongFocus);
    if (parent) {
      setGeometry(parent->rect());
      parent->installEventFilter(this);
    }
  }

  // After this the canvas forwards no more events: the surface has let go of it.
  void Detach() { owner_ = nullptr; }

  void Clear() {
    hasFrame_ = false;
    hasLineCode_ = false;
    frame_ = QImage();
    lineCode_ = QImage();
    repaint();
  }

  QImage& Frame() { return frame_; }
  // Shows frame_ (whose source part is source) in target, smoothly scaled or with repeated
  // pixels, at once; keep = whether later repaints show it again.
  void ShowFrame(const QRect& target, const QRect& source, bool smooth, bool keep) {
    frameTarget_ = target;
    frameSource_ = source;
    smooth_ = smooth;
    hasFrame_ = true;
    repaint(target);
    if (!keep) {
      hasFrame_ = false;
      frame_ = QImage();
    }
  }

  QImage& LineCode() { return lineCode_; }
  void ShowLineCode() {
    hasLineCode_ = !lineCode_.isNull();
    repaint(lineCode_.rect());
  }

 protected:
  void paintEvent(QPaintEvent* event) override {
    QPainter painter(this);
    QRegion background = event->region();
    if (hasFrame_) {
      painter.setRenderHint(QPainter::SmoothPixmapTransform, smooth_);
      painter.drawImage(frameTarget_, frame_, frameSource_);
      background -= frameTarget_;
    }
    for (const QRect& r : background) painter.fillRect(r, Qt::black);
    if (hasLineCode_) painter.drawImage(QPoint(0, 0), lineCode_);
  }

  void mousePressEvent(QMouseEvent* event) override {
    if (owner_ && owner_->IsOpen()) {
      OnClick(*owner_, ButtonCodeOf(event->button()), ShiftStateOf(event->modifiers()));
    }
  }

  void keyPressEvent(QKeyEvent* event) override {
    if (owner_ && owner_->IsOpen()) {
      OnKey(*owner_, KeyCodeOf(event->key(), event->modifiers()), ShiftStateOf(event->modifiers()));
    }
  }

  void focusOutEvent(QFocusEvent*) override {
    if (owner_ && owner_->IsOpen()) OnLost(*owner_);
  }

  // Tab and Backtab are keys like any other here, not focus moves.
  bool focusNextPrevChild(bool) override { return false; }

  // A canvas inside a target keeps covering the target's whole area.
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched == parentWidget() && event->type() == QEvent::Resize) {
      setGeometry(parentWidget()->rect());
    }
    return false;
  }

 private:
  BlitSurface* owner_;
  QImage frame_;
  QRect frameTarget_;
  QRect frameSource_;
  bool smooth_ = false;
  bool hasFrame_ = false;
  QImage lineCode_;
  bool hasLineCode_ = false;
};

BlitSurface::BlitSurface() = default;

BlitSurface::~BlitSurface() {
  if (widget_) {
    widget_->Detach();
    delete widget_.data();
  }
}

void BlitSurface::SetLineCodeDuration(std::chrono::milliseconds duration) {
  LineCodeTimer::SetDuration(duration);
}

std::chrono::milliseconds BlitSurface::LineCodeDuration() {
  return LineCodeTimer::Duration();
}

void BlitSurface::SetTarget(QWidget* target) {
  target_ = target;
}

QWidget* BlitSurface::Target() const {
  return target_.data();
}

QWidget* BlitSurface::PictureWidget() const {
  return widget_.data();
}

void BlitSurface::ResizeSurface(int32_t srcX, int32_t srcY) {
  const int32_t screenWidth = CurrentScreenWidth();
  const int32_t screenHeight = CurrentScreenHeight();
  layout_ = LayOutWindow(fullscreen_, srcX, srcY, screenWidth, screenHeight);
  EnsureWidget();
  PlaceWindow();
  widget_->Clear();
}

void BlitSurface::EnsureWidget() {
  QWidget* parent = fullscreen_ ? nullptr : target_.data();
  const bool frameless = fullscreen_;
  if (widget_ && widget_->parentWidget() == parent &&
      widget_->windowFlags().testFlag(Qt::FramelessWindowHint) == frameless) {
    return;
  }
  DestroyWidget();
  widget_ = new BlitWidget(this, parent);
  if (!parent) {
    widget_->setWindowTitle(QString::fromUtf8(kAppName));
    if (frameless) widget_->setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
  }
}

void BlitSurface::DestroyWidget() {
  if (!widget_) return;
  BlitWidget* canvas = widget_.data();
  widget_ = nullptr;
  canvas->Detach();
  canvas->hide();
  canvas->deleteLater();  // we may be inside one of its own event handlers
}

void BlitSurface::PlaceWindow() {
  const BlitLayout& l = layout_;
  if (fullscreen_) {
    widget_->setGeometry(l.WindowLeft, l.WindowTop, l.WindowWidth, l.WindowHeight);
  } else if (target_) {
    // The 50 extra rows stand for the room the main window's own parts (title and menu bars)
    // take; the desktop decides how much that is, so the window gets what its parts take beside
    // the target, and the picture fills the target with no band beneath it.
    QWidget* window = target_->window();
    const QSize around = window->size() - target_->size();
    window->move(l.WindowLeft, l.WindowTop);
    window->resize(l.PictureWidth + around.width(), l.PictureHeight + around.height());
  } else {
    // Pixels throughout: the window system takes pixel positions and sizes.
    widget_->move(l.WindowLeft, l.WindowTop);
    widget_->resize(l.WindowWidth, l.WindowHeight);
  }
}

void BlitSurface::ShowWidget() {
  widget_->show();  // a child made after its window was shown stays hidden until told
  QWidget* window = widget_->window();
  window->show();
  window->raise();
  window->activateWindow();
  widget_->setFocus(Qt::OtherFocusReason);
}

bool BlitSurface::OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool permanent,
                                bool useLineCode, const PictureRef& lineCodeStart,
                                const PictureRef& lineCodeEnd) {
  try {
    permanent_ = permanent;
    fullscreen_ = fullscreen;
    if (srcX <= 0 || srcY <= 0) throw err::InvalidArgument();
    ResizeSurface(srcX, srcY);
    ShowWidget();
    open_ = true;
    lineCodeInUse_ = false;
    if (useLineCode) {
      ShowLineCode(Deref(lineCodeStart));
      if (!widget_) return true;  // closed by a click or a key while the line code was shown
      CopyDIB(lineCodeEnd, endLineCode_, false);
      lineCodeInUse_ = true;
    }
    return true;
  } catch (const std::exception& e) {
    MsgBox(kBlitOpenFailed + DescribeError(e));
    return false;
  }
}

void BlitSurface::ShowLineCode(const Picture& code) {
  if (!widget_) return;
  Picture stretched;
  if (stretched.Create(CurrentScreenWidth(), code.Height())) {
    stretched.DrawingCanvas()->SetStretchMode(HALFTONE);
    Stretch(stretched.DrawingCanvas(), 0, 0, stretched.Width(), stretched.Height(), code.DrawingCanvas(), 0, 0,
               code.Width(), code.Height(), SRCCOPY);
    ToWindowImage(stretched.Grid(), widget_->LineCode());
    widget_->ShowLineCode();
  }
  lineCodeTimer_.Wait();
  if (widget_) widget_->Clear();
}

bool BlitSurface::PutImage(const Picture& picture, bool resize, bool quick) {
  const PixelGrid grid = picture.Grid();
  const BlitLayout& l = layout_;
  if (!widget_ || grid.Empty() || l.PictureWidth <= 0 || l.PictureHeight <= 0) return true;
  const QRect pictureRect(l.PictureX, l.PictureY, l.PictureWidth, l.PictureHeight);
  if (!resize) {
    ToWindowImage(grid, widget_->Frame());
    const QSize part(std::min(l.PictureWidth, grid.width), std::min(l.PictureHeight, grid.height));
    widget_->ShowFrame(QRect(pictureRect.topLeft(), part), QRect(QPoint(0, 0), part), false,
                       permanent_);
    return true;
  }
  const bool halftone = l.PictureWidth <= grid.width || !quick;
  if (halftone && (l.PictureWidth < grid.width || l.PictureHeight < grid.height)) {
    // Shrinking smoothly averages the source pixels under each window pixel, which Qt's own
    // image scaler does; painting with a smoothing transform would only interpolate.
    ToWindowImage(grid, scratch_);
    widget_->Frame() =
        scratch_.scaled(pictureRect.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    widget_->ShowFrame(pictureRect, QRect(QPoint(0, 0), pictureRect.size()), false, permanent_);
  } else {
    ToWindowImage(grid, widget_->Frame());
    widget_->ShowFrame(pictureRect, QRect(0, 0, grid.width, grid.height), halftone, permanent_);
  }
  return true;
}

bool BlitSurface::CloseDisplay() {
  if (closing_) return true;  // asked again by an event during the end line code
  closing_ = true;
  if (lineCodeInUse_ && endLineCode_ && widget_) ShowLineCode(*endLineCode_);
  if (endLineCode_) {
    endLineCode_->ClearUp();
    endLineCode_.reset();
  }
  lineCodeInUse_ = false;
  open_ = false;
  DestroyWidget();
  closing_ = false;
  return true;
}

BlitSurface& TheBlitSurface() {
  // Never destroyed: its window must not outlive the QApplication, which ends first.
  static BlitSurface* surface = new BlitSurface;
  return *surface;
}

}  // namespace qv
