#include "shell/MainWindow.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPointer>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <iterator>

#include "base/DisplayConfig.h"
#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "playback/GlassesTypes.h"
#include "playback/PlaySession.h"
#include "shell/Artwork.h"
#include "shell/ControlBar.h"
#include "shell/StatisticsWindow.h"
#include "stereo/InputFormats.h"
#include "video/ScriptBridge.h"
#include "video/LayoutDetection.h"
#include "video/VideoReader.h"

namespace qv {

namespace {

// The input format of the Format menu's item for a guessed layout: 2D is played converted.
InputFormat FormatOfLayout(InputFormat layout) {
  return layout == InputFormat::Plain2D ? InputFormat::Converted2D : layout;
}

QString Caption(const InputFormatInfo& info) {
  return QString::fromUtf8(info.caption.data(), static_cast<int>(info.caption.size()));
}

QString LayoutName(InputFormat layout) {
  const InputFormatInfo* info = FindInputFormat(FormatOfLayout(layout));
  return info != nullptr ? Caption(*info) : QString();
}

// The hourglass for the whole application until the end of the scope.
class BusyPointer {
 public:
  BusyPointer() { QApplication::setOverrideCursor(Qt::WaitCursor); }
  ~BusyPointer() { QApplication::restoreOverrideCursor(); }
  BusyPointer(const BusyPointer&) = delete;
  BusyPointer& operator=(const BusyPointer&) = delete;
};

QString DefaultChooser(QWidget* parent, const QString& filter) {
  return QFileDialog::getOpenFileName(parent, QObject::tr("Open Video"), QString(), filter);
}

// The area that windowed plays are drawn in, dark when nothing covers it.
class PictureAreaWidget : public QWidget {
 public:
  using QWidget::QWidget;

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    DrawBackdrop(p, rect());
  }
};

// The background picture: what the window shows when nothing plays.
class BackImageWidget : public QWidget {
 public:
  explicit BackImageWidget(QWidget* parent) : QWidget(parent) { ShowFile(QString()); }

  void ShowFile(const QString& file) {
    if (file.isEmpty()) {
      title_ = QStringLiteral("Quorvex");
      hint_ = QObject::tr("Drop a video here, or choose File \u203a Open");
    } else {
      title_ = QFileInfo(file).fileName();
      hint_ = QObject::tr("Press Play, or drop another video here");
    }
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    DrawWelcome(p, rect(), title_, hint_);
  }

 private:
  QString title_;
  QString hint_;
};

}  // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent),
      chooseFile_(DefaultChooser),
      runSession_([this](PlaybackRequest& request) { playback_.PlaySession(request); }) {
  setWindowTitle(QString::fromUtf8(kAppName));
  setAcceptDrops(true);

  pictureArea_ = new PictureAreaWidget(this);
  pictureArea_->setMinimumSize(160, 90);
  pictureArea_->installEventFilter(this);
  setCentralWidget(pictureArea_);
  backImage_ = new BackImageWidget(pictureArea_);

  bar_ = new ControlBar(*this);
  BuildMenus();
  resize(720, 480);
}

MainWindow::~MainWindow() = default;

void MainWindow::BuildMenus() {
  QMenu* file = menuBar()->addMenu("&File");
  QAction* open = file->addAction("Open", this, [this] { OpenFile(QString()); });
  open->setShortcut(QKeySequence::Open);
  file->addAction("Settings", this, &MainWindow::ShowSettings);
  file->addSeparator();
  QAction* exit = file->addAction("Exit", this, &MainWindow::Exit);
  exit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));

  QMenu* view = menuBar()->addMenu("View");
  controlBarAction_ = view->addAction("Control Bar");
  controlBarAction_->setCheckable(true);
  controlBarAction_->setChecked(true);
  connect(controlBarAction_, &QAction::triggered, this, [this](bool checked) {
    bar_->setVisible(checked);
    if (checked) TrackControlBar();
  });
  view->addSeparator();
  view->addAction("Statistics", this, &MainWindow::ShowStatistics);
  view->addSeparator();
  view->addAction("Fullscreen", this, [this] { bar_->OnFull(); });

  QMenu* play = menuBar()->addMenu("Play");
  play->addAction("Start", this, [this] { bar_->OnPlay(); });
  play->addAction("Stop", this, [this] { bar_->OnStop(); });

  QMenu* format = menuBar()->addMenu("Format");
  formatGroup_ = new QActionGroup(this);
  formatGroup_->setExclusive(true);
  for (int position = 1;; ++position) {
    const auto info = std::find_if(std::begin(kInputFormats), std::end(kInputFormats),
                                   [&](const InputFormatInfo& f) { return f.menuPosition == position; });
    if (info == std::end(kInputFormats)) break;
    QAction* item = format->addAction(Caption(*info));
    item->setCheckable(true);
    item->setData(NumberOf(info->format));
    formatGroup_->addAction(item);
    const InputFormat chosen = info->format;
    connect(item, &QAction::triggered, this, [this, chosen] { CheckFormat(chosen); });
  }
  CheckFormat(InputFormat::Converted2D);  // the first item, and what most files are

  QMenu* help = menuBar()->addMenu("Help");
  help->addAction("About", this, &MainWindow::ShowAbout);
  QAction* contents = help->addAction("Contents", this, &MainWindow::ShowContents);
  contents->setShortcut(QKeySequence::HelpContents);
}

