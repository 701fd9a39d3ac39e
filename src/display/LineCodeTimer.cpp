#include "display/LineCodeTimer.h"

#include <QCoreApplication>
#include <QTimer>

#include "base/Seams.h"

namespace qv {

namespace {
std::chrono::milliseconds gDuration{1000};
}  // namespace

LineCodeTimer::LineCodeTimer() : timer_(std::make_unique<QTimer>()) {
  timer_->setSingleShot(true);
  timer_->setTimerType(Qt::PreciseTimer);  // a coarse timer may end the second 5 % early
  QObject::connect(timer_.get(), &QTimer::timeout, [this] { elapsed_ = true; });
}

LineCodeTimer::~LineCodeTimer() = default;

void LineCodeTimer::Wait() {
  elapsed_ = false;
  timer_->start(gDuration);
  while (!elapsed_) {
    DoEvents();
    // Sleep until the next event instead of spinning; the timer's tick is one.
    if (!elapsed_) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
}

void LineCodeTimer::SetDuration(std::chrono::milliseconds duration) {
  gDuration = duration;
}

std::chrono::milliseconds LineCodeTimer::Duration() {
  return gDuration;
}

}  // namespace qv
