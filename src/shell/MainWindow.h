#pragma once
// The main window: the menus over a background picture that takes dropped files. It keeps the
// current file and its stereo layout (the checked item of the Format menu), opens files, keeps
// the control bar docked under itself and builds the request of every play.

#include <QMainWindow>
#include <QString>

#include <cstdint>
#include <functional>

#include "playback/PlaySession.h"
#include "playback/PlaybackRequest.h"
#include "stereo/InputFormats.h"
#include "video/LayoutDetection.h"

class QAction;
class QActionGroup;
class QDialog;

namespace qv {

class ControlBar;

class MainWindow : public QMainWindow {
  Q_OBJECT
 public:
  explicit MainWindow(QWidget* parent = nullptr);
  ~MainWindow() override;

  // fileName empty: the user chooses a file in the file dialog (a cancelled dialog gives "").
  void OpenFile(const QString& fileName);
  // Moves the control bar under the main window, its left edge at the window's left edge.
  void TrackControlBar();
  // Builds the request from the Format menu, the glasses type and the control bar's position, and
  // runs the session; returns when it has ended (at once when it only queued a session behind a
  // running one).
  void VideoPlay(bool fullscreen);
  // What dropping a file on the window does: a running play is stopped, then the file is opened
  // once it has ended.
  void DropFile(const QString& fileName);

  ControlBar& Bar() const { return *bar_; }
  // Where windowed plays are drawn; the background picture lies inside it.
  QWidget* PictureArea() const { return pictureArea_; }
  QWidget* BackImage() const { return backImage_; }
  const QString& CurrentFile() const { return currentFile_; }
  // What opening the current file found out (frames 0 when none is open).
  const VideoFacts& Facts() const { return facts_; }
  int32_t FrameCount() const { return facts_.frames; }
  qv::OutputMethod OutputMethod() const { return outputMethod_; }
  // The file most recently dropped on the window.
  const QString& DroppedFile() const { return droppedFile_; }
  // The input format that the checked Format item stands for ("2D" plays converted).
  InputFormat CheckedInputFormat() const;
  // The player's sessions: the one running now and its state, which the control bar and the
  // statistics window show.
  PlaybackSession& Playback() { return playback_; }

  // The display settings dialog that File>Settings shows (owned elsewhere, loaded at start-up).
  void SetSettingsDialog(QDialog* dialog) { settingsDialog_ = dialog; }
  void SetControlBarChecked(bool checked);

  // The file dialog's filter, and what asks the user for a file (the file dialog unless replaced).
  static QString OpenFileFilter();
  using FileChooser = std::function<QString(QWidget* parent, const QString& filter)>;
  void SetFileChooser(FileChooser chooser) { chooseFile_ = std::move(chooser); }
  // What runs a session (PlaySession unless replaced).
  using SessionRunner = std::function<void(PlaybackRequest&)>;
  void SetSessionRunner(SessionRunner runner) { runSession_ = std::move(runner); }

  // The manual: beside the installed program, or in the source tree it was built from; "" when
  // there is none.
  static QString ManualPath();

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void BuildMenus();
  void CheckFormat(InputFormat inputFormat);
  void LayoutBackImage();
  void Exit();
  void ShowSettings();
  void ShowStatistics();
  void ShowAbout();
  void ShowContents();
  void OpenWhenIdle(const QString& fileName);

  ControlBar* bar_;
  QWidget* pictureArea_;
  QWidget* backImage_;
  QActionGroup* formatGroup_;
  QAction* controlBarAction_;
  QDialog* settingsDialog_ = nullptr;
  QString currentFile_;
  QString droppedFile_;
  VideoFacts facts_;
  // The method of the last play, kept for glasses types that name none (0 before the first).
  qv::OutputMethod outputMethod_{0};
  PlaybackSession playback_;
  bool exiting_ = false;
  FileChooser chooseFile_;
  SessionRunner runSession_;
};

}  // namespace qv
