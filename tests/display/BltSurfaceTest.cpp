#include <QApplication>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <chrono>

#include "DisplayTestSupport.h"
#include "display/WindowImage.h"
#include "display/frmBltSurface.h"

namespace qv {
namespace {

using test::Bgr;
using test::MakePicture;
using test::PictureOf;
using test::SamePicture;
using namespace std::chrono_literals;

constexpr Bgr kBlack{0, 0, 0};
constexpr Bgr kRed{0, 0, 255};
constexpr Bgr kGreen{0, 255, 0};
constexpr Bgr kYellow{0, 255, 255};

// A line-code picture: one colour a row, listed from the top.
DibRef LineCode(int32_t width, const std::vector<Bgr>& rows) {
  return MakePicture(width, static_cast<int32_t>(rows.size()),
                     [&rows](int, int y) { return rows[static_cast<size_t>(y)]; });
}
const std::vector<Bgr> kInterlaceRows = {kRed,    kRed,    kGreen,  kGreen, kYellow,
                                         kYellow, kYellow, kYellow, kRed,   kRed};
const std::vector<Bgr> kOffRows = {kRed,    kRed,    kGreen,  kGreen, kYellow,
                                   kYellow, kYellow, kYellow, kBlack, kBlack};

// A picture of the canvas's w x h area whose rows from the top are `rows`, black below.
DibRef Lines(int32_t width, int32_t height, const std::vector<Bgr>& rows) {
  return MakePicture(width, height, [&rows](int, int y) {
    return y < static_cast<int>(rows.size()) ? rows[static_cast<size_t>(y)] : kBlack;
  });
}

class BltSurfaceTest : public test::DisplayFixture {
 protected:
  void SetUp() override {
    DisplayFixture::SetUp();
    frmBltSurface::SetLineCodeDuration(20ms);
  }
  void TearDown() override {
    surface.CloseDisplay();
    frmBltSurface::SetLineCodeDuration(1000ms);
    DisplayFixture::TearDown();
  }
  bool Open(bool fullscreen, int32_t w, int32_t h, bool permanent = true) {
    return surface.OpenDisplay(fullscreen, w, h, permanent, false, nullptr, nullptr);
  }
  // What the canvas shows now, painted afresh.
  DibRef Shown() { return PictureOf(surface.Canvas()->grab().toImage()); }

