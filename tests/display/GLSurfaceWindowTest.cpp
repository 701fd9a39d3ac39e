// The OpenGL and NVidia stereo surfaces in real X11 windows on a private Xvfb (Mesa's software
// OpenGL, no stereo visual), whose RandR extension is given two more modes, 1024 x 768 and
// 800 x 600 at 60 Hz, beside its own 1280 x 1024. What reaches the screen is read back from the
// screen and saved as PNG files next to this test program.
#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include <chrono>
#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <functional>

#include "base/DisplayConfig.h"
#include "base/HighResTimer.h"
#include "display/GLWindow.h"
#include "display/NvidiaStereoSurface.h"
#include "display/OpenGLSurface.h"
#include "display/QtSeams.h"
#include "display/StereoTagWriter.h"
#include "display/XRandRModes.h"
#include "display/BlitSurface.h"
#include "playback/LineCodes.h"
#include "playback/GlassesTypes.h"
#include "playback/PlaySession.h"
#include "playback/SessionState.h"
#include "playback/Surfaces.h"
#include "support/TestSupport.h"

// Last: Xlib's macros (Bool, Status, None) clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>
#include <X11/Xutil.h>

namespace qv {

void PrintTo(const ScreenMode& mode, std::ostream* out) {
  *out << mode.PelsWidth << " x " << mode.PelsHeight;
}

namespace {

using namespace std::chrono_literals;
using test::Bgr;

constexpr QRgb kRed = qRgb(255, 0, 0), kGreen = qRgb(0, 255, 0), kYellow = qRgb(255, 255, 0);
constexpr QRgb kCyan = qRgb(0, 255, 255), kBlack = qRgb(0, 0, 0), kWhite = qRgb(255, 255, 255);

// Adds a mode to the server's output unless it has it: what a monitor would offer.
void OfferMode(int width, int height) {
  Display* display = XOpenDisplay(nullptr);
  ASSERT_NE(display, nullptr);
  const Window root = DefaultRootWindow(display);
  XRRScreenResources* resources = XRRGetScreenResources(display, root);
  bool offered = false;
  for (int k = 0; k < resources->nmode; ++k) {
    offered |= static_cast<int>(resources->modes[k].width) == width &&
               static_cast<int>(resources->modes[k].height) == height;
  }
  if (!offered) {
    XRRModeInfo mode{};
    std::string name = std::to_string(width) + "x" + std::to_string(height);
    mode.width = width;
    mode.height = height;
    mode.hTotal = width + 320;  // 60 Hz
    mode.vTotal = height + 38;
    mode.dotClock = static_cast<unsigned long>(mode.hTotal) * mode.vTotal * 60;
    mode.name = name.data();
    mode.nameLength = static_cast<unsigned>(name.size());
    const RRMode id = XRRCreateMode(display, root, &mode);
    XRRAddOutputMode(display, resources->outputs[0], id);
    XSync(display, False);
  }
  XRRFreeScreenResources(resources);
  XCloseDisplay(display);
}

// The whole screen as the X server shows it, saved under `name` beside the test program.
QImage GrabScreen(const char* name) {
  QCoreApplication::processEvents();
  QTest::qWait(100);
  Display* display = XOpenDisplay(nullptr);
  const Window root = DefaultRootWindow(display);
  XWindowAttributes attributes;
  XGetWindowAttributes(display, root, &attributes);
  XImage* image = XGetImage(display, root, 0, 0, attributes.width, attributes.height, AllPlanes, ZPixmap);
  QImage shot(attributes.width, attributes.height, QImage::Format_RGB32);
  const bool direct = image->bits_per_pixel == 32 && image->byte_order == LSBFirst;
  for (int y = 0; y < attributes.height; ++y) {
    auto* row = reinterpret_cast<QRgb*>(shot.scanLine(y));
    const auto* pixels = reinterpret_cast<const uint32_t*>(image->data + y * image->bytes_per_line);
    for (int x = 0; x < attributes.width; ++x) {
      row[x] = 0xff000000u | (direct ? pixels[x] : static_cast<QRgb>(XGetPixel(image, x, y)));
    }
  }
  XDestroyImage(image);
  XCloseDisplay(display);
  shot.save(QString(QUORVEX_SCREENSHOT_DIR "/") + name);
  return shot;
}

// Grabs the screen into `shot` while a surface opens or closes, once a line code shows on it:
// first after 150 ms, then every 100 ms while the top right pixel is black (under the sanitizers
// the window may come up late). Each try returns to the event loop, so that the surface goes on
// opening; the timers go with `context`.
void GrabLineCodeLater(QObject& context, QImage& shot, const char* name, int after = 150,
                       int tries = 20) {
  QTimer::singleShot(after, &context, [&context, &shot, name, tries] {
    shot = GrabScreen(name);
    if (shot.pixel(shot.width() - 1, 0) == 0xff000000u && tries > 1) {
      GrabLineCodeLater(context, shot, name, 100, tries - 1);
    }
  });
}

// The interlace start code across the top of the screen: red, green, yellow and red rows, black
// below them.
void ExpectInterlaceCode(const QImage& shot) {
  for (const int x : {0, shot.width() / 2, shot.width() - 1}) {
    EXPECT_EQ(std::vector({shot.pixel(x, 0), shot.pixel(x, 3), shot.pixel(x, 7), shot.pixel(x, 9),
                           shot.pixel(x, 10), shot.pixel(x, 700)}),
              std::vector({kRed, kGreen, kYellow, kRed, kBlack, kBlack}))
        << x;
  }
}

// A side-by-side frame: the left eye red under a white band of `band` rows, the right eye cyan.
PictureRef SideBySide(int32_t width, int32_t height, int band = 10) {
  return test::MakePicture(width, height, [=](int x, int y) {
    if (x >= width / 2) return Bgr{255, 255, 0};
    return y < band ? Bgr{255, 255, 255} : Bgr{0, 0, 255};
  });
}

// Runs `action` once the playing session has shown `frames` frames.
void WhenPlaying(const PlaybackSession& playback, int frames, std::function<void()> action) {
  auto* poll = new QTimer;
  poll->setInterval(20);
  QObject::connect(poll, &QTimer::timeout, [=, &playback] {
    if (playback.State().CurrentFrame < frames) return;
    poll->stop();
    poll->deleteLater();
    action();
  });
  poll->start();
}

ScreenMode Now() {
  ScreenMode mode = TheXRandRModes().CurrentMode();
  mode.BitsPerPel = mode.DisplayFrequency = 0;
  return mode;
}

ScreenMode Sized(int32_t width, int32_t height) {
  return ScreenMode{0, width, height, 0, 0};
}

class GLSurfaceWindowTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { OpenGLSurface::LoadDriver(); }  // as the player does
  void SetUp() override {
    OfferMode(1024, 768);
    OfferMode(800, 600);
    SetScreenInfo(&screen);
    SetEventPump(&pump);
    settings.ScreenWidth = 1024;
    settings.ScreenHeight = 768;
    settings.ColourDepth = 32;
    settings.RefreshRate = -1;
    LineCodeTimer::SetDuration(400ms);
    OpenGLSurface::ForgetStereoNotice();
  }
  void TearDown() override {
    LineCodeTimer::SetDuration(1000ms);
    SetScreenInfo(nullptr);
    SetEventPump(nullptr);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(Now(), Sized(1280, 1024)) << "the screen's own mode is back";
  }
  QtScreenInfo screen;
  QtEventPump pump;
  test::RecordingSink sink;
  DisplayConfig settings;
};

TEST_F(GLSurfaceWindowTest, WindowedStereoShowsTheLeftEyeAndSaysOnceThatTheDisplayHasNoStereo) {
  OpenGLSurface surface;
  surface.UseSettings(settings);
  const PictureRef frame = SideBySide(640, 240);
  ASSERT_TRUE(surface.OpenDisplay(false, 640, 240, true, false, frame, frame));
  EXPECT_FALSE(surface.HasStereoBuffers());
  EXPECT_EQ(sink.Texts(), std::vector<std::string>{kNoStereoVisual});
  ASSERT_TRUE(surface.PutImage(*frame, true, false));
  const QImage shot = GrabScreen("gl-windowed-stereo.png");

  // The window is the eye's size and 50 rows higher, centred; the picture at its bottom.
  const QPoint at = surface.PictureWindow()->mapToGlobal(QPoint(0, 0));
  EXPECT_EQ(at, QPoint((1280 - 320) / 2, (1024 - 240) / 2));
  EXPECT_EQ(surface.PictureWindow()->size(), QSize(320, 290));
  EXPECT_EQ(shot.pixel(at + QPoint(160, 25)), kBlack);
  EXPECT_EQ(shot.pixel(at + QPoint(0, 50)), kWhite);
  EXPECT_EQ(shot.pixel(at + QPoint(319, 59)), kWhite);
  EXPECT_EQ(shot.pixel(at + QPoint(0, 60)), kRed);
  EXPECT_EQ(shot.pixel(at + QPoint(319, 289)), kRed) << "the left eye only, not zoomed";
  EXPECT_EQ(shot.pixel(at + QPoint(320, 200)), kBlack) << "beside the window";
  surface.CloseDisplay();
  EXPECT_FALSE(surface.IsOpen());
  EXPECT_EQ(surface.PictureWindow(), nullptr);

  ASSERT_TRUE(surface.OpenDisplay(false, 640, 240, true, false, frame, frame));
  EXPECT_EQ(sink.messages.size(), 1u) << "told once";
  surface.CloseDisplay();
}

TEST_F(GLSurfaceWindowTest, FullScreenSwitchesTheModeAndShowsLineCodesAroundTheZoomedFrame) {
  OpenGLSurface surface;
  surface.UseSettings(settings);
  QImage start, end;
  QObject timers;
  GrabLineCodeLater(timers, start, "gl-fullscreen-linecode-start.png");
  ASSERT_TRUE(surface.OpenDisplay(true, 640, 240, false, true, CreateLineCode(LineCode::EDInterlace),
                                  CreateLineCode(LineCode::EDOff)));
  EXPECT_EQ(Now(), Sized(1024, 768));
  EXPECT_TRUE(sink.messages.empty());
  ASSERT_EQ(start.size(), QSize(1024, 768));
  ExpectInterlaceCode(start);

  // 640 x 240 letterboxed into 1024 x 768: 1024 x 384 from row 192 (counted from either edge),
  // drawn with the zoom 1.6, so the 10-row band takes 16 rows.
  ASSERT_TRUE(surface.PutImage(*SideBySide(640, 240), true, false));
  const QImage frame = GrabScreen("gl-fullscreen-frame.png");
  EXPECT_EQ(surface.Layout().Zoom, 1.6f);
  EXPECT_EQ(frame.pixel(512, 191), kBlack);
  EXPECT_EQ(frame.pixel(0, 192), kWhite);
  EXPECT_EQ(frame.pixel(511, 207), kWhite);
  EXPECT_EQ(frame.pixel(511, 208), kRed);
  EXPECT_EQ(frame.pixel(512, 208), kCyan);
  EXPECT_EQ(frame.pixel(1023, 575), kCyan);
  EXPECT_EQ(frame.pixel(512, 576), kBlack);

  GrabLineCodeLater(timers, end, "gl-fullscreen-linecode-end.png");
  surface.CloseDisplay();
  ASSERT_EQ(end.size(), QSize(1024, 768));
  EXPECT_EQ(end.pixel(512, 0), kRed);
  EXPECT_EQ(end.pixel(512, 7), kYellow);
  EXPECT_EQ(end.pixel(512, 8), kBlack);
  EXPECT_EQ(end.pixel(512, 300), kBlack) << "the whole screen is cleared for the code";
}

TEST_F(GLSurfaceWindowTest, ARefusedModeIsToldAndAFailedOpeningPutsTheModeBack) {
  OpenGLSurface surface;
  settings.ScreenWidth = 1600;
  settings.ScreenHeight = 1200;
  surface.UseSettings(settings);
  const PictureRef frame = SideBySide(320, 240);
  ASSERT_TRUE(surface.OpenDisplay(true, 320, 240, false, false, frame, frame));
  EXPECT_EQ(sink.Texts(), std::vector<std::string>{kModeRefused});
  EXPECT_EQ(Now(), Sized(1280, 1024));
  EXPECT_EQ(surface.PictureWindow()->geometry(), QRect(0, 0, 1600, 1200));
  surface.CloseDisplay();
  surface.CloseDisplay();

  // The start line code is missing: the opening fails after the mode was switched.
  sink.messages.clear();
  settings.ScreenWidth = 800;
  settings.ScreenHeight = 600;
  surface.UseSettings(settings);
  EXPECT_FALSE(surface.OpenDisplay(true, 320, 240, false, true, nullptr, nullptr));
  EXPECT_EQ(sink.Texts(), std::vector<std::string>{
                              std::string(kOpenGLOpenFailed) +
                              "Object variable or With block variable not set"});
  EXPECT_EQ(Now(), Sized(1280, 1024));
  EXPECT_FALSE(surface.IsOpen());
  surface.CloseDisplay();
}

TEST_F(GLSurfaceWindowTest, AModeChangedByAProcessThatCrashesIsPutBack) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        ScreenModes modes(TheXRandRModes());
        int32_t rate = -1;
        if (modes.SetScreenMode(800, 600, 32, true, rate) && Now() == Sized(800, 600)) {
          std::fputs("switched\n", stderr);
        }
        std::abort();
      },
      "switched");
}

