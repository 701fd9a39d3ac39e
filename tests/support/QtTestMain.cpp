// main() of test programs that use Qt Widgets: a QApplication exists for the whole run. Without a
// platform chosen in the environment the tests run off screen, so that listing and running them
// needs no display.
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
