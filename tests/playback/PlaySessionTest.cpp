// Whole playback sessions over real clips, shown on a recording surface: which frames are put, in
// which order and of which content, when the display opens and closes, and how sessions end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "PlaybackTestSupport.h"
#include "base/DisplayConfig.h"
#include "image/BufferHelpers.h"
#include "image/FrameBuffers.h"
#include "base/HighResTimer.h"
#include "playback/DisplayEvents.h"
#include "playback/OutputDispatch.h"
#include "playback/PlaySession.h"
#include "playback/SoundTrack.h"
#include "playback/Surfaces.h"
#include "support/TestSupport.h"
#include "video/VideoReader.h"

namespace qv {
namespace {

using test::MakeClip;
using test::RecordingSurface;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

class Session : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    media_ = new test::TempDir();
    const std::string scene = "-f lavfi -i testsrc2=size=96x48:rate=25:duration=";
    // 12 frames of a side-by-side pair (two 48 x 48 views), lossless.
    MakeClip(scene + "0.48 -c:v ffv1 -pix_fmt bgr0", Clip("sbs.mkv"));
    MakeClip(scene +
                 "0.48 -f lavfi -i sine=sample_rate=48000:duration=0.48 -c:v ffv1 "
                 "-pix_fmt bgr0 -c:a flac",
             Clip("sbs-sound.mkv"));
    // An MP4 with its index in front, cut in half: it opens, and the later frames are missing.
    // 25 frames with a fifth of a second of sound.
    MakeClip(scene +
                 "1 -f lavfi -i sine=sample_rate=48000:duration=0.2 -c:v ffv1 -pix_fmt bgr0 "
                 "-c:a flac",
             Clip("short-sound.mkv"));
    MakeClip(scene + "2 -c:v libx264 -preset veryfast -pix_fmt yuv420p -movflags +faststart",
             Clip("whole.mp4"));
    std::filesystem::resize_file(Clip("whole.mp4"),
                                 std::filesystem::file_size(Clip("whole.mp4")) / 2);
  }
  static void TearDownTestSuite() { delete media_; }
  static std::string Clip(const std::string& name) { return media_->File(name); }

  void SetUp() override {
    gTiming.PerfFrequency = gTiming.PerfTimer.Frequency();
    gDisplay = DisplayConfig{};
    gDisplay.InterlaceViaOpenGL = true;
    gSession = SessionState{};
    for (SurfaceKind kind : {SurfaceKind::Blit, SurfaceKind::OpenGL, SurfaceKind::DirectX})
      SetDisplaySurface(kind, nullptr);
    SetDisplaySurface(SurfaceKind::Blit, &surface_);
  }
  void TearDown() override {
    for (SurfaceKind kind : {SurfaceKind::Blit, SurfaceKind::OpenGL, SurfaceKind::DirectX})
      SetDisplaySurface(kind, nullptr);
  }

  // Parallel input shown as a red/cyan anaglyph in a window, paced by nothing.
  static PlaybackRequest Request(const std::string& clip, int16_t method = 3) {
    PlaybackRequest request;
    request.FileName = request.AudioFile = Clip(clip);
    request.InputFormat = 5;
    request.OutputMethod = method;
    request.AudioSource = 0;
    request.AudioSync = 0;
    return request;
  }

  // What the session should have shown for each put: the frame fetched on its own and composed.
  static void ExpectComposedFrames(const RecordingSurface& surface, PlaybackRequest request) {
    ASSERT_TRUE(OpenVideo(request));
    for (const auto& put : surface.puts) {
      SCOPED_TRACE(put.frame);
      gFrames.SourceFrame = std::make_shared<Picture>();
      gFrames.SourceFrame->Create(gVideo.FrameFormat.biWidth, gVideo.FrameFormat.biHeight);
      ASSERT_TRUE(FetchFrame(put.frame, *gFrames.SourceFrame));
      if (CanPassThrough(request)) {
        EXPECT_TRUE(test::SamePicture(*put.picture, *gFrames.SourceFrame));
      } else {
        ASSERT_TRUE(DecodeFrame(request));
        ComposeFrame(request, true);
        EXPECT_TRUE(test::SamePicture(*put.picture, *gFrames.OutputFrame));
      }
    }
    CloseVideo();
  }

  static test::TempDir* media_;
  RecordingSurface surface_;
  test::RecordingSink messages_;
};
test::TempDir* Session::media_ = nullptr;

