// The blit surface on the offscreen platform (window layout, what the canvas shows, line codes,
// events) and the display callbacks that give clicks, keys and focus loss their meaning.
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

#include <chrono>

#include "display/WindowImage.h"
#include "display/BlitSurface.h"
#include "playback/DisplayEvents.h"
#include "playback/LineCodes.h"
#include "playback/SessionState.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

constexpr Bgr kBlack{0, 0, 0}, kWhite{255, 255, 255}, kGreen{0, 255, 0};

// A width x height screen with the rows of a line code across its top and `below` under them.
PictureRef Coded(int32_t width, int32_t height, const Picture& code, Bgr below = kBlack) {
  return MakePicture(width, height, [&](int, int y) {
    return y < code.Height() ? PixelAt(code, 0, y) : below;
  });
}

// A blit surface on a fixed screen, with an event pump that counts its calls, short line codes,
// and clean callback state and stop flag for the length of a test.
class BlitSurfaceTest : public ::testing::Test {
 protected:
  void UseScreen(int32_t width, int32_t height) {
    screen_ = FixedScreen(width, height);
    SetScreenInfo(&screen_);
  }
  void SetUp() override {
    UseScreen(1024, 768);
    SetEventPump(&pump);
    BlitSurface::SetLineCodeDuration(20ms);
  }
  void TearDown() override {
    surface.CloseDisplay();
    BlitSurface::SetLineCodeDuration(1000ms);
    SetScreenInfo(nullptr);
    SetEventPump(nullptr);
    SetDisplayCallbacks(0, 0, 0, {});
    SetSlideShowHandlers({});
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  bool Open(bool fullscreen, int32_t w, int32_t h, bool permanent = true) {
    return surface.OpenDisplay(fullscreen, w, h, permanent, false, nullptr, nullptr);
  }
  // What the canvas shows, painted afresh.
  PictureRef Shown() {
    const QImage rgb = surface.PictureWidget()->grab().toImage().convertToFormat(QImage::Format_RGB32);
    return MakePicture(rgb.width(), rgb.height(), [&rgb](int x, int y) {
      const QRgb p = rgb.pixel(x, y);
      return Bgr{uint8_t(qBlue(p)), uint8_t(qGreen(p)), uint8_t(qRed(p))};
    });
  }

  // Processes the window system's events, as the GUI's pump does, and counts the calls.
  struct CountingPump : EventPump {
    void ProcessEvents() override {
      ++calls;
      QCoreApplication::processEvents();
    }
    int calls = 0;
  } pump;
  // Slide-show handlers that add their calls to `calls` as " m<button>,<shift>" and
  // " k<key>,<shift>".
  void RecordSlideShow() {
    auto record = [this](char kind) {
      return [this, kind](int16_t a, int16_t s) {
        calls += std::string(" ") + kind + std::to_string(a) + "," + std::to_string(s);
      };
    };
    SetSlideShowHandlers({record('m'), record('k')});
  }

  RecordingSink sink;
  BlitSurface surface;
  std::string calls;

 private:
  FixedScreen screen_;
};

TEST_F(BlitSurfaceTest, LayoutCentresTheWindowOrLetterboxesTheFullScreenPicture) {
  struct Case {
    bool fullscreen;
    int32_t screenW, screenH, srcX, srcY;
    BlitLayout expected;
  };
  const Case cases[] = {
      {false, 1024, 768, 640, 480, {192, 144, 640, 530, 0, 0, 640, 480}},
      {false, 1024, 768, 641, 481, {192, 144, 641, 531, 0, 0, 641, 481}},  // 191.5, 143.5
      {false, 1024, 768, 1100, 900, {0, 0, 1100, 950, 0, 0, 1100, 900}},   // never negative
      {true, 1024, 768, 720, 576, {0, 0, 1024, 768, 32, 0, 960, 768}},
      {true, 1024, 768, 1280, 480, {0, 0, 1024, 768, 0, 192, 1024, 384}},
      {true, 1024, 770, 1280, 480, {0, 0, 1024, 770, 0, 192, 1024, 384}},  // 193 made even
      {true, 800, 800, 641, 480, {0, 0, 800, 800, 0, 100, 800, 598}},
      {true, 1280, 720, 640, 480, {0, 0, 1280, 720, 160, 0, 960, 720}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.srcX) + "x" + std::to_string(c.srcY));
    UseScreen(c.screenW, c.screenH);
    ASSERT_TRUE(Open(c.fullscreen, c.srcX, c.srcY));
    EXPECT_EQ(surface.Layout(), c.expected);
    const QWidget* window = surface.PictureWidget();
    ASSERT_TRUE(window->isWindow());
    EXPECT_EQ(window->windowFlags().testFlag(Qt::FramelessWindowHint), c.fullscreen);
    EXPECT_EQ(QRect(window->pos(), window->size()),
              QRect(c.expected.WindowLeft, c.expected.WindowTop, c.expected.WindowWidth,
                    c.expected.WindowHeight));
  }
}

