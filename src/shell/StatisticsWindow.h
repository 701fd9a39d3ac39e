#pragma once
// The statistics window: a snapshot of the smoothed stage times of the frame loop and, once a 2D
// video has been converted, the conversion's frame rate. Filled by LoadProfile before it is shown;
// the figures do not change while it is open.

#include <QDialog>
#include <QString>

#include "playback/SessionState.h"

class QListWidget;
class QPushButton;

namespace qv {

// A single-precision value as the statistics show it: up to seven significant digits, switching to
// an exponent for very small or large values (0.0125, 3.333333E-05).
QString FormatSingle(float value);

class StatisticsWindow : public QDialog {
  Q_OBJECT
 public:
  // Shows the figures of `state` (the player's sessions), which must outlive the window.
  explicit StatisticsWindow(const SessionState& state, QWidget* parent = nullptr);
  void LoadProfile();
  QListWidget* StatsList() const { return statsList_; }
  QPushButton* OkButton() const { return okButton_; }

 private:
  const SessionState& state_;
  QListWidget* statsList_;
  QPushButton* okButton_;
};

}  // namespace qv
