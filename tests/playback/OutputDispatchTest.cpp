// The per-frame dispatch of a session through the mode tables: which views each input format
// makes, which surface each output method opens, puts on and closes, and what picture it shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "PlaybackTestSupport.h"
#include "playback/OutputDispatch.h"
#include "playback/Surfaces.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Bgr;
using test::RecordingSink;
using ::testing::ElementsAre;

constexpr Bgr kLeft{10, 20, 200};
constexpr Bgr kRight{100, 150, 50};
constexpr Bgr kBlack{0, 0, 0};

// An 8 x 4 left view in kLeft beside an 8 x 4 right view in kRight.
PictureRef SideBySideFrame() {
  return test::MakePicture(16, 4, [](int x, int) { return x < 8 ? kLeft : kRight; });
}

TEST(DecodeFrame, SplitsTheFrameAsItsFormatPacksTheViews) {
  RecordingSink sink;
  PlaybackContext context;
  PlaybackRequest request;
  const auto decode = [&](InputFormat format) {
    context.Frames.SourceFrame = SideBySideFrame();
    request.InputFormat = format;
    return DecodeFrame(context, request);
  };
  ASSERT_TRUE(decode(InputFormat::Parallel));
  EXPECT_TRUE(test::SamePicture(*context.Frames.StereoViews[0], *test::SolidPicture(8, 4, kLeft)));
  EXPECT_TRUE(test::SamePicture(*context.Frames.StereoViews[1], *test::SolidPicture(8, 4, kRight)));
  ASSERT_TRUE(decode(InputFormat::AboveBelow));
  EXPECT_EQ(context.Frames.StereoViews[1]->Width(), 16);
  EXPECT_EQ(context.Frames.StereoViews[1]->Height(), 2);
  for (InputFormat plain : {InputFormat::Plain2D, InputFormat::Converted2D}) {
    ASSERT_TRUE(decode(plain));
    EXPECT_TRUE(test::SamePicture(*context.Frames.StereoViews[1], *SideBySideFrame()));
  }
  EXPECT_TRUE(sink.messages.empty());

  for (int16_t number : {0, 8, 9}) EXPECT_FALSE(decode(InputFormat{number}));
  EXPECT_THAT(sink.Texts(),
              ElementsAre("Invalid input video format. 0", "Invalid input video format. 8",
                          "Invalid input video format. 9"));
}

class DisplayDispatch : public ::testing::Test {
 protected:
  void SetUp() override {
    SetDisplaySurface(SurfaceKind::Blit, &blit_);
    SetDisplaySurface(SurfaceKind::OpenGL, &openGL_);
    SetDisplaySurface(SurfaceKind::DirectX, &directX_);
    context_.Display.InterlaceViaOpenGL = true;
    context_.Display.ScreenWidth = 16;
    context_.Display.ScreenHeight = 10;
    context_.Display.VertOffset = 5;
    context_.Display.RefreshRate = 120;
  }
  void TearDown() override {
    for (SurfaceKind kind : {SurfaceKind::Blit, SurfaceKind::OpenGL, SurfaceKind::DirectX})
      SetDisplaySurface(kind, nullptr);
  }

  // One frame of a session: the Parallel frame decoded, composed, opened, put and closed.
  void PlayOneFrame(PlaybackRequest& request) {
    context_.Frames = FrameBuffers{};
    context_.Frames.SourceFrame = SideBySideFrame();
    request.InputFormat = InputFormat::Parallel;
    ASSERT_TRUE(DecodeFrame(context_, request));
    ComposeFrame(context_, request, true);
    OpenOutput(context_, request);
    put_ = PutFrame(context_, request, true);
    CloseOutput(context_, request);
  }

  RecordingSink sink_;
  test::RecordingSurface blit_, openGL_, directX_;
  PlaybackContext context_;
  bool put_ = false;
};