TEST_F(BlitSurfaceTest, WindowedIntoATargetMovesItsWindowAndFitsTheTargetToTheFrame) {
  QWidget mainWindow;  // a 20-pixel bar above the picture area, as a menu bar would be
  auto* layout = new QVBoxLayout(&mainWindow);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  auto* bar = new QWidget;
  bar->setFixedHeight(20);
  layout->addWidget(bar);
  auto* area = new QWidget;
  layout->addWidget(area, 1);
  mainWindow.resize(200, 150);
  mainWindow.show();
  surface.SetTarget(area);
  ASSERT_TRUE(Open(false, 320, 240));
  EXPECT_EQ(surface.PictureWidget()->parentWidget(), area);
  EXPECT_TRUE(surface.PictureWidget()->isVisible());
  EXPECT_EQ(mainWindow.pos(), QPoint(352, 264));  // where its frame goes
  EXPECT_EQ(mainWindow.size(), QSize(320, 260));
  EXPECT_EQ(area->size(), QSize(320, 240));
  EXPECT_EQ(surface.PictureWidget()->geometry(), QRect(0, 0, 320, 240));

  surface.CloseDisplay();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_TRUE(area->children().isEmpty());  // the canvas is gone, the target stays
}

TEST_F(BlitSurfaceTest, UnscaledPutsCopyTheTopLeftOfThePictureIntoThePictureRectangle) {
  ASSERT_TRUE(Open(false, 64, 48));
  const PictureRef frame = PatternPicture(64, 48);
  EXPECT_TRUE(surface.PutImage(*frame, false, false));
  EXPECT_TRUE(SamePicture(*Shown(), *MakePicture(64, 98, [&](int x, int y) {
    return y < 48 ? PixelAt(*frame, x, y) : kBlack;
  })));

  UseScreen(200, 100);
  ASSERT_TRUE(Open(true, 64, 48));  // letterboxed to 132 x 100 at x 34
  const PictureRef big = PatternPicture(150, 110, 9);
  surface.PutImage(*big, false, true);
  EXPECT_TRUE(SamePicture(*Shown(), *MakePicture(200, 100, [&](int x, int y) {
    return x >= 34 && x < 34 + 132 ? PixelAt(*big, x - 34, y) : kBlack;
  })));
}

TEST_F(BlitSurfaceTest, ResizedPutsRepeatPixelsOnlyWhenEnlargingQuickly) {
  UseScreen(128, 96);
  ASSERT_TRUE(Open(true, 64, 48));
  const PictureRef frame = PatternPicture(64, 48, 3);
  surface.PutImage(*frame, true, true);
  EXPECT_TRUE(SamePicture(*Shown(), *MakePicture(128, 96, [&](int x, int y) {
    return PixelAt(*frame, x / 2, y / 2);
  })));

  // Not quick: smoothed, so a black/white edge gets grey in between.
  surface.PutImage(*MakePicture(64, 48, [](int x, int) { return x < 32 ? kBlack : kWhite; }), true,
                   false);
  const PictureRef smooth = Shown();
  EXPECT_EQ(PixelAt(*smooth, 60, 40), kBlack);
  EXPECT_GT(PixelAt(*smooth, 63, 40).g, 20);
  EXPECT_LT(PixelAt(*smooth, 64, 40).g, 235);
  EXPECT_EQ(PixelAt(*smooth, 67, 40), kWhite);

  // Shrinking is smoothed even when quick: a fine checkerboard averages to grey.
  surface.PutImage(
      *MakePicture(256, 192, [](int x, int y) { return (x + y) % 2 ? kWhite : kBlack; }), true,
      true);
  const PictureRef grey = Shown();
  for (const int x : {0, 64, 127}) EXPECT_NEAR(PixelAt(*grey, x, x * 3 / 4).g, 128, 2) << x;
}