TEST_F(Session, PutsEveryFrameOfTheRangeComposedAsTheFormatAndMethodSay) {
  PlaybackRequest request = Request("sbs.mkv");
  PlaySession(request);
  EXPECT_THAT(surface_.Frames(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
  ASSERT_EQ(surface_.opens.size(), 1u);
  EXPECT_FALSE(surface_.opens[0].fullscreen);
  EXPECT_EQ(surface_.opens[0].width, 48);  // opened for the first composed frame
  EXPECT_EQ(surface_.opens[0].height, 48);
  EXPECT_TRUE(surface_.opens[0].modeFlag);
  EXPECT_FALSE(surface_.opens[0].useLineCode);
  EXPECT_EQ(surface_.events.front(), "open");
  EXPECT_EQ(surface_.events.back(), "close");
  EXPECT_TRUE(surface_.puts[0].resize);
  ExpectComposedFrames(surface_, request);
  EXPECT_EQ(gSession.CurrentFrame, 11);
  EXPECT_FALSE(gSession.DisplayPending);
  for (float seconds : gSession.StageTimes) EXPECT_GT(seconds, 0.0f);
  EXPECT_EQ(gVideo.FrameGetter, nullptr);
  EXPECT_FALSE(SessionRunning());
  EXPECT_TRUE(messages_.messages.empty());

  // From an offset; and from past the end, where nothing is shown but the surface is still closed.
  surface_ = RecordingSurface{};
  request = Request("sbs.mkv", 4);
  request.StartOffset = 9;
  PlaySession(request);
  EXPECT_THAT(surface_.Frames(), ElementsAre(9, 10, 11));
  ExpectComposedFrames(surface_, request);

  surface_ = RecordingSurface{};
  request.StartOffset = 12;
  PlaySession(request);
  EXPECT_THAT(surface_.events, ElementsAre("close"));
  EXPECT_EQ(gVideo.FrameGetter, nullptr);

  // Side-by-side frames pass straight to the stereo surface: no decode or encode stage runs.
  surface_ = RecordingSurface{};
  SetDisplaySurface(SurfaceKind::OpenGL, &surface_);
  request = Request("sbs.mkv", 8);
  gSession.StageTimes = {0.0f, 0.25f, 0.5f, 0.0f};
  PlaySession(request);
  EXPECT_EQ(surface_.puts.size(), 12u);
  EXPECT_EQ(surface_.opens[0].width, 96);
  EXPECT_TRUE(surface_.puts[0].resize);
  ExpectComposedFrames(surface_, request);  // the source frames themselves
  EXPECT_EQ(std::tuple(gSession.StageTimes[1], gSession.StageTimes[2]), std::tuple(0.25f, 0.5f));
}

TEST_F(Session, AClickOnTheDisplayOrARefusedPutEndsIt) {
  PlaybackRequest request = Request("sbs.mkv");
  surface_.onPut = [this](int count) {
    if (count == 3) OnClick(surface_, 1, 0);
    return true;
  };
  PlaySession(request);
  EXPECT_THAT(surface_.Frames(), ElementsAre(0, 1, 2));
  EXPECT_EQ(surface_.events.back(), "close");
  EXPECT_TRUE(gSession.StopRequested);

  surface_ = RecordingSurface{};
  surface_.onPut = [](int) { return false; };
  PlaySession(request);
  EXPECT_THAT(surface_.events, ElementsAre("open", "put 0", "close"));
}

TEST_F(Session, RepeatModePlaysTheRangeAgainUntilAStop) {
  PlaybackRequest request = Request("sbs.mkv");
  request.RepeatMode = 1;
  request.StartOffset = 8;
  surface_.onPut = [](int count) { return count < 7; };
  PlaySession(request);
  EXPECT_THAT(surface_.Frames(), ElementsAre(8, 9, 10, 11, 8, 9, 10));
  EXPECT_EQ(std::count(surface_.events.begin(), surface_.events.end(), "open"), 1);
}

class PacedSession : public Session {
 protected:
  test::SimulatedSound sound_;
  test::FakeClock& clock_ = sound_.clock;
  test::TestDevice& device_ = sound_.device;
  test::SimulatedTime time_{clock_, device_};
};

TEST_F(PacedSession, FramesAreSkippedWhenTheSoundRunsAhead) {
  PlaybackRequest request = Request("sbs-sound.mkv");
  request.AudioSource = 3;
  request.AudioSync = 1;
  // Every frame takes three frame periods to show.
  surface_.onPut = [&](int) {
    clock_.now += 0.12;
    device_.Take(48000 * 12 / 100, clock_.now + test::SimulatedTime::kLatency);
    return true;
  };
  PlaySession(request);
  // Each put and its round of message processing let 0.13 s pass: the loop goes on from the
  // frame the sound has reached, about three frames further; the last frame is shown as well.
  EXPECT_THAT(surface_.Frames(), ElementsAre(0, 4, 7, 10, 11));
  EXPECT_TRUE(messages_.messages.empty());
}

TEST_F(PacedSession, ASoundTrackShorterThanTheVideoStillShowsEveryFrame) {
  PlaybackRequest request = Request("short-sound.mkv");
  request.AudioSource = 3;
  request.AudioSync = 1;
  PlaySession(request);
  std::vector<int32_t> all(25);
  std::iota(all.begin(), all.end(), 0);
  EXPECT_THAT(surface_.Frames(), ElementsAreArray(all));
  EXPECT_LT(time_.rounds, 200);  // about four rounds of 10 ms a frame, no wait for the stall
}

TEST_F(Session, WhatCannotBePlayedIsReportedAndTheSessionCloses) {
  PlaybackRequest request = Request("sbs.mkv", 0);
  PlaySession(request);
  EXPECT_THAT(messages_.Texts(), ElementsAre("Invalid output format.0", "Invalid output format.0",
                                             "Invalid output format.0", "Invalid output format.0"));
  EXPECT_TRUE(surface_.events.empty());

  const auto playOnce = [&](PlaybackRequest r) {
    messages_.messages.clear();
    surface_ = RecordingSurface{};
    PlaySession(r);
    EXPECT_EQ(gVideo.FrameGetter, nullptr);
    EXPECT_FALSE(SessionRunning());
  };

  request = Request("sbs.mkv");
  request.InputFormat = 9;
  playOnce(request);
  EXPECT_THAT(messages_.Texts(), ElementsAre("Invalid input video format. 9"));
  EXPECT_THAT(surface_.events, ElementsAre("close"));

  request.InputFormat = 4;
  request.RepeatMode = 1;
  playOnce(request);
  EXPECT_THAT(messages_.Texts(), ElementsAre(kConversionUnavailable));

  request = Request("sbs.mkv", 8);  // no OpenGL surface in this program
  playOnce(request);
  EXPECT_THAT(
      messages_.Texts(),
      ElementsAre("The OpenGL stereo display is not available in this version of Quorvex."));
  EXPECT_TRUE(surface_.events.empty());

  request = Request("whole.mp4");
  playOnce(request);
  EXPECT_THAT(messages_.Texts(), ::testing::Contains(HasSubstr("could not be decoded")));
  EXPECT_THAT(surface_.puts.size(), ::testing::AllOf(::testing::Gt(0u), ::testing::Lt(50u)));
  EXPECT_EQ(surface_.events.back(), "close");

  request = Request("missing.mkv");
  playOnce(request);
  EXPECT_FALSE(messages_.messages.empty());
  EXPECT_TRUE(surface_.events.empty());
}

TEST_F(Session, ASessionStartedInsideAnotherRunsOnceThatOneHasClosed) {
  PlaybackRequest outer = Request("sbs.mkv");
  PlaybackRequest inner = Request("sbs.mkv");
  inner.StartOffset = 10;
  bool runningAfterInner = false;
  surface_.onPut = [&](int count) {
    if (count == 2) {
      PlaySession(inner);
      runningAfterInner = SessionRunning();
    }
    return true;
  };
  PlaySession(outer);
  EXPECT_TRUE(runningAfterInner);
  EXPECT_THAT(surface_.events,
              ElementsAre("open", "put 0", "put 1", "close", "open", "put 10", "put 11", "close"));
  EXPECT_FALSE(SessionRunning());
}

TEST_F(Session, SyncDoubledDisplaysAskForHalfTheRefreshRateWithTheirLineCodes) {
  SetDisplaySurface(SurfaceKind::OpenGL, &surface_);
  PlaybackRequest request = Request("sbs.mkv", 7);
  request.StartOffset = 11;
  for (const auto& [configured, asked] : {std::pair{120, 60}, {170, 85}, {100, 60}, {-1, 60}}) {
    SCOPED_TRACE(configured);
    surface_ = RecordingSurface{};
    gDisplay.RefreshRate = configured;
    gDisplay.ScreenWidth = 96;
    gDisplay.ScreenHeight = 96;
    gDisplay.VertOffset = 20;
    PlaySession(request);
    ASSERT_EQ(surface_.opens.size(), 1u);
    EXPECT_EQ(surface_.opens[0].refreshRate, asked);
    EXPECT_EQ(gDisplay.RefreshRate, configured);  // the next play asks for the same
    EXPECT_TRUE(surface_.opens[0].fullscreen);
    EXPECT_TRUE(surface_.opens[0].useLineCode);
  }
  EXPECT_EQ(surface_.opens[0].lineCodeStart->Width(), 20);  // the eDimensional sync code
}

}  // namespace
}  // namespace qv