TEST_F(DisplayDispatch, EachMethodShowsItsPictureOnItsOwnSurface) {
  constexpr int kFrame = -1;  // the composed frame stands for both line-code pictures
  const auto rows = [](int y) { return y % 2 == 0 ? kLeft : kRight; };  // the top row is left
  struct Case {
    OutputMethod method;
    bool fullscreen;
    test::RecordingSurface* surface;
    bool openFullscreen, modeFlag, lineCode;
    int lineCodeWidth;  // kFrame, 0 for an empty picture, or the start code's width
    bool resize;
    int refreshRate;  // asked of the surface; the configured rate is 120
    int width, height;
    std::function<Bgr(int x, int y)> pixel;  // x from the left, y from the top
  };
  const auto aboveBelow = [](int, int y) { return y < 4 ? kLeft : y < 6 ? kBlack : kRight; };
  const auto sideBySide = [](int x, int) { return x < 8 ? kLeft : kRight; };
  const Case cases[] = {
      {OutputMethod::SyncDoubledEye3D, true, &openGL_, true, false, true, 9, false, 60, 16, 10,
       aboveBelow},
      {OutputMethod::AnaglyphGray, false, &blit_, false, true, false, kFrame, true, 120, 8, 4,
       [](int, int) { return Bgr{100, 100, 77}; }},
      {OutputMethod::AnaglyphRedGreen, true, &blit_, true, true, false, 0, true, 120, 8, 4,
       [](int, int) { return Bgr{100, 150, 59}; }},
      {OutputMethod::AnaglyphBlueYellow, false, &blit_, false, true, false, kFrame, true, 120, 8,
       4, [](int, int) { return Bgr{124, 20, 200}; }},
      {OutputMethod::Interlaced, false, &blit_, false, true, false, kFrame, false, 120, 8, 4,
       [&](int, int y) { return rows(y); }},
      {OutputMethod::Interlaced, true, &openGL_, true, false, true, 9, false, 120, 16, 8,
       [&](int, int y) { return rows(y); }},
      {OutputMethod::NvidiaStereo, true, &directX_, true, true, false, kFrame, true, 120, 16, 4,
       sideBySide},
      {OutputMethod::SyncDoubled, true, &openGL_, true, false, true, 20, false, 60, 16, 10,
       aboveBelow},
      {OutputMethod::SideBySide, false, &openGL_, false, true, false, kFrame, true, 120, 16, 4,
       sideBySide},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "method " << NumberOf(c.method) << " full screen "
                                      << c.fullscreen);
    blit_ = openGL_ = directX_ = test::RecordingSurface{};
    PlaybackRequest request;
    request.OutputMethod = c.method;
    request.Fullscreen = c.fullscreen;
    context_.Display.RefreshRate = 120;
    PlayOneFrame(request);
    EXPECT_TRUE(put_);
    for (test::RecordingSurface* other : {&blit_, &openGL_, &directX_}) {
      if (other != c.surface) EXPECT_TRUE(other->events.empty());
    }
    ASSERT_THAT(c.surface->events, ElementsAre("open", ::testing::StartsWith("put"), "close"));
    const auto& opened = c.surface->opens[0];
    EXPECT_EQ(std::tuple(opened.fullscreen, opened.modeFlag, opened.useLineCode, opened.refreshRate),
              std::tuple(c.openFullscreen, c.modeFlag, c.lineCode, c.refreshRate));
    EXPECT_EQ(std::tuple(opened.width, opened.height), std::tuple(c.width, c.height));
    if (c.lineCodeWidth == kFrame) {
      EXPECT_EQ(opened.lineCodeStart, context_.Frames.OutputFrame);
    } else {
      EXPECT_EQ(opened.lineCodeStart->Width(), c.lineCodeWidth);
    }
    EXPECT_EQ(c.surface->puts[0].resize, c.resize);
    EXPECT_TRUE(test::SamePicture(*c.surface->puts[0].picture,
                                  *test::MakePicture(c.width, c.height, c.pixel)));
  }
  EXPECT_TRUE(sink_.messages.empty());
  EXPECT_EQ(gDisplay.RefreshRate, DisplayConfig{}.RefreshRate);  // the dialog's settings stay
}

TEST_F(DisplayDispatch, FullScreenInterlacingWithoutOpenGLUsesTheWindowSurface) {
  context_.Display.InterlaceViaOpenGL = false;
  PlaybackRequest request;
  request.OutputMethod = OutputMethod::Interlaced;
  request.Fullscreen = true;
  PlayOneFrame(request);
  ASSERT_THAT(blit_.events, ElementsAre("open", "put -1", "close"));
  EXPECT_TRUE(blit_.opens[0].useLineCode);
  EXPECT_EQ(blit_.opens[0].lineCodeStart->Width(), 9);
  EXPECT_TRUE(openGL_.events.empty());
}

TEST_F(DisplayDispatch, AMethodOutsideTheTableIsReportedByEveryDispatcher) {
  for (int16_t number : {0, 9}) {
    PlaybackRequest request;
    request.OutputMethod = OutputMethod{number};
    PlayOneFrame(request);
    EXPECT_FALSE(put_);
  }
  EXPECT_THAT(sink_.Texts(), ElementsAre("Invalid output format.0", "Invalid output format.0",
                                         "Invalid output format.0", "Invalid output format.0",
                                         "Invalid output format.9", "Invalid output format.9",
                                         "Invalid output format.9", "Invalid output format.9"));
  EXPECT_TRUE(blit_.events.empty() && openGL_.events.empty() && directX_.events.empty());
}

TEST_F(DisplayDispatch, ASurfaceMissingFromTheProgramIsReportedOnceAndStopsThePlay) {
  SetDisplaySurface(SurfaceKind::DirectX, nullptr);
  PlaybackRequest request;
  request.OutputMethod = OutputMethod::NvidiaStereo;
  PlayOneFrame(request);
  EXPECT_FALSE(put_);
  EXPECT_THAT(sink_.Texts(),
              ElementsAre("The NVidia stereo display is not available in this version of Quorvex."));
}

}  // namespace
}  // namespace qv
