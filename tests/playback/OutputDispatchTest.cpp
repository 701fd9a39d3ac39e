// The decode and compose dispatch of a session: which decoder and composer each number selects,
// and the messages for numbers outside the tables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "PlaybackTestSupport.h"
#include "base/DisplayConfig.h"
#include "image/BufferHelpers.h"
#include "image/FrameBuffers.h"
#include "playback/OutputDispatch.h"
#include "playback/Surfaces.h"
#include "stereo/Decoders.h"
#include "stereo/Composers.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::RecordingSink;
using ::testing::ElementsAre;

void UseFrame(int width, int height) {
  gFrames.SourceFrame = test::PatternPicture(width, height, 11);
  gFrames.StereoViews = {nullptr, nullptr};
  gFrames.OutputFrame = nullptr;
}

TEST(DecodeFrame, RunsTheDecoderOfTheInputFormat) {
  RecordingSink sink;
  PlaybackRequest request;
  UseFrame(40, 30);
  request.InputFormat = 5;  // side by side
  EXPECT_TRUE(DecodeFrame(request));
  EXPECT_EQ(gFrames.StereoViews[0]->Width(), 20);
  EXPECT_EQ(gFrames.StereoViews[1]->Height(), 30);
  request.InputFormat = 1;  // above/below
  EXPECT_TRUE(DecodeFrame(request));
  EXPECT_EQ(gFrames.StereoViews[0]->Width(), 40);
  EXPECT_EQ(gFrames.StereoViews[0]->Height(), 15);
  request.InputFormat = 4;  // 2D to be converted: the 2D split
  EXPECT_TRUE(DecodeFrame(request));
  EXPECT_TRUE(test::SamePicture(*gFrames.StereoViews[1], *gFrames.SourceFrame));
  EXPECT_TRUE(sink.messages.empty());

  for (int16_t format : {0, 8, 9}) {
    request.InputFormat = format;
    EXPECT_FALSE(DecodeFrame(request));
  }
  EXPECT_THAT(sink.Texts(),
              ElementsAre("Invalid input video format. 0", "Invalid input video format. 8",
                          "Invalid input video format. 9"));
}

TEST(ComposeFrame, RunsTheComposerOfTheOutputMethod) {
  RecordingSink sink;
  gDisplay.ScreenWidth = 320;
  gDisplay.ScreenHeight = 240;
  gDisplay.VertOffset = 10;
  gDisplay.InterlaceViaOpenGL = true;
  const std::function<void()> composers[] = {[] { SaveAboveBelow(true); },
                                             SaveAnaGray,
                                             SaveAnaColour,
                                             SaveAnaYellow,
                                             [] { SaveInterlace(true); },
                                             SaveSideBySide,
                                             [] { SaveAboveBelow(true); },
                                             SaveSideBySide};
  for (int16_t method = 1; method <= 8; ++method) {
    SCOPED_TRACE(method);
    UseFrame(64, 48);
    LoadJPS(0, false);
    PlaybackRequest request;
    request.OutputMethod = method;
    request.Fullscreen = true;
    composers[method - 1]();
    const PictureRef expected = gFrames.OutputFrame;
    gFrames.OutputFrame = nullptr;
    ComposeFrame(request, true);
    ASSERT_NE(gFrames.OutputFrame, nullptr);
    EXPECT_TRUE(test::SamePicture(*gFrames.OutputFrame, *expected));
  }
  EXPECT_TRUE(sink.messages.empty());

  PlaybackRequest request;
  request.OutputMethod = 0;
  gFrames.OutputFrame = nullptr;
  ComposeFrame(request, true);
  request.OutputMethod = 9;
  ComposeFrame(request, true);
  EXPECT_EQ(gFrames.OutputFrame, nullptr);
  EXPECT_THAT(sink.Texts(), ElementsAre("Invalid output format.0", "Invalid output format.9"));
}

