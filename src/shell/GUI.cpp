#include "shell/GUI.h"

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
#include "shell/FrmMain.h"
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
  explicit ControlBarPicture(GUI& bar) : QWidget(&bar), bar_(bar) {
    setMouseTracking(true);
    setFixedHeight(GUI::kPictureHeight);
    setMinimumWidth(240);
    art_ = DrawControlBar(240, GUI::kPictureHeight);
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
    const GUI::Area area = bar_.AreaAt(event->position().toPoint());
    if (area == hovered_) return;
    hovered_ = area;
    setCursor(area == GUI::Area::None ? Qt::ArrowCursor : Qt::PointingHandCursor);
    update();
  }

  void leaveEvent(QEvent*) override {
    hovered_ = GUI::Area::None;
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
  QRect RectOf(GUI::Area area) const {
    switch (area) {
      case GUI::Area::Play:
        return art_.play;
      case GUI::Area::Stop:
        return art_.stop;
      case GUI::Area::Full:
        return art_.full;
      case GUI::Area::Open:
        return art_.open;
      default:
        return {};
    }
  }

  static QString TipOf(GUI::Area area) {
    switch (area) {
      case GUI::Area::Move:
        return GUI::tr("Dock under the main window");
      case GUI::Area::Play:
        return GUI::tr("Play");
      case GUI::Area::Stop:
        return GUI::tr("Stop");
      case GUI::Area::Full:
        return GUI::tr("Play full screen");
      case GUI::Area::Open:
        return GUI::tr("Open a video");
      default:
        return {};
    }
  }

  GUI& bar_;
  ControlBarArt art_;
  GUI::Area hovered_ = GUI::Area::None;
};

GUI::GUI(FrmMain& main) : QWidget(&main, Qt::Tool), main_(main) {
  setWindowTitle("Toolbar");
  progressBar1_ = new QProgressBar(this);
  progressBar1_->setTextVisible(false);
  progressBar1_->setFixedHeight(kProgressHeight);
  progressBar1_->setCursor(Qt::PointingHandCursor);
  progressBar1_->installEventFilter(this);
  picture_ = new ControlBarPicture(*this);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(progressBar1_);
  layout->addWidget(picture_);
  setFixedHeight(kProgressHeight + kPictureHeight);

  progressTimer_ = new QTimer(this);
  progressTimer_->setInterval(100);
  connect(progressTimer_, &QTimer::timeout, this, [this] {
    SetPosition(gSession.CurrentFrame);
    Update_GUI();
  });

  gSession.CurrentFrame = 0;
  progressBar1_->setRange(0, 1);
  SetPosition(0);
  SetPlayingState(false);
}

GUI::~GUI() = default;

QWidget* GUI::Picture() const {
  return picture_;
}
const ControlBarArt& GUI::Art() const {
  return picture_->Art();
}

QString GUI::FormatTime(double frames) {
  const double rate = gVideo.StreamFrameRate;
  if (!(rate > 0)) return {};
  const double s = RoundHalfEven(frames / rate);
  const double h = Int(s / 3600);
  const double m = RoundHalfEven(Int(s / 60) - 60 * h);
  const double sec = s - (60 * h + m) * 60;
  return QString::number(h, 'f', 0) + ":" + QString::number(m, 'f', 0) + ":" +
         QString::number(sec, 'f', 0);
}

void GUI::Update_GUI() {
  if (gVideo.FrameCount < 1) {
    setWindowTitle("Toolbar");
    return;
  }
  setWindowTitle("Toolbar (" + FormatTime(RoundHalfEven(position_)) + " / " +
                 FormatTime(gVideo.FrameCount) + ")");
}

void GUI::Vid_State_Change() {
  SetPosition(gSession.CurrentFrame);
}

void GUI::CTRL_Play() {
  main_.Video_Play(false);
  Vid_State_Change();
}

void GUI::CTRL_Stop() {
  VidState = 1;
  gSession.StopRequested = true;
  DoEvents();
  Vid_State_Change();
  progressTimer_->stop();
  SetPlayingState(false);
}

void GUI::CTRL_Full() {
  if (VidState == 0) CTRL_Stop();
  main_.Video_Play(true);
  Vid_State_Change();
}

GUI::Area GUI::AreaAt(QPoint at) const {
  const ControlBarArt& art = Art();
  if (StrictlyInside(art.move1, at) || StrictlyInside(art.move2, at)) return Area::Move;
  if (StrictlyInside(art.play, at)) return Area::Play;
  if (StrictlyInside(art.stop, at)) return Area::Stop;
  if (StrictlyInside(art.full, at)) return Area::Full;
  if (StrictlyInside(art.open, at)) return Area::Open;
  return Area::None;
}

void GUI::ClickAt(QPoint at) {
  switch (AreaAt(at)) {
    case Area::Move:
      main_.GUI_Track();
      break;
    case Area::Play:
      CTRL_Play();
      break;
    case Area::Stop:
      CTRL_Stop();
      break;
    case Area::Full:
      CTRL_Full();
      break;
    case Area::Open:
      main_.Open_File(QString());
      break;
    case Area::None:
      break;
  }
}

void GUI::SetPosition(double position) {
  // The bar keeps a position inside its range, as a progress bar must.
  position_ = std::clamp(position, 0.0, static_cast<double>(progressBar1_->maximum()));
  progressBar1_->setValue(static_cast<int>(position_));
}

void GUI::SetMaximum(int32_t maximum) {
  progressBar1_->setMaximum(std::max(maximum, 1));
  SetPosition(position_);
}

void GUI::EnterPlayingState() {
  VidState = 0;
  progressTimer_->start();
  SetPlayingState(true);
}

// While a video plays the bar takes no focus, so that keys keep going to the picture, where they
// stop the play; its filled part turns to the accent colour.
void GUI::SetPlayingState(bool playing) {
  playingState_ = playing;
  progressBar1_->setFocusPolicy(playing ? Qt::NoFocus : Qt::ClickFocus);
  QPalette palette = progressBar1_->palette();
  palette.setColor(QPalette::Highlight,
                   playing ? QColor(0x4f, 0xa3, 0xff) : QColor(0x8a, 0x93, 0xa0));
  progressBar1_->setPalette(palette);
}

void GUI::closeEvent(QCloseEvent* event) {
  event->ignore();
  hide();
  main_.SetControlBarChecked(false);
}

bool GUI::eventFilter(QObject* watched, QEvent* event) {
  if (watched == progressBar1_ && event->type() == QEvent::MouseButtonPress &&
      gVideo.FrameCount != 0 && progressBar1_->width() > 0) {
    const auto* press = static_cast<QMouseEvent*>(event);
    SetPosition(progressBar1_->maximum() * (press->position().x() / progressBar1_->width()));
    Update_GUI();
    return true;
  }
  return QWidget::eventFilter(watched, event);
}

}  // namespace qv