void MainWindow::CheckFormat(InputFormat inputFormat) {
  for (QAction* item : formatGroup_->actions()) {
    item->setChecked(item->data().toInt() == NumberOf(inputFormat));
  }
}

InputFormat MainWindow::CheckedInputFormat() const {
  InputFormat format{0};
  for (QAction* item : formatGroup_->actions()) {
    if (item->isChecked()) format = static_cast<InputFormat>(item->data().toInt());
  }
  return format;
}

void MainWindow::SetControlBarChecked(bool checked) {
  controlBarAction_->setChecked(checked);
}

QString MainWindow::OpenFileFilter() {
  // The names of the second group go through the script bridge; the rest are what FFmpeg opens
  // directly.
  return "AVI Files (*.avi);;"
         "Other Video Files (AviSynth) (*.mpg *.mpeg *.asf *.wmv *.dat *.mov *.vob "
         "*.mkv *.mp4 *.m4v *.webm *.ts *.m2ts *.mts *.flv *.ogv *.ogg *.3gp *.mxf *.nut *.y4m);;"
         "AviSynth Files (*.avs);;"
         "VirtualDub Frameserver (*.vdr)";
}

void MainWindow::OpenFile(const QString& fileName) {
  try {
    currentFile_ = fileName.isEmpty() ? chooseFile_(this, OpenFileFilter()) : fileName;
    {
      BusyPointer busy;
      const std::string file = currentFile_.toStdString();
      const std::string script = MakeScript(file);
      facts_ = DetectVideo(script.empty() ? file : script);
      bar_->SetPosition(0);
      playback_.Context().Session.CurrentFrame = 0;
      if (facts_.frames < 1) {
        currentFile_.clear();
        bar_->SetMaximum(1);
      } else {
        bar_->SetMaximum(facts_.frames);
      }
      const InputFormat layout = facts_.layout;
      MsgBox("This video appears to be " + LayoutName(layout).toStdString() +
             ". If this is incorrect then it can be changed by selecting the 'Format' drop down "
             "menu.");
      if (!LayoutName(layout).isEmpty()) CheckFormat(FormatOfLayout(layout));
      bar_->UpdateControlBar();
    }
    static_cast<BackImageWidget*>(backImage_)->ShowFile(currentFile_);
    setWindowTitle("Quorvex - " + currentFile_);
  } catch (const std::exception& e) {
    MsgBox("An error occurred in Open_File. " + DescribeError(e));
  }
}

void MainWindow::TrackControlBar() {
  const QRect frame = frameGeometry();
  bar_->resize(std::max(frame.width(), bar_->minimumSizeHint().width()), bar_->height());
  bar_->move(frame.left(), frame.top() + frame.height());
}

void MainWindow::VideoPlay(bool fullscreen) {
  if (exiting_) return;
  if (currentFile_.isEmpty()) {
    MsgBox("Please select a video file to play first. (File>Open)");
    bar_->OnStop();
    return;
  }
  PlaybackRequest request;
  request.InputFormat = CheckedInputFormat();
  if (const auto method = OutputMethodFor(gDisplay.GlassesType, fullscreen))
    outputMethod_ = *method;
  request.OutputMethod = outputMethod_;
  request.Fullscreen = fullscreen;

  const std::string file = currentFile_.toStdString();
  request.FileName = file;
  const std::string script = MakeScript(file);
  if (!script.empty()) request.FileName = script;
  request.AudioFile = file;
  // The pacing and option fields keep the request's defaults, which are what Play uses.
  request.StartOffset = static_cast<int32_t>(Floor(bar_->Position()));

  bar_->EnterPlayingState();
  backImage_->hide();
  runSession_(request);
  // Called from inside a running play (Full), the session only queued itself: the outer
  // VideoPlay returns the window and the bar to their stopped state once both have ended.
  if (playback_.Running()) return;
  if (!exiting_) backImage_->show();
  bar_->OnStop();
}

