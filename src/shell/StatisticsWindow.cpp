#include "shell/StatisticsWindow.h"

#include <QHBoxLayout>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <cstdio>

#include "playback/SessionState.h"

namespace qv {

QString FormatSingle(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.7G", static_cast<double>(value));
  return QString::fromLatin1(text);
}

StatisticsWindow::StatisticsWindow(const SessionState& state, QWidget* parent)
    : QDialog(parent), state_(state) {
  setWindowTitle(tr("Statistics"));
  statsList_ = new QListWidget(this);
  statsList_->setMinimumSize(260, 120);
  okButton_ = new QPushButton(tr("OK"), this);
  okButton_->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(okButton_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(statsList_);
  layout->addLayout(buttons);
  connect(okButton_, &QPushButton::clicked, this, &QDialog::accept);
}

void StatisticsWindow::LoadProfile() {
  statsList_->clear();
  if (state_.ConvertFrameTime > 0) {
    statsList_->addItem("FPS: " + FormatSingle(1.0f / state_.ConvertFrameTime));
  }
  static const char* const kStages[] = {"Get Frame: ", "Decode: ", "Encode: ", "Put: "};
  for (size_t i = 0; i < 4; ++i) {
    statsList_->addItem(QString::fromLatin1(kStages[i]) + FormatSingle(state_.StageTimes[i]));
  }
}

}  // namespace qv