TEST(DisplayDispatch, EachMethodOpensPutsOnAndClosesItsOwnSurface) {
  RecordingSink sink;
  test::RecordingSurface blit, openGL, directX;
  SetDisplaySurface(SurfaceKind::Blit, &blit);
  SetDisplaySurface(SurfaceKind::OpenGL, &openGL);
  SetDisplaySurface(SurfaceKind::DirectX, &directX);
  gDisplay.InterlaceViaOpenGL = true;
  gFrames.OutputFrame = test::PatternPicture(32, 16);
  constexpr int kFrame = -1;  // the output frame itself stands for both line-code pictures
  struct Case {
    int16_t method;
    bool fullscreen;
    test::RecordingSurface* surface;
    bool openFullscreen, modeFlag, lineCode;
    int lineCodeWidth;  // kFrame, 0 for an empty picture, or the start code's width
    bool resize;
  };
  const Case cases[] = {
      {1, false, &openGL, true, false, true, 9, false},  // the Eye3D sync code
      {2, false, &blit, false, true, false, kFrame, true},
      {3, true, &blit, true, true, false, 0, true},
      {4, false, &blit, false, true, false, kFrame, true},
      {5, false, &blit, false, true, false, kFrame, false},
      {5, true, &openGL, true, false, true, 9, false},  // the interlace code
      {6, false, &directX, true, true, false, kFrame, true},
      {7, true, &openGL, true, false, true, 20, false},  // the eDimensional sync code
      {8, false, &openGL, false, true, false, kFrame, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "method " << c.method << " full screen " << c.fullscreen);
    blit = openGL = directX = test::RecordingSurface{};
    PlaybackRequest request;
    request.OutputMethod = c.method;
    request.Fullscreen = c.fullscreen;
    OpenOutput(request);
    EXPECT_TRUE(PutFrame(request, true));
    CloseOutput(request);
    for (test::RecordingSurface* other : {&blit, &openGL, &directX}) {
      if (other != c.surface) {
        EXPECT_TRUE(other->events.empty());
      }
    }
    ASSERT_THAT(c.surface->events, ElementsAre("open", ::testing::StartsWith("put"), "close"));
    const auto& opened = c.surface->opens[0];
    EXPECT_EQ(opened.fullscreen, c.openFullscreen);
    EXPECT_EQ(opened.width, 32);
    EXPECT_EQ(opened.height, 16);
    EXPECT_EQ(opened.modeFlag, c.modeFlag);
    EXPECT_EQ(opened.useLineCode, c.lineCode);
    if (c.lineCodeWidth == kFrame) {
      EXPECT_EQ(opened.lineCodeStart, gFrames.OutputFrame);
    } else {
      EXPECT_EQ(opened.lineCodeStart->Width(), c.lineCodeWidth);
    }
    EXPECT_EQ(c.surface->puts[0].resize, c.resize);
  }
  EXPECT_TRUE(sink.messages.empty());
  for (SurfaceKind kind : {SurfaceKind::Blit, SurfaceKind::OpenGL, SurfaceKind::DirectX})
    SetDisplaySurface(kind, nullptr);
}

TEST(CanPassThrough, OnlySideBySideToSideBySideAndInterleavedToWindowedInterlace) {
  PlaybackRequest r;
  auto pass = [&](int16_t format, int16_t method, bool fullscreen) {
    r.InputFormat = format;
    r.OutputMethod = method;
    r.Fullscreen = fullscreen;
    return CanPassThrough(r);
  };
  EXPECT_TRUE(pass(5, 6, true));
  EXPECT_TRUE(pass(5, 8, false));
  EXPECT_TRUE(pass(2, 5, false));
  EXPECT_FALSE(pass(2, 5, true));
  EXPECT_FALSE(pass(5, 5, false));
  EXPECT_FALSE(pass(1, 8, false));
  r.OptionMode = 1;
  EXPECT_FALSE(pass(5, 8, false));
  r.OptionMode = 0;
  r.OptionFlagB = true;
  EXPECT_FALSE(pass(5, 8, false));
}

}  // namespace
}  // namespace qv