void MainWindow::DropFile(const QString& fileName) {
  try {
    droppedFile_ = fileName;
    const bool playing = playback_.Running();
    if (playing) bar_->OnStop();
    bar_->VidState = 1;
    bar_->VidStateChange();
    if (playing) {
      OpenWhenIdle(fileName);
    } else {
      OpenFile(fileName);
    }
  } catch (...) {
    // A drop that goes wrong is forgotten.
  }
}

// A drop during a play is opened once the play has closed its video and display.
void MainWindow::OpenWhenIdle(const QString& fileName) {
  QTimer::singleShot(20, this, [this, fileName] {
    if (exiting_) return;
    if (playback_.Running()) {
      OpenWhenIdle(fileName);
    } else {
      OpenFile(fileName);
    }
  });
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) {
    event->setDropAction(Qt::CopyAction);
    event->accept();
  }
}

void MainWindow::dropEvent(QDropEvent* event) {
  const QList<QUrl> urls = event->mimeData()->urls();
  if (urls.isEmpty() || !urls.first().isLocalFile()) return;
  event->setDropAction(Qt::CopyAction);
  event->accept();
  // Opened after the drop has been answered: the open shows messages, which must not keep the
  // dragging program waiting.
  const QString file = urls.first().toLocalFile();
  QTimer::singleShot(0, this, [this, file] { DropFile(file); });
}

void MainWindow::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  TrackControlBar();
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
  if (watched == pictureArea_ && event->type() == QEvent::Resize) LayoutBackImage();
  return QMainWindow::eventFilter(watched, event);
}

// The background picture fills the window's inside but half an inch at the bottom.
void MainWindow::LayoutBackImage() {
  const double twips = Screen().TwipsPerPixelY();
  const int inner = pictureArea_->height();
  int height = inner - ToInt32Checked(720 / twips);
  if (height < 1) height = ToInt32Checked(700 / twips);
  backImage_->setGeometry(0, 0, pictureArea_->width(), height);
}

void MainWindow::closeEvent(QCloseEvent* event) {
  event->accept();
  Exit();
}

// The program ends: a running play is asked to stop (and any play queued behind it as soon as it
// starts), the windows go, and the event loop returns.
void MainWindow::Exit() {
  if (exiting_) return;
  exiting_ = true;
  playback_.RequestStop();
  if (settingsDialog_) settingsDialog_->hide();
  bar_->hide();
  hide();
  if (playback_.Running()) {
    auto* keepStopping = new QTimer(this);
    connect(keepStopping, &QTimer::timeout, this, [this] { playback_.RequestStop(); });
    keepStopping->start(10);
  }
  QCoreApplication::exit(0);
}

void MainWindow::ShowSettings() {
  if (settingsDialog_ == nullptr) return;
  settingsDialog_->exec();
}

void MainWindow::ShowStatistics() {
  StatisticsWindow statistics(playback_.State(), this);
  statistics.LoadProfile();
  statistics.exec();
}

void MainWindow::ShowAbout() {
  QMessageBox::about(
      this, tr("About Quorvex"),
      tr("<h3>Quorvex %1</h3><p>Plays stereoscopic video on ordinary monitors and stereo display "
         "hardware, and turns 2D video into stereo while it plays.</p>")
          .arg(QCoreApplication::applicationVersion()));
}

QString MainWindow::ManualPath() {
  const QString here = QCoreApplication::applicationDirPath();
  QStringList candidates = {here + "/../share/doc/quorvex/manual.html", here + "/docs/manual.html"};
#ifdef QUORVEX_SOURCE_DIR
  candidates.append(QStringLiteral(QUORVEX_SOURCE_DIR "/docs/manual.html"));
#endif
  for (const QString& candidate : candidates) {
    const QFileInfo info(candidate);
    if (info.isFile()) return info.canonicalFilePath();
  }
  return {};
}

void MainWindow::ShowContents() {
  const QString manual = ManualPath();
  if (manual.isEmpty()) {
    MsgBox("The manual (manual.html) could not be found beside the program.", msg::kExclamation);
    return;
  }
  if (!QDesktopServices::openUrl(QUrl::fromLocalFile(manual))) {
    MsgBox("No web browser could be started to show the manual, " + manual.toStdString() + ".",
           msg::kExclamation);
  }
}

}  // namespace qv
