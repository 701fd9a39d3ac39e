#include "shell/ControlBar.h"

#include <QCloseEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QProgressBar>
#include <QTimer>
#include <QToolTip>
#include <QVBoxLayout>

#include <cmath>

#include "base/Numbers.h"
#include "base/Seams.h"
#include "playback/SessionState.h"
#include "shell/MainWindow.h"
#include "video/VideoReader.h"

namespace qv {

namespace {

// x > left, x < left + width, y > top, y < top + height: a point on the edge is outside.
bool StrictlyInside(const QRect& r, QPoint p) {
  return p.x() > r.left() && p.x() < r.left() + r.width() && p.y() > r.top() &&
         p.y() < r.top() + r.height();
}

}  // namespace

// The bar's picture: the drawn buttons and grips, with the area under the pointer lit.
class ControlBarPicture : public QWidget {
 public:
  explicit ControlBarPicture(ControlBar& bar) : QWidget(&bar), bar_(bar) {
    setMouseTracking(true);
    setFixedHeight(ControlBar::kPictureHeight);
    setMinimumWidth(240);
    art_ = DrawControlBar(240, ControlBar::kPictureHeight);
  }

  const ControlBarArt& Art() const { return art_; }

 protected:
  void resizeEvent(QResizeEvent*) override {
    art_ = DrawControlBar(width(), height(), devicePixelRatioF());
  }

  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    p.drawPixmap(0, 0, art_.picture);
    const QRect lit = RectOf(hovered_);
    if (!lit.isNull()) {
      p.setRenderHint(QPainter::Antialiasing);
      p.setPen(Qt::NoPen);
      p.setBrush(QColor(255, 255, 255, 36));
      p.drawRoundedRect(QRectF(lit), lit.height() * 0.22, lit.height() * 0.22);
    }
  }

  void mouseMoveEvent(QMouseEvent* event) override {
    const ControlBar::Area area = bar_.AreaAt(event->position().toPoint());
    if (area == hovered_) return;
    hovered_ = area;
    setCursor(area == ControlBar::Area::None ? Qt::ArrowCursor : Qt::PointingHandCursor);
    update();
  }

  void leaveEvent(QEvent*) override {
    hovered_ = ControlBar::Area::None;
    update();
  }

  bool event(QEvent* event) override {
    if (event->type() == QEvent::ToolTip) {
      auto* help = static_cast<QHelpEvent*>(event);
      const QString tip = TipOf(bar_.AreaAt(help->pos()));
      if (tip.isEmpty()) {
        QToolTip::hideText();
      } else {
        QToolTip::showText(help->globalPos(), tip, this);
      }
      return true;
    }
    return QWidget::event(event);
  }

  void mouseReleaseEvent(QMouseEvent* event) override {
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) {
      bar_.ClickAt(event->position().toPoint());
    }
  }

 private:
  QRect RectOf(ControlBar::Area area) const {
    switch (area) {
      case ControlBar::Area::Play:
        return art_.play;
      case ControlBar::Area::Stop:
        return art_.stop;
      case ControlBar::Area::Full:
        return art_.full;
      case ControlBar::Area::Open:
        return art_.open;
      default:
        return {};
    }
  }

  static QString TipOf(ControlBar::Area area) {
    switch (area) {
      case ControlBar::Area::Move:
        return ControlBar::tr("Dock under the main window");
      case ControlBar::Area::Play:
        return ControlBar::tr("Play");
      case ControlBar::Area::Stop:
        return ControlBar::tr("Stop");
      case ControlBar::Area::Full:
        return ControlBar::tr("Play full screen");
      case ControlBar::Area::Open:
        return ControlBar::tr("Open a video");
      default:
        return {};
    }
  }

  ControlBar& bar_;
  ControlBarArt art_;
  ControlBar::Area hovered_ = ControlBar::Area::None;
};

ControlBar::ControlBar(MainWindow& main) : QWidget(&main, Qt::Tool), main_(main) {
  setWindowTitle("Toolbar");
  progressBar_ = new QProgressBar(this);
  progressBar_->setTextVisible(false);
  progressBar_->setFixedHeight(kProgressHeight);
  progressBar_->setCursor(Qt::PointingHandCursor);
  progressBar_->installEventFilter(this);
  picture_ = new ControlBarPicture(*this);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(progressBar_);
  layout->addWidget(picture_);
  setFixedHeight(kProgressHeight + kPictureHeight);

  progressTimer_ = new QTimer(this);
  progressTimer_->setInterval(100);
  connect(progressTimer_, &QTimer::timeout, this, [this] {
    SetPosition(main_.Playback().State().CurrentFrame);
    UpdateControlBar();
  });

  progressBar_->setRange(0, 1);
  SetPosition(0);
  SetPlayingState(false);
}

