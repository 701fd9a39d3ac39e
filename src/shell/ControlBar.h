#pragma once
// The control bar: a small tool window docked under the main window, with a progress bar over the
// video's frames, a caption with the position and the length, and a picture with the Open, Play,
// Stop and Full buttons and a grip at either end. The main window's Play and View menus call the
// same members as its buttons.

#include <QString>
#include <QWidget>

#include <cstdint>

#include "shell/Artwork.h"

class QProgressBar;
class QTimer;

namespace qv {

class MainWindow;
class ControlBarPicture;

class ControlBar : public QWidget {
  Q_OBJECT
 public:
  // The areas of the picture that answer a click.
  enum class Area { None, Move, Play, Stop, Full, Open };
  // The picture fills the bar under a thin progress bar.
  static constexpr int kPictureHeight = 48;
  static constexpr int kProgressHeight = 8;

  explicit ControlBar(MainWindow& main);
  ~ControlBar() override;

  void UpdateControlBar();
  void VidStateChange();
  void OnPlay();
  void OnStop();
  void OnFull();

  // The time of a frame count at `rate` frames per second (the rate of the file last opened), as
  // hours:minutes:seconds without leading zeros (65 s: "0:1:5"); "" when the rate is not positive.
  static QString FormatTime(double frames, double rate);

  // Which area a point of the picture (its own pixels) lies strictly inside; the grips are tested
  // first, then Play, Stop, Full and Open.
  Area AreaAt(QPoint at) const;
  // What a click on the picture does.
  void ClickAt(QPoint at);

  // The progress position: frames from the stream's first; a press on the bar makes it fractional.
  double Position() const { return position_; }
  void SetPosition(double position);
  void SetMaximum(int32_t maximum);
  // ProgressTimer on, the progress bar in its playing state.
  void EnterPlayingState();
  bool IsPlayingState() const { return playingState_; }

  QProgressBar* ProgressBar() const { return progressBar_; }
  QTimer* ProgressTimer() const { return progressTimer_; }
  QWidget* Picture() const;
  const ControlBarArt& Art() const;

  int16_t VidState = 1;  // 0 while a video plays, 1 when stopped

 protected:
  void closeEvent(QCloseEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void SetPlayingState(bool playing);

  MainWindow& main_;
  QProgressBar* progressBar_;
  QTimer* progressTimer_;
  ControlBarPicture* picture_;
  double position_ = 0.0;
  bool playingState_ = false;
};

}  // namespace qv