TEST_F(GLSurfaceWindowTest, NvidiaStereoShowsTheTaggedLeftEyeOfTheDoubleWidthSurface) {
  NvidiaStereoSurface surface;
  surface.UseSettings(settings);
  const PictureRef frame = SideBySide(1280, 480);
  QImage lineCode;
  QObject timers;
  GrabLineCodeLater(timers, lineCode, "nvidia-linecode.png");
  ASSERT_TRUE(surface.OpenDisplay(true, 1280, 480, true, true, CreateLineCode(LineCode::EDSync),
                                  CreateLineCode(LineCode::EDOff)));
  EXPECT_EQ(Now(), Sized(1024, 768));
  ASSERT_EQ(lineCode.size(), QSize(1024, 768));
  EXPECT_EQ(lineCode.pixel(1023, 1), kRed);
  EXPECT_EQ(lineCode.pixel(0, 9), kYellow);
  EXPECT_EQ(lineCode.pixel(0, 10), kBlack);

  ASSERT_TRUE(surface.PutImage(*frame, true, true));  // quick: pixels repeated, edges stay sharp
  EXPECT_EQ(surface.PictureRect(), QRect(0, 0, 2048, 768));
  const QImage& image = surface.ImageSurface();
  ASSERT_EQ(image.size(), QSize(2048, 768));
  ASSERT_EQ(image.format(), QImage::Format_RGB32);
  const uchar* last = image.constScanLine(767);
  EXPECT_EQ(std::vector<uchar>(last, last + kStereoTagBytes),
            (std::vector<uchar>{'N', 'V', '3', 'D', 0, 8, 0, 0, 0, 3, 0, 0, 32, 0, 0, 0, 0, 0, 0, 0}));

  // The left half of the tagged surface, 1024 x 768 at (0, 0): the band is 16 rows high, and the
  // tag's first pixels show in the bottom row.
  const QImage shot = GrabScreen("nvidia-left-eye.png");
  EXPECT_EQ(shot.pixel(1023, 15), kWhite);
  EXPECT_EQ(shot.pixel(0, 16), kRed);
  EXPECT_EQ(shot.pixel(1023, 767), kRed);
  EXPECT_EQ(shot.pixel(0, 767), qRgb('3', 'V', 'N'));
  EXPECT_EQ(shot.pixel(1, 767), qRgb(0, 8, 0));
  EXPECT_EQ(shot.pixel(5, 767), kRed);
  surface.CloseDisplay();
  surface.CloseDisplay();
  EXPECT_FALSE(surface.IsOpen());
}

