// The blit surface in a real X11 window: what reaches the screen is read back from the screen
// itself and saved as PNG files next to this test program for a person to look at.
#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <chrono>
#include <string>

#include "display/QtSeams.h"
#include "display/frmBltSurface.h"
#include "playback/Callback.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using namespace std::chrono_literals;
using test::Bgr;

constexpr QRgb kRed = qRgb(255, 0, 0);
constexpr QRgb kCyan = qRgb(0, 255, 255);
constexpr QRgb kBlack = qRgb(0, 0, 0);

std::string ScreenshotPath(const std::string& name) {
  return std::string(QUORVEX_SCREENSHOT_DIR) + "/" + name;
}

// The whole screen as the X server shows it.
QImage GrabScreen() {
  return QGuiApplication::primaryScreen()->grabWindow(0).toImage().convertToFormat(
      QImage::Format_RGB32);
}

// Lets the X server and the window manager (if any) catch up with what was drawn.
void Settle() {
  for (int i = 0; i < 10; ++i) {
    QCoreApplication::processEvents();
    QTest::qWait(20);
  }
}

class BltSurfaceWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetScreenInfo(&screen);
    SetEventPump(&pump);
  }
  void TearDown() override {
    surface.CloseDisplay();
    SetScreenInfo(nullptr);
    SetEventPump(nullptr);
    frmBltSurface::SetLineCodeDuration(1000ms);
  }
  QtScreenInfo screen;
  QtEventPump pump;
  frmBltSurface surface;
};

TEST_F(BltSurfaceWindowTest, AnAnaglyphFrameReachesTheScreenInACentredWindow) {
  // Red for the left eye in the left half, cyan for the right eye in the right half.
  const DibRef frame = test::MakePicture(320, 240, [](int x, int) {
    return x < 160 ? Bgr{0, 0, 255} : Bgr{255, 255, 0};
  });
  ASSERT_TRUE(surface.OpenDisplay(false, 320, 240, true, false, frame, frame));
  QWidget* canvas = surface.Canvas();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(canvas));
  ASSERT_TRUE(surface.PutImage(*frame, false, false));
  Settle();

  const QImage shot = GrabScreen();
  ASSERT_FALSE(shot.isNull());
  shot.save(QString::fromStdString(ScreenshotPath("blt-windowed-screen.png")));
  const QPoint at = canvas->mapToGlobal(QPoint(0, 0));
  EXPECT_EQ(at, QPoint((screen.WidthPixels() - 320) / 2, (screen.HeightPixels() - 240) / 2))
      << "the window's inside should start at the centred position (no window manager)";
  EXPECT_EQ(shot.pixel(at + QPoint(5, 5)), kRed);
  EXPECT_EQ(shot.pixel(at + QPoint(159, 120)), kRed);
  EXPECT_EQ(shot.pixel(at + QPoint(160, 120)), kCyan);
  EXPECT_EQ(shot.pixel(at + QPoint(314, 234)), kCyan);
  EXPECT_EQ(shot.pixel(at + QPoint(160, 265)), kBlack);  // the 50 rows below the picture
  shot.copy(QRect(at, QSize(320, 290)))
      .save(QString::fromStdString(ScreenshotPath("blt-windowed-window.png")));
}

TEST_F(BltSurfaceWindowTest, FullScreenShowsTheLineCodeThenTheLetterboxedFrame) {
  frmBltSurface::SetLineCodeDuration(300ms);
  const auto rows = [](int, int y) {
    static const Bgr kRows[] = {{0, 0, 255},   {0, 0, 255},   {0, 255, 0},   {0, 255, 0},
                                {0, 255, 255}, {0, 255, 255}, {0, 255, 255}, {0, 255, 255},
                                {0, 0, 255},   {0, 0, 255}};
    return kRows[y];
  };
  const DibRef start = test::MakePicture(9, 10, rows);
  const DibRef frame = test::MakePicture(640, 240, [](int x, int) {
    return x < 320 ? Bgr{0, 0, 255} : Bgr{255, 255, 0};
  });
  QImage duringLineCode;
  QTimer::singleShot(150, [&] { duringLineCode = GrabScreen(); });
  ASSERT_TRUE(surface.OpenDisplay(true, 640, 240, true, true, start, start));
  ASSERT_FALSE(duringLineCode.isNull());
  duringLineCode.save(QString::fromStdString(ScreenshotPath("blt-fullscreen-linecode.png")));
  const int width = screen.WidthPixels();
  for (const int x : {0, width / 2, width - 1}) {
    EXPECT_EQ(duringLineCode.pixel(x, 0), kRed) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 3), qRgb(0, 255, 0)) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 6), qRgb(255, 255, 0)) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 9), kRed) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 10), kBlack) << x;
  }

  surface.PutImage(*frame, true, false);
  Settle();
  const QImage shot = GrabScreen();
  shot.save(QString::fromStdString(ScreenshotPath("blt-fullscreen-frame.png")));
  const BltLayout& l = surface.Layout();
  EXPECT_EQ(l.PictureWidth, width);
  EXPECT_EQ(shot.pixel(width / 4, l.PictureY + l.PictureHeight / 2), kRed);
  EXPECT_EQ(shot.pixel(3 * width / 4, l.PictureY + l.PictureHeight / 2), kCyan);
  EXPECT_EQ(shot.pixel(width / 2, l.PictureY - 2), kBlack);  // the letterbox bars
  EXPECT_EQ(shot.pixel(width / 2, l.PictureY + l.PictureHeight + 1), kBlack);
}

}  // namespace
}  // namespace qv
