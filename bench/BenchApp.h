#pragma once
// The Qt application of the window benchmarks: on the X server when a display is there (make
// bench provides Xvfb), on the offscreen platform otherwise.
#include <QApplication>

namespace qv::bench {

inline void EnsureApplication() {
  static int argc = 1;
  static char name[] = "quorvex_bench";
  static char* argv[] = {name, nullptr};
  if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  static QApplication app(argc, argv);
}

}  // namespace qv::bench