TEST_F(GLSurfaceWindowTest, NvidiaStereoRefusesWindowsAndColourDepthsItCannotShow) {
  NvidiaStereoSurface surface;
  surface.UseSettings(settings);
  const PictureRef frame = SideBySide(64, 48);
  EXPECT_FALSE(surface.OpenDisplay(false, 64, 48, true, false, frame, frame));
  settings.ColourDepth = 8;
  surface.UseSettings(settings);
  EXPECT_FALSE(surface.OpenDisplay(true, 64, 48, true, false, frame, frame));
  EXPECT_EQ(sink.Texts(), (std::vector<std::string>{kNoWindowedDisplay, "Invalid colour depth: 8",
                                                     kInitialiseFailed}));
  EXPECT_EQ(Now(), Sized(1280, 1024));

  // Frames for a surface that is not open: the steps' messages and false.
  sink.messages.clear();
  EXPECT_FALSE(surface.PutImage(*frame, true, false));
  EXPECT_EQ(sink.Texts(), (std::vector<std::string>{
                              "An error occurred in InitDeviceObjects. Object variable or With "
                              "block variable not set",
                              kStereoPutFailed}));
  surface.CloseDisplay();
}

// Every glasses type, in a window and full screen, plays the demo clip through the surface that
// the dispatch chooses for it: frames reach the screen and nothing is reported but the absent
// stereo visual; a click in the picture ends the session. The screenshots are the manual's.
TEST_F(GLSurfaceWindowTest, EveryGlassesTypePlaysInAWindowAndFullScreen) {
  test::TempDir folder;
  const std::string clip = folder.File("demo.mkv");
  ASSERT_EQ(std::system((std::string(QUORVEX_PROGRAM) + " demo '" + clip + "' > /dev/null").c_str()), 0);

  PlaybackSession playback;
  const DisplayConfig saved = gDisplay;
  gDisplay = settings;
  gDisplay.VertOffset = 10;
  gDisplay.InterlaceViaOpenGL = true;
  LineCodeTimer::SetDuration(300ms);
  BlitSurface blit;
  OpenGLSurface openGL;
  NvidiaStereoSurface nvidia;
  SetDisplaySurface(SurfaceKind::Blit, &blit);
  SetDisplaySurface(SurfaceKind::OpenGL, &openGL);
  SetDisplaySurface(SurfaceKind::DirectX, &nvidia);

  enum Shown { kBlit, kOpenGL, kNvidia };
  struct Case {
    int16_t glasses;
    bool fullscreen;
    Shown surface;
    ScreenMode mode;  // while it plays
  };
  const ScreenMode desktop = Sized(1280, 1024), chosen = Sized(1024, 768);
  const Case cases[] = {
      {1, false, kBlit, desktop},  {1, true, kOpenGL, chosen}, {2, true, kOpenGL, chosen},
      {3, true, kOpenGL, chosen},  {4, false, kOpenGL, desktop}, {4, true, kOpenGL, chosen},
      {5, false, kBlit, desktop},  {5, true, kBlit, desktop},    {6, false, kBlit, desktop},
      {6, true, kBlit, desktop},   {7, false, kBlit, desktop},   {7, true, kNvidia, chosen},
  };
  for (const Case& c : cases) {
    const std::string name = "glasses-" + std::to_string(c.glasses) +
                             (c.fullscreen ? "-fullscreen.png" : "-windowed.png");
    SCOPED_TRACE(name);
    QTest::qWait(200);  // Qt hears of the screen's own mode again
    sink.messages.clear();
    OpenGLSurface::ForgetStereoNotice();
    gDisplay.GlassesType = c.glasses;
    QImage shot;
    std::vector<bool> open;
    ScreenMode during;
    WhenPlaying(playback, 6, [&] {
      open = {blit.IsOpen(), openGL.IsOpen(), nvidia.IsOpen()};
      during = Now();
      shot = GrabScreen(name.c_str());
      if (blit.IsOpen()) {
        QTest::mouseClick(blit.PictureWidget(), Qt::LeftButton, {}, QPoint(10, 10));
      } else {
        QTest::mouseClick(openGL.IsOpen() ? openGL.PictureWindow() : nvidia.PictureWindow(),
                          Qt::LeftButton, {}, QPoint(10, 10));
      }
    });
    PlaybackRequest request;
    request.FileName = request.AudioFile = clip;
    request.InputFormat = InputFormat::Parallel;
    request.OutputMethod = *OutputMethodFor(c.glasses, c.fullscreen);
    request.Fullscreen = c.fullscreen;
    playback.PlaySession(request);

    ASSERT_EQ(open.size(), 3u);
    EXPECT_TRUE(open[c.surface]) << "the surface of the glasses is the one open";
    EXPECT_EQ(std::count(open.begin(), open.end(), true), 1);
    EXPECT_EQ(during, c.mode);
    EXPECT_EQ(Now(), desktop);
    EXPECT_GT(playback.State().CurrentFrame, 3);
    EXPECT_TRUE(playback.State().StopRequested) << "the click ends the session";
    EXPECT_FALSE(blit.IsOpen() || openGL.IsOpen() || nvidia.IsOpen());
    for (const std::string& text : sink.Texts()) EXPECT_EQ(text, kNoStereoVisual);
    // The middle of the screen shows the scene (a sync-doubled frame has its gap there).
    const QRect middle(shot.width() / 2 - 100, shot.height() / 2 - 100, 200, 200);
    int lit = 0;
    for (int y = middle.top(); y <= middle.bottom(); ++y) {
      for (int x = middle.left(); x <= middle.right(); ++x) lit += shot.pixel(x, y) != kBlack;
    }
    EXPECT_GT(lit, 20000);
  }
  SetDisplaySurface(SurfaceKind::Blit, nullptr);
  SetDisplaySurface(SurfaceKind::OpenGL, nullptr);
  SetDisplaySurface(SurfaceKind::DirectX, nullptr);
  gDisplay = saved;
}

}  // namespace
}  // namespace qv