TEST_F(BlitSurfaceTest, OnlyAPermanentSurfaceShowsTheLastFrameAgainWhenRepainted) {
  for (bool permanent : {true, false}) {
    ASSERT_TRUE(Open(false, 32, 16, permanent));
    surface.PutImage(*SolidPicture(32, 16, kGreen), false, false);
    EXPECT_EQ(PixelAt(*Shown(), 5, 5), permanent ? kGreen : kBlack);
  }
}

TEST_F(BlitSurfaceTest, ClicksKeysAndFocusLossReachTheCallbacks) {
  RecordSlideShow();
  bool stopped = false;
  SetDisplayCallbacks(3, 2, 3, [&] { stopped = true; });
  ASSERT_TRUE(Open(true, 64, 48));
  QWidget* canvas = surface.PictureWidget();
  QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(10, 10));
  QTest::mouseClick(canvas, Qt::RightButton, Qt::ShiftModifier | Qt::ControlModifier);
  QTest::mouseClick(canvas, Qt::MiddleButton, Qt::AltModifier);
  EXPECT_EQ(calls, " m1,0 m2,3 m4,4");
  calls.clear();
  for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_F12, Qt::Key_Tab}) QTest::keyClick(canvas, key);
  QTest::keyClick(canvas, Qt::Key_5, Qt::KeypadModifier);
  QTest::keyClick(canvas, Qt::Key_A, Qt::ShiftModifier);  // Shift's own press (16) comes first
  QTest::keyClick(canvas, Qt::Key_Colon, Qt::ShiftModifier);
  EXPECT_EQ(calls, " k27,0 k123,0 k9,0 k101,0 k16,1 k65,1 k16,1 k186,1");

  EXPECT_FALSE(stopped);
  ASSERT_TRUE(QTest::qWaitForWindowActive(canvas));
  canvas->setFocus();
  canvas->clearFocus();
  EXPECT_TRUE(stopped);

  SetDisplayCallbacks(1, 0, 0, {});  // closes the surface from inside its own click handler
  QTest::mouseClick(canvas, Qt::LeftButton);
  EXPECT_FALSE(surface.IsOpen());
  EXPECT_EQ(surface.PictureWidget(), nullptr);
}

TEST_F(BlitSurfaceTest, LineCodesAreShownAcrossTheScreenWhileOpeningAndClosing) {
  UseScreen(64, 32);
  const PictureRef start = CreateLineCode(LineCode::EDInterlace);
  const PictureRef end = CreateLineCode(LineCode::EDOff), endCopy = end->CopyOf();
  PictureRef duringOpen, duringClose;
  QTimer::singleShot(0, [&] { duringOpen = Shown(); });
  ASSERT_TRUE(surface.OpenDisplay(true, 32, 16, true, true, start, end));
  ASSERT_TRUE(duringOpen);
  EXPECT_TRUE(SamePicture(*duringOpen, *Coded(64, 32, *start)));
  EXPECT_TRUE(SamePicture(*Shown(), *SolidPicture(64, 32, kBlack)));  // cleared afterwards

  // The end code is drawn over the last frame; the surface keeps its own copy of it.
  surface.PutImage(*SolidPicture(32, 16, kGreen), true, false);
  end->ClearUp();
  QTimer::singleShot(0, [&] { duringClose = Shown(); });
  EXPECT_TRUE(surface.CloseDisplay());
  ASSERT_TRUE(duringClose);
  EXPECT_TRUE(SamePicture(*duringClose, *Coded(64, 32, *endCopy, kGreen)));
  EXPECT_EQ(surface.PictureWidget(), nullptr);

  // Without line codes nothing waits: no window messages are processed at all.
  ASSERT_TRUE(surface.OpenDisplay(true, 32, 16, true, false, start, start));
  pump.calls = 0;
  EXPECT_TRUE(surface.CloseDisplay());
  EXPECT_EQ(pump.calls, 0);
}

TEST_F(BlitSurfaceTest, TheLineCodeStaysForOneSecondInRealTime) {
  BlitSurface::SetLineCodeDuration(1000ms);
  const PictureRef code = CreateLineCode(LineCode::EDInterlace);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(surface.OpenDisplay(true, 32, 16, true, true, code, code));
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(took, 1000ms);
  EXPECT_LT(took, 3000ms);
  BlitSurface::SetLineCodeDuration(20ms);  // for the end code at tear-down
}

