// The real-window tests run on the X11 platform and need a display (scripts/with-display.sh
// provides one); without it they report themselves skipped (exit status 77).
#include <gtest/gtest.h>

#include <QApplication>

#include <cstdio>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (qEnvironmentVariableIsEmpty("DISPLAY")) {
    std::puts("No X display: the real-window tests are skipped.");
    return 77;
  }
  qputenv("QT_QPA_PLATFORM", "xcb");
  QApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
