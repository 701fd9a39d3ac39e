#pragma once
// The one-second timer of the window surfaces: how long a line code stays on the screen. The wait
// keeps processing window messages, so clicks and keys reach the display callbacks meanwhile.
// User-interface thread only; needs a QCoreApplication.

#include <chrono>
#include <memory>

class QTimer;

namespace qv {

class LineCodeTimer {
 public:
  LineCodeTimer();
  ~LineCodeTimer();
  LineCodeTimer(const LineCodeTimer&) = delete;
  LineCodeTimer& operator=(const LineCodeTimer&) = delete;

  // Starts the timer and returns once it has ticked.
  void Wait();

  // For every surface: one second, which tests shorten.
  static void SetDuration(std::chrono::milliseconds duration);
  static std::chrono::milliseconds Duration();

 private:
  std::unique_ptr<QTimer> timer_;
  bool elapsed_ = false;
};

}  // namespace qv