  frmBltSurface surface;
};

TEST_F(BltSurfaceTest, WindowedCentresTheWindowOnTheScreenWithRoomBelowThePicture) {
  ASSERT_TRUE(Open(false, 640, 480));
  EXPECT_EQ(surface.Layout(), (BltLayout{192, 144, 640, 530, 0, 0, 640, 480}));
  const QWidget* window = surface.Canvas()->window();
  EXPECT_EQ(window, surface.Canvas());  // no target: a window of its own
  EXPECT_EQ(window->pos(), QPoint(192, 144));
  EXPECT_EQ(window->size(), QSize(640, 530));
  EXPECT_FALSE(window->windowFlags().testFlag(Qt::FramelessWindowHint));

  // Halves round to even; a frame larger than the screen starts at its edge.
  surface.ResizeSurface(641, 481);
  EXPECT_EQ(surface.Layout(), (BltLayout{192, 144, 641, 531, 0, 0, 641, 481}));
  surface.ResizeSurface(1100, 900);
  EXPECT_EQ(surface.Layout(), (BltLayout{0, 0, 1100, 950, 0, 0, 1100, 900}));
  EXPECT_EQ(window->pos(), QPoint(0, 0));
}

TEST_F(BltSurfaceTest, FullScreenLetterboxesThePictureOnAnEvenRow) {
  ASSERT_TRUE(Open(true, 720, 576));
  EXPECT_EQ(surface.Layout(), (BltLayout{0, 0, 1024, 768, 32, 0, 960, 768}));
  const QWidget* window = surface.Canvas();
  EXPECT_TRUE(window->isWindow());
  EXPECT_TRUE(window->windowFlags().testFlag(Qt::FramelessWindowHint));
  EXPECT_EQ(window->geometry(), QRect(0, 0, 1024, 768));

  surface.ResizeSurface(1280, 480);
  EXPECT_EQ(surface.Layout(), (BltLayout{0, 0, 1024, 768, 0, 192, 1024, 384}));

  UseScreen(1024, 770);  // the letterbox would start on row 193
  surface.ResizeSurface(1280, 480);
  EXPECT_EQ(surface.Layout(), (BltLayout{0, 0, 1024, 770, 0, 192, 1024, 384}));

  UseScreen(800, 800);  // offset 100.5 rounds to 100; the height 599 becomes 598
  surface.ResizeSurface(641, 480);
  EXPECT_EQ(surface.Layout(), (BltLayout{0, 0, 800, 800, 0, 100, 800, 598}));

  UseScreen(1280, 1024);  // the target narrower than the picture: fitted by width
  surface.ResizeSurface(640, 480);
  EXPECT_EQ(surface.Layout(), (BltLayout{0, 0, 1280, 1024, 0, 32, 1280, 960}));
  UseScreen(1280, 720);  // wider: fitted by height
  surface.ResizeSurface(640, 480);
  EXPECT_EQ(surface.Layout(), (BltLayout{0, 0, 1280, 720, 160, 0, 960, 720}));
}

TEST_F(BltSurfaceTest, WindowedIntoATargetMovesItsWindowAndCoversTheTarget) {
  QWidget mainWindow;
  auto* area = new QWidget(&mainWindow);
  area->setGeometry(0, 20, 100, 100);
  surface.SetTarget(area);
  ASSERT_TRUE(Open(false, 320, 240));
  EXPECT_EQ(surface.Canvas()->parentWidget(), area);
  EXPECT_EQ(mainWindow.pos(), QPoint(352, 264));
  EXPECT_EQ(mainWindow.size(), QSize(320, 290));
  area->resize(320, 270);
  EXPECT_EQ(surface.Canvas()->geometry(), QRect(0, 0, 320, 270));

  surface.CloseDisplay();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_TRUE(area->children().isEmpty());  // the canvas is gone, the target stays
  surface.SetTarget(nullptr);
}

TEST_F(BltSurfaceTest, UnscaledPutsCopyThePictureIntoThePictureRectangle) {
  ASSERT_TRUE(Open(false, 64, 48));
  const DibRef frame = test::PatternPicture(64, 48);
  EXPECT_TRUE(surface.PutImage(*frame, false, false));
  const DibRef expected = MakePicture(64, 98, [&](int x, int y) {
    return y < 48 ? test::PixelAt(*frame, x, y) : kBlack;
  });
  EXPECT_TRUE(SamePicture(*Shown(), *expected));

  // Full screen: the picture's top-left part at the letterbox corner, nothing scaled.
  UseScreen(200, 100);
  ASSERT_TRUE(Open(true, 64, 48));  // letterboxed to 132 x 100 at x 34
  const DibRef big = test::PatternPicture(150, 110, 9);
  surface.PutImage(*big, false, true);
  const DibRef expectedFull = MakePicture(200, 100, [&](int x, int y) {
    return x >= 34 && x < 34 + 132 ? test::PixelAt(*big, x - 34, y) : kBlack;
  });
  EXPECT_TRUE(SamePicture(*Shown(), *expectedFull));
}

TEST_F(BltSurfaceTest, ResizedPutsRepeatPixelsOnlyWhenEnlargingQuickly) {
  UseScreen(128, 96);
  ASSERT_TRUE(Open(true, 64, 48));
  const DibRef frame = test::PatternPicture(64, 48, 3);
  surface.PutImage(*frame, true, true);
  const DibRef doubled =
      MakePicture(128, 96, [&](int x, int y) { return test::PixelAt(*frame, x / 2, y / 2); });
  EXPECT_TRUE(SamePicture(*Shown(), *doubled));

  // Not quick: smoothed, so a black/white edge gets grey in between.
  const DibRef edge =
      MakePicture(64, 48, [](int x, int) { return x < 32 ? kBlack : Bgr{255, 255, 255}; });
  surface.PutImage(*edge, true, false);
  const DibRef smooth = Shown();
  const Bgr mid = test::PixelAt(*smooth, 63, 40);
  EXPECT_GT(mid.g, 20);
  EXPECT_LT(mid.g, 235);
  EXPECT_EQ(test::PixelAt(*smooth, 10, 40), kBlack);
  EXPECT_EQ(test::PixelAt(*smooth, 120, 40), (Bgr{255, 255, 255}));

  // Shrinking is smoothed even when quick: a fine checkerboard averages to grey.
  const DibRef checker = MakePicture(256, 192, [](int x, int y) {
    return (x + y) % 2 ? Bgr{255, 255, 255} : kBlack;
  });
  surface.PutImage(*checker, true, true);
  const DibRef grey = Shown();
  for (const auto& [x, y] : {std::pair{5, 5}, std::pair{64, 48}, std::pair{127, 95}}) {
    const Bgr p = test::PixelAt(*grey, x, y);
    EXPECT_NEAR(p.g, 128, 2) << x << "," << y;
  }
}

TEST_F(BltSurfaceTest, OnlyAPermanentSurfaceShowsTheLastFrameAgainWhenRepainted) {
  const DibRef frame = test::SolidPicture(32, 16, kGreen);
  ASSERT_TRUE(Open(false, 32, 16, true));
  surface.PutImage(*frame, false, false);
  EXPECT_EQ(test::PixelAt(*Shown(), 5, 5), kGreen);

  ASSERT_TRUE(Open(false, 32, 16, false));
  surface.PutImage(*frame, false, false);
  EXPECT_EQ(test::PixelAt(*Shown(), 5, 5), kBlack);
}

TEST_F(BltSurfaceTest, ClicksKeysAndFocusLossReachTheCallbacks) {
  std::vector<std::pair<int16_t, int16_t>> mouse, keys;
  SetSlideShowHandlers({[&](int16_t b, int16_t s) { mouse.push_back({b, s}); },
                        [&](int16_t k, int16_t s) { keys.push_back({k, s}); }});
  SetDisplayCallbacks(3, 2, 3);
  ASSERT_TRUE(Open(true, 64, 48));
  QWidget* canvas = surface.Canvas();
  QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(10, 10));
  QTest::mouseClick(canvas, Qt::RightButton, Qt::ShiftModifier | Qt::ControlModifier);
  QTest::mouseClick(canvas, Qt::MiddleButton, Qt::AltModifier);
  QTest::keyClick(canvas, Qt::Key_Escape);
  QTest::keyClick(canvas, Qt::Key_A, Qt::ShiftModifier);
  QTest::keyClick(canvas, Qt::Key_5, Qt::KeypadModifier);
  QTest::keyClick(canvas, Qt::Key_F12);
  QTest::keyClick(canvas, Qt::Key_Tab);
  QTest::keyClick(canvas, Qt::Key_Colon, Qt::ShiftModifier);
  using P = std::pair<int16_t, int16_t>;
  EXPECT_EQ(mouse, (std::vector<P>{{1, 0}, {2, 3}, {4, 4}}));
  // A key pressed with Shift held comes after the Shift key's own press (16).
  EXPECT_EQ(keys, (std::vector<P>{
                      {27, 0}, {16, 1}, {65, 1}, {101, 0}, {123, 0}, {9, 0}, {16, 1}, {186, 1}}));