ControlBar::~ControlBar() = default;

QWidget* ControlBar::Picture() const {
  return picture_;
}
const ControlBarArt& ControlBar::Art() const {
  return picture_->Art();
}

QString ControlBar::FormatTime(double frames, double rate) {
  if (!(rate > 0)) return {};
  const double s = RoundHalfEven(frames / rate);
  const double h = Floor(s / 3600);
  const double m = RoundHalfEven(Floor(s / 60) - 60 * h);
  const double sec = s - (60 * h + m) * 60;
  return QString::number(h, 'f', 0) + ":" + QString::number(m, 'f', 0) + ":" +
         QString::number(sec, 'f', 0);
}

void ControlBar::UpdateControlBar() {
  const VideoFacts& facts = main_.Facts();
  if (facts.frames < 1) {
    setWindowTitle("Toolbar");
    return;
  }
  setWindowTitle("Toolbar (" + FormatTime(RoundHalfEven(position_), facts.frameRate) + " / " +
                 FormatTime(facts.frames, facts.frameRate) + ")");
}

void ControlBar::VidStateChange() {
  SetPosition(main_.Playback().State().CurrentFrame);
}

void ControlBar::OnPlay() {
  main_.VideoPlay(false);
  VidStateChange();
}

void ControlBar::OnStop() {
  VidState = 1;
  main_.Playback().RequestStop();
  DoEvents();
  VidStateChange();
  progressTimer_->stop();
  SetPlayingState(false);
}

void ControlBar::OnFull() {
  if (VidState == 0) OnStop();
  main_.VideoPlay(true);
  VidStateChange();
}

ControlBar::Area ControlBar::AreaAt(QPoint at) const {
  const ControlBarArt& art = Art();
  if (StrictlyInside(art.move1, at) || StrictlyInside(art.move2, at)) return Area::Move;
  if (StrictlyInside(art.play, at)) return Area::Play;
  if (StrictlyInside(art.stop, at)) return Area::Stop;
  if (StrictlyInside(art.full, at)) return Area::Full;
  if (StrictlyInside(art.open, at)) return Area::Open;
  return Area::None;
}

void ControlBar::ClickAt(QPoint at) {
  switch (AreaAt(at)) {
    case Area::Move:
      main_.TrackControlBar();
      break;
    case Area::Play:
      OnPlay();
      break;
    case Area::Stop:
      OnStop();
      break;
    case Area::Full:
      OnFull();
      break;
    case Area::Open:
      main_.OpenFile(QString());
      break;
    case Area::None:
      break;
  }
}

void ControlBar::SetPosition(double position) {
  // The bar keeps a position inside its range, as a progress bar must.
  position_ = std::clamp(position, 0.0, static_cast<double>(progressBar_->maximum()));
  progressBar_->setValue(static_cast<int>(position_));
}

void ControlBar::SetMaximum(int32_t maximum) {
  progressBar_->setMaximum(std::max(maximum, 1));
  SetPosition(position_);
}

void ControlBar::EnterPlayingState() {
  VidState = 0;
  progressTimer_->start();
  SetPlayingState(true);
}

// While a video plays the bar takes no focus, so that keys keep going to the picture, where they
// stop the play; its filled part turns to the accent colour.
void ControlBar::SetPlayingState(bool playing) {
  playingState_ = playing;
  progressBar_->setFocusPolicy(playing ? Qt::NoFocus : Qt::ClickFocus);
  QPalette palette = progressBar_->palette();
  palette.setColor(QPalette::Highlight,
                   playing ? QColor(0x4f, 0xa3, 0xff) : QColor(0x8a, 0x93, 0xa0));
  progressBar_->setPalette(palette);
}

void ControlBar::closeEvent(QCloseEvent* event) {
  event->ignore();
  hide();
  main_.SetControlBarChecked(false);
}

bool ControlBar::eventFilter(QObject* watched, QEvent* event) {
  if (watched == progressBar_ && event->type() == QEvent::MouseButtonPress &&
      main_.FrameCount() != 0 && progressBar_->width() > 0) {
    const auto* press = static_cast<QMouseEvent*>(event);
    SetPosition(progressBar_->maximum() * (press->position().x() / progressBar_->width()));
    UpdateControlBar();
    return true;
  }
  return QWidget::eventFilter(watched, event);
}

}  // namespace qv
