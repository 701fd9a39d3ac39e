#include "display/frmBltSurface.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QRegion>
#include <QTimer>
#include <QWidget>

#include <algorithm>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "display/QtInput.h"
#include "display/ScreenModes.h"
#include "display/WindowImage.h"
#include "image/BufferHelpers.h"
#include "playback/Callback.h"

namespace qv {

namespace {
std::chrono::milliseconds gLineCodeDuration{1000};
}  // namespace

// The window that shows the pictures: a child filling the target widget (windowed with a
// target) or a top-level window (windowed without one, and full screen). It paints a frame
// layer and, above it, a line-code layer; everything else is black.
class BltCanvas : public QWidget {
 public:
  BltCanvas(frmBltSurface* owner, QWidget* parent) : QWidget(parent), owner_(owner) {
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
  frmBltSurface* owner_;
  QImage frame_;
  QRect frameTarget_;
  QRect frameSource_;
  bool smooth_ = false;
  bool hasFrame_ = false;
  QImage lineCode_;
  bool hasLineCode_ = false;
};

frmBltSurface::frmBltSurface() : Timer1(std::make_unique<QTimer>()) {
  Timer1->setSingleShot(true);
  Timer1->setTimerType(Qt::PreciseTimer);  // a coarse timer may end the second 5 % early
  QObject::connect(Timer1.get(), &QTimer::timeout, [this] { timerElapsed_ = true; });
}

frmBltSurface::~frmBltSurface() {
  if (canvas_) {
    canvas_->Detach();
    delete canvas_.data();
  }
}

void frmBltSurface::SetLineCodeDuration(std::chrono::milliseconds duration) {
  gLineCodeDuration = duration;
}

std::chrono::milliseconds frmBltSurface::LineCodeDuration() {
  return gLineCodeDuration;
}

void frmBltSurface::SetTarget(QWidget* target) {
  target_ = target;
}

QWidget* frmBltSurface::Target() const {
  return target_.data();
}

QWidget* frmBltSurface::Canvas() const {
  return canvas_.data();
}

void frmBltSurface::ResizeSurface(int32_t srcX, int32_t srcY) {
  const int32_t screenWidth = CurrentScreenWidth();
  const int32_t screenHeight = CurrentScreenHeight();
  BltLayout layout;
  if (!fullscreen_) {
    layout.WindowWidth = srcX;
    layout.WindowLeft = std::max(0, CLng((screenWidth - static_cast<double>(srcX)) / 2.0));
    layout.WindowTop = std::max(0, CLng((screenHeight - static_cast<double>(srcY)) / 2.0));
    layout.PictureWidth = srcX;
    layout.PictureHeight = srcY;
    layout.WindowHeight = srcY + 50;
  } else {
    layout.WindowWidth = screenWidth;
    layout.WindowHeight = screenHeight;
    int32_t width = srcX, height = srcY;
    FitToScreen(width, height, layout.PictureX, layout.PictureY, screenWidth, screenHeight);
    layout.PictureWidth = width;
    layout.PictureHeight = height;
    layout.PictureY -= layout.PictureY % 2;
  }
  layout_ = layout;
  EnsureCanvas();
  PlaceWindow();
  canvas_->Clear();
}

void frmBltSurface::EnsureCanvas() {
  QWidget* parent = fullscreen_ ? nullptr : target_.data();
  const bool frameless = fullscreen_;
  if (canvas_ && canvas_->parentWidget() == parent &&
      canvas_->windowFlags().testFlag(Qt::FramelessWindowHint) == frameless) {
    return;
  }
  DestroyCanvas();
  canvas_ = new BltCanvas(this, parent);
  if (!parent) {
    canvas_->setWindowTitle(QString::fromUtf8(kAppName));
    if (frameless) canvas_->setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
  }
}

void frmBltSurface::DestroyCanvas() {
  if (!canvas_) return;
  BltCanvas* canvas = canvas_.data();
  canvas_ = nullptr;
  canvas->Detach();
  canvas->hide();
  canvas->deleteLater();  // we may be inside one of its own event handlers
}

void frmBltSurface::PlaceWindow() {
  const BltLayout& l = layout_;
  if (fullscreen_) {
    canvas_->setGeometry(l.WindowLeft, l.WindowTop, l.WindowWidth, l.WindowHeight);
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
    canvas_->move(l.WindowLeft, l.WindowTop);
    canvas_->resize(l.WindowWidth, l.WindowHeight);
  }
}

void frmBltSurface::ShowCanvas() {
  canvas_->show();  // a child made after its window was shown stays hidden until told
  QWidget* window = canvas_->window();
  window->show();
  window->raise();
  window->activateWindow();
  canvas_->setFocus(Qt::OtherFocusReason);
}

bool frmBltSurface::OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool permanent,
                                bool useLineCode, const DibRef& lineCodeStart,
                                const DibRef& lineCodeEnd) {
  try {
    permanent_ = permanent;
    fullscreen_ = fullscreen;
    if (srcX <= 0 || srcY <= 0) throw err::InvalidArgument();
    ResizeSurface(srcX, srcY);
    ShowCanvas();
    open_ = true;
    lineCodeInUse_ = false;
    if (useLineCode) {
      ShowLineCode(Deref(lineCodeStart));
      if (!canvas_) return true;  // closed by a click or a key while the line code was shown
      CopyDIB(lineCodeEnd, endLineCode_, false);
      lineCodeInUse_ = true;
    }
    return true;
  } catch (const std::exception& e) {
    MsgBox(std::string("An error occurred in frmBltSurface::OpenDisplay. ") + DescribeError(e));
    return false;
  }
}

void frmBltSurface::ShowLineCode(const cDIBSection& code) {
  if (!canvas_) return;
  cDIBSection stretched;
  if (stretched.Create(CurrentScreenWidth(), code.Height())) {
    stretched.hDC()->SetStretchBltMode(HALFTONE);
    StretchBlt(stretched.hDC(), 0, 0, stretched.Width(), stretched.Height(), code.hDC(), 0, 0,
               code.Width(), code.Height(), SRCCOPY);
    ToWindowImage(stretched.Grid(), canvas_->LineCode());
    canvas_->ShowLineCode();
  }
  WaitForTimer();
  if (canvas_) canvas_->Clear();
}

void frmBltSurface::WaitForTimer() {
  timerElapsed_ = false;
  Timer1->start(gLineCodeDuration);
  while (!timerElapsed_) {
    DoEvents();
    // Sleep until the next event instead of spinning; the timer's tick is one.
    if (!timerElapsed_) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
}

bool frmBltSurface::PutImage(const cDIBSection& picture, bool resize, bool quick) {
  const PixelGrid grid = picture.Grid();
  const BltLayout& l = layout_;
  if (!canvas_ || grid.Empty() || l.PictureWidth <= 0 || l.PictureHeight <= 0) return true;
  const QRect pictureRect(l.PictureX, l.PictureY, l.PictureWidth, l.PictureHeight);
  if (!resize) {
    ToWindowImage(grid, canvas_->Frame());
    const QSize part(std::min(l.PictureWidth, grid.width), std::min(l.PictureHeight, grid.height));
    canvas_->ShowFrame(QRect(pictureRect.topLeft(), part), QRect(QPoint(0, 0), part), false,
                       permanent_);
    return true;
  }
  const bool halftone = l.PictureWidth <= grid.width || !quick;
  if (halftone && (l.PictureWidth < grid.width || l.PictureHeight < grid.height)) {
    // Shrinking smoothly averages the source pixels under each window pixel, which Qt's own
    // image scaler does; painting with a smoothing transform would only interpolate.
    ToWindowImage(grid, scratch_);
    canvas_->Frame() =
        scratch_.scaled(pictureRect.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    canvas_->ShowFrame(pictureRect, QRect(QPoint(0, 0), pictureRect.size()), false, permanent_);
  } else {
    ToWindowImage(grid, canvas_->Frame());
    canvas_->ShowFrame(pictureRect, QRect(0, 0, grid.width, grid.height), halftone, permanent_);
  }
  return true;
}

bool frmBltSurface::CloseDisplay() {
  if (closing_) return true;  // asked again by an event during the end line code
  closing_ = true;
  if (lineCodeInUse_ && endLineCode_ && canvas_) ShowLineCode(*endLineCode_);
  if (endLineCode_) {
    endLineCode_->ClearUp();
    endLineCode_.reset();
  }
  lineCodeInUse_ = false;
  open_ = false;
  DestroyCanvas();
  closing_ = false;
  return true;
}

frmBltSurface& BltSurface() {
  // Never destroyed: its window must not outlive the QApplication, which ends first.
  static frmBltSurface* surface = new frmBltSurface;
  return *surface;
}

}  // namespace qv