  EXPECT_FALSE(gSession.StopRequested);
  ASSERT_TRUE(QTest::qWaitForWindowActive(canvas));
  canvas->setFocus();
  canvas->clearFocus();
  EXPECT_TRUE(gSession.StopRequested);

  // Code 1 closes the surface from inside its own click handler.
  SetDisplayCallbacks(1, 0, 0);
  QTest::mouseClick(canvas, Qt::LeftButton);
  EXPECT_FALSE(surface.IsOpen());
  EXPECT_EQ(surface.Canvas(), nullptr);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

TEST_F(BltSurfaceTest, LineCodesAreShownAcrossTheScreenWhileOpeningAndClosing) {
  UseScreen(64, 32);
  const DibRef start = LineCode(9, kInterlaceRows);
  const DibRef end = LineCode(10, kOffRows);
  DibRef duringOpen, duringClose;
  QTimer::singleShot(0, [&] { duringOpen = Shown(); });
  ASSERT_TRUE(surface.OpenDisplay(true, 32, 16, true, true, start, end));
  ASSERT_TRUE(duringOpen);
  EXPECT_TRUE(SamePicture(*duringOpen, *Lines(64, 32, kInterlaceRows)));
  EXPECT_TRUE(SamePicture(*Shown(), *Lines(64, 32, {})));  // cleared afterwards
  EXPECT_GT(pump.calls, 0);

  // The end code is drawn over the last frame, which shows below it.
  surface.PutImage(*test::SolidPicture(32, 16, kGreen), true, false);
  end->ClearUp();  // the surface kept a copy of its own
  QTimer::singleShot(0, [&] { duringClose = Shown(); });
  EXPECT_TRUE(surface.CloseDisplay());
  ASSERT_TRUE(duringClose);
  EXPECT_TRUE(SamePicture(*duringClose, *MakePicture(64, 32, [](int, int y) {
    return y < 10 ? kOffRows[static_cast<size_t>(y)] : kGreen;
  })));
  EXPECT_EQ(surface.Canvas(), nullptr);

  // Without line codes nothing waits: no window messages are processed at all.
  ASSERT_TRUE(surface.OpenDisplay(true, 32, 16, true, false, start, start));
  pump.calls = 0;
  EXPECT_TRUE(surface.CloseDisplay());
  EXPECT_EQ(pump.calls, 0);
  EXPECT_TRUE(surface.CloseDisplay());  // closing a closed surface is harmless
}

TEST_F(BltSurfaceTest, TheLineCodeStaysForOneSecondInRealTime) {
  frmBltSurface::SetLineCodeDuration(1000ms);
  const DibRef code = LineCode(9, kInterlaceRows);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(surface.OpenDisplay(true, 32, 16, true, true, code, code));
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(took, 1000ms);
  EXPECT_LT(took, 3000ms);
  frmBltSurface::SetLineCodeDuration(20ms);  // for the end code at tear-down
}

TEST_F(BltSurfaceTest, OpeningFailuresAreReportedAndGiveFalse) {
  EXPECT_FALSE(surface.OpenDisplay(true, 32, 16, true, true, nullptr, nullptr));
  EXPECT_FALSE(surface.OpenDisplay(false, 0, 16, true, false, nullptr, nullptr));
  EXPECT_EQ(sink.Texts(),
            (std::vector<std::string>{
                "An error occurred in frmBltSurface::OpenDisplay. Object variable or With block "
                "variable not set",
                "An error occurred in frmBltSurface::OpenDisplay. Invalid procedure call or "
                "argument"}));
  // Putting on a surface that never opened shows nothing and goes on.
  frmBltSurface unopened;
  EXPECT_TRUE(unopened.PutImage(*test::PatternPicture(8, 8), true, true));
  EXPECT_TRUE(unopened.CloseDisplay());
}

TEST(WindowImage, MatchesQtsOwnConversionOfTheFlippedPicture) {
  for (const int width : {1, 2, 37, 64}) {
    const DibRef picture = test::PatternPicture(width, 5, width);
    QImage converted;
    ToWindowImage(picture->Grid(), converted);
    const QImage reference =
        QImage(picture->DIBSectionBitsPtr(), width, 5, picture->BytesPerScanLine(),
               QImage::Format_BGR888)
            .mirrored(false, true)
            .convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(converted, reference) << width;
  }
  QImage empty(4, 4, QImage::Format_RGB32);
  ToWindowImage(PixelGrid{}, empty);
  EXPECT_TRUE(empty.isNull());
}

}  // namespace
}  // namespace qv