TEST_F(BlitSurfaceTest, OpeningFailuresAreReportedAndGiveFalse) {
  EXPECT_FALSE(surface.OpenDisplay(true, 32, 16, true, true, nullptr, nullptr));
  EXPECT_FALSE(surface.OpenDisplay(false, 0, 16, true, false, nullptr, nullptr));
  const std::string routine = kBlitOpenFailed;
  EXPECT_EQ(sink.Texts(),
            (std::vector<std::string>{routine + "Object variable or With block variable not set",
                                      routine + "Invalid procedure call or argument"}));
  BlitSurface unopened;  // puts and closes on a surface that never opened do nothing
  EXPECT_TRUE(unopened.PutImage(*PatternPicture(8, 8), true, true));
  EXPECT_TRUE(unopened.CloseDisplay());
}

TEST(WindowImage, MatchesQtsOwnConversionOfTheFlippedPicture) {
  for (const int width : {1, 2, 37, 64}) {
    const PictureRef picture = PatternPicture(width, 5, width);
    QImage converted;
    ToWindowImage(picture->Grid(), converted);
    EXPECT_EQ(converted, QImage(picture->Bits(), width, 5, picture->BytesPerScanLine(),
                                QImage::Format_BGR888)
                             .mirrored(false, true)
                             .convertToFormat(QImage::Format_RGB32))
        << width;
  }
}

// A surface that only counts how often it was closed.
class RecordingSurface : public DisplaySurface {
 public:
  bool OpenDisplay(bool, int32_t, int32_t, bool, bool, const PictureRef&, const PictureRef&) override {
    return true;
  }
  bool PutImage(const Picture&, bool, bool) override { return true; }
  void ResizeSurface(int32_t, int32_t) override {}
  bool CloseDisplay() override { return ++closes > 0; }
  int closes = 0;
};

class CallbackTest : public BlitSurfaceTest {
 protected:
  // Sends a click (button 4, shift 2), a key (112, shift 5) and a focus loss with the given codes;
  // returns what happened: closes, stop flag and the slide-show calls, as "0 stop m4,2 k112,5".
  std::string SendAll(int16_t click, int16_t lost, int16_t key) {
    SetDisplayCallbacks(click, lost, key, [this] { stopped = true; });
    recorder.closes = 0;
    stopped = false;
    calls.clear();
    OnClick(recorder, 4, 2);
    OnKey(recorder, 112, 5);
    OnLost(recorder);
    return std::to_string(recorder.closes) + (stopped ? " stop" : "") + calls;
  }
  RecordingSurface recorder;
  bool stopped = false;
};

TEST_F(CallbackTest, EachEventPerformsTheActionOfItsOwnCode) {
  RecordSlideShow();
  // Codes (click, focus loss, key) 1 close, 2 stop (the playback session's), 3 the slide show.
  for (const auto& [click, lost, key, result] :
       {std::tuple{0, 0, 0, "0"}, {1, 0, 0, "1"}, {1, 1, 1, "3"}, {0, 2, 0, "0 stop"}, {2, 0, 2, "0 stop"}}) {
    EXPECT_EQ(SendAll(int16_t(click), int16_t(lost), int16_t(key)), result) << click << lost << key;
  }
  stopped = false;
  OnLost(recorder);  // focus loss alone does nothing there
  EXPECT_FALSE(stopped);
  EXPECT_EQ(SendAll(3, 0, 3), "0 m4,2 k112,5");
  EXPECT_TRUE(sink.messages.empty());
  SetSlideShowHandlers({});  // no slide-show window: code 3 does nothing
  EXPECT_EQ(SendAll(3, 0, 3), "0");

  EXPECT_EQ(SendAll(4, 3, -1), "0");  // codes outside the table; focus loss has no code 3
  const std::string invalid = ". Invalid method.";
  EXPECT_EQ(sink.Texts(),
            (std::vector<std::string>{"An error has occurred in Callback:OnClick" + invalid,
                                      "An error has occurred in Callback:OnKey" + invalid,
                                      "An error has occurred in Callback:OnLost" + invalid}));
}

}  // namespace
}  // namespace qv::test
