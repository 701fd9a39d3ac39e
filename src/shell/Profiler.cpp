#include "shell/Profiler.h"

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

Profiler::Profiler(QWidget* parent) : QDialog(parent) {
  setWindowTitle(tr("Statistics"));
  list1_ = new QListWidget(this);
  list1_->setMinimumSize(260, 120);
  command1_ = new QPushButton(tr("OK"), this);
  command1_->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(command1_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(list1_);
  layout->addLayout(buttons);
  connect(command1_, &QPushButton::clicked, this, &QDialog::accept);
}

void Profiler::LoadProfile() {
  list1_->clear();
  if (gSession.ConvertFrameTime > 0) {
    list1_->addItem("FPS: " + FormatSingle(1.0f / gSession.ConvertFrameTime));
  }
  static const char* const kStages[] = {"Get Frame: ", "Decode: ", "Encode: ", "Put: "};
  for (size_t i = 0; i < 4; ++i) {
    list1_->addItem(QString::fromLatin1(kStages[i]) + FormatSingle(gSession.StageTimes[i]));
  }
}

}  // namespace qv
