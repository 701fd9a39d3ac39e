// The blit surface in real X11 windows: what reaches the screen is read back from the screen
// itself and saved as PNG files next to this test program for a person to look at.
#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <chrono>
#include <cstdlib>

#include "base/DisplayConfig.h"
#include "display/QtSeams.h"
#include "display/BlitSurface.h"
#include "base/HighResTimer.h"
#include "playback/PlaySession.h"
#include "playback/SessionState.h"
#include "playback/Surfaces.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using namespace std::chrono_literals;
using test::Bgr;

constexpr QRgb kRed = qRgb(255, 0, 0), kGreen = qRgb(0, 255, 0), kYellow = qRgb(255, 255, 0);
constexpr QRgb kCyan = qRgb(0, 255, 255), kBlack = qRgb(0, 0, 0);

// An anaglyph-like frame: red for the left eye in the left half, cyan for the right eye, and a
// white band along the top that shows which way up it is.
PictureRef Anaglyph(int32_t width, int32_t height) {
  return test::MakePicture(width, height, [width](int x, int y) {
    return y < 10 ? Bgr{255, 255, 255} : (x < width / 2 ? Bgr{0, 0, 255} : Bgr{255, 255, 0});
  });
}

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

TEST_F(BlitSurfaceWindowTest, AnAnaglyphFrameReachesTheScreenInACentredWindow) {
  const PictureRef frame = Anaglyph(320, 240);
  ASSERT_TRUE(surface.OpenDisplay(false, 320, 240, true, false, frame, frame));
  ASSERT_TRUE(QTest::qWaitForWindowExposed(surface.PictureWidget()));
  ASSERT_TRUE(surface.PutImage(*frame, false, false));
  const QImage shot = GrabScreen("blt-windowed-screen.png");

  const QPoint at = surface.PictureWidget()->mapToGlobal(QPoint(0, 0));
  EXPECT_EQ(at, QPoint((screen.WidthPixels() - 320) / 2, (screen.HeightPixels() - 240) / 2))
      << "the window's inside starts at the centred position when no window manager moves it";
  EXPECT_EQ(shot.pixel(at + QPoint(5, 5)), qRgb(255, 255, 255));
  EXPECT_EQ(shot.pixel(at + QPoint(5, 10)), kRed);
  EXPECT_EQ(shot.pixel(at + QPoint(159, 120)), kRed);
  EXPECT_EQ(shot.pixel(at + QPoint(160, 120)), kCyan);
  EXPECT_EQ(shot.pixel(at + QPoint(314, 234)), kCyan);
  EXPECT_EQ(shot.pixel(at + QPoint(160, 265)), kBlack);  // the 50 rows below the picture
}

TEST_F(BlitSurfaceWindowTest, FullScreenShowsTheLineCodeThenTheLetterboxedFrame) {
  BlitSurface::SetLineCodeDuration(400ms);
  const PictureRef start = test::MakePicture(9, 10, [](int, int y) {
    return y < 2 || y >= 8 ? Bgr{0, 0, 255} : (y < 4 ? Bgr{0, 255, 0} : Bgr{0, 255, 255});
  });
  QImage duringLineCode;
  QTimer::singleShot(100, [&] { duringLineCode = GrabScreen("blt-fullscreen-linecode.png"); });
  ASSERT_TRUE(surface.OpenDisplay(true, 640, 240, true, true, start, start));
  ASSERT_FALSE(duringLineCode.isNull());
  const int width = screen.WidthPixels();
  for (const int x : {0, width / 2, width - 1}) {
    EXPECT_EQ(duringLineCode.pixel(x, 0), kRed) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 3), kGreen) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 6), kYellow) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 9), kRed) << x;
    EXPECT_EQ(duringLineCode.pixel(x, 10), kBlack) << x;
  }

  surface.PutImage(*Anaglyph(640, 240), true, false);
  const QImage shot = GrabScreen("blt-fullscreen-frame.png");
  const BlitLayout& l = surface.Layout();
  EXPECT_EQ(l.PictureWidth, width);
  const int middle = l.PictureY + l.PictureHeight / 2;
  EXPECT_EQ(shot.pixel(width / 4, middle), kRed);
  EXPECT_EQ(shot.pixel(3 * width / 4, middle), kCyan);
  EXPECT_EQ(shot.pixel(width / 2, l.PictureY - 2), kBlack);  // the letterbox bars
  EXPECT_EQ(shot.pixel(width / 2, l.PictureY + l.PictureHeight + 1), kBlack);
}

TEST_F(BlitSurfaceWindowTest, APlayingSessionShowsItsAnaglyphUntilTheWindowIsClicked) {
  // A second of a side-by-side pair with a sound track: the left eye sees white|black, the right
  // eye black|white, so the red/cyan anaglyph is red on the left and cyan on the right.
  test::TempDir folder;
  const std::string clip = folder.File("pair.mkv");
  const std::string command =
      "ffmpeg -nostdin -hide_banner -loglevel error -y -f lavfi -i "
      "color=white:s=80x120:r=25:d=1 -f lavfi -i color=black:s=80x120:r=25:d=1 -f lavfi -i "
      "sine=sample_rate=48000:d=1 -filter_complex '[0][1]hstack[l];[1][0]hstack[r];[l][r]hstack' "
      "-c:v ffv1 -pix_fmt bgr0 -c:a flac '" +
      clip + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);

  PlaybackSession playback;
  SetDisplaySurface(SurfaceKind::Blit, &surface);
  QImage shot;
  QPoint at;
  QTimer::singleShot(400, [&] {
    at = surface.PictureWidget()->mapToGlobal(QPoint(0, 0));
    shot = GrabScreen("blt-session-anaglyph.png");
    QTest::mouseClick(surface.PictureWidget(), Qt::LeftButton, {}, QPoint(10, 10));
  });
  PlaybackRequest request;
  request.FileName = request.AudioFile = clip;
  request.InputFormat = InputFormat::Parallel;
  request.OutputMethod = OutputMethod::AnaglyphRedGreen;
  playback.PlaySession(request);
  SetDisplaySurface(SurfaceKind::Blit, nullptr);

  ASSERT_FALSE(shot.isNull());
  EXPECT_EQ(shot.pixel(at + QPoint(40, 60)), kRed);
  EXPECT_EQ(shot.pixel(at + QPoint(120, 60)), kCyan);
  EXPECT_TRUE(playback.State().StopRequested);
  EXPECT_LT(playback.State().CurrentFrame, 24) << "the click ends the session before its last frame";
  EXPECT_FALSE(surface.IsOpen());
}

}  // namespace
}  // namespace qv
