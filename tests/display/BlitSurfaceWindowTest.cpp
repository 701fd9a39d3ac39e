// The blit surface in real X11 windows: what reaches the screen is read back from the screen
// itself and saved as PNG files next to this test program for a person to look at. (Frames shown
// in the player's windows are checked by the player's end-to-end test.)
#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <chrono>

#include "display/BlitSurface.h"
#include "display/QtSeams.h"
#include "playback/LineCodes.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

// The whole screen as the X server shows it, saved under `name` beside the test program.
QImage GrabScreen(const char* name) {
  QCoreApplication::processEvents();
  QTest::qWait(100);  // the X server and a window manager, if any, catch up
  const QImage shot = QGuiApplication::primaryScreen()->grabWindow(0).toImage().convertToFormat(
      QImage::Format_RGB32);
  shot.save(QString(QUORVEX_SCREENSHOT_DIR "/") + name);
  return shot;
}

class BlitSurfaceWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetScreenInfo(&screen);
    SetEventPump(&pump);
  }
  void TearDown() override {
    surface.CloseDisplay();
    SetScreenInfo(nullptr);
    SetEventPump(nullptr);
    BlitSurface::SetLineCodeDuration(1000ms);
  }
  QtScreenInfo screen;
  QtEventPump pump;
  BlitSurface surface;
};

TEST_F(BlitSurfaceWindowTest, FullScreenShowsTheLineCodeAcrossTheTopOfTheScreen) {
  BlitSurface::SetLineCodeDuration(400ms);
  const PictureRef start = CreateLineCode(LineCode::EDInterlace);
  QImage duringLineCode;
  QTimer::singleShot(100, [&] { duringLineCode = GrabScreen("blt-fullscreen-linecode.png"); });
  ASSERT_TRUE(surface.OpenDisplay(true, 640, 240, true, true, start, start));
  ASSERT_FALSE(duringLineCode.isNull());
  const int width = screen.WidthPixels();
  for (const int x : {0, width / 2, width - 1}) {
    EXPECT_EQ(duringLineCode.pixel(x, 0), qRgb(255, 0, 0)) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 3), qRgb(0, 255, 0)) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 6), qRgb(255, 255, 0)) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 9), qRgb(255, 0, 0)) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 10), qRgb(0, 0, 0)) << x;
  }
}

}  // namespace
}  // namespace qv::test
