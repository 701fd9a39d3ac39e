// Whole playback sessions over real clips, shown on a recording surface: which frames are put, in
// which order and of which content, when the display opens and closes, how the stage times are
// smoothed, and how sessions end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numeric>

#include "PlaybackTestSupport.h"
#include "base/DisplayConfig.h"
#include "base/HighResTimer.h"
#include "playback/DisplayEvents.h"
#include "playback/OutputDispatch.h"
#include "playback/PlaySession.h"
#include "playback/Surfaces.h"
#include "support/TestSupport.h"

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
    // 25 frames with a fifth of a second of sound.
    MakeClip(scene +
                 "1 -f lavfi -i sine=sample_rate=48000:duration=0.2 -c:v ffv1 -pix_fmt bgr0 "
                 "-c:a flac",
             Clip("short-sound.mkv"));
    // An MP4 with its index in front, cut in half: it opens, and the later frames are missing.
    MakeClip(scene + "2 -c:v libx264 -preset veryfast -pix_fmt yuv420p -movflags +faststart",
             Clip("whole.mp4"));
    std::filesystem::resize_file(Clip("whole.mp4"),
                                 std::filesystem::file_size(Clip("whole.mp4")) / 2);
  }
  static void TearDownTestSuite() { delete media_; }
  static std::string Clip(const std::string& name) { return media_->File(name); }

  void SetUp() override {
    saved_ = gDisplay;
    gDisplay = DisplayConfig{};
    gDisplay.InterlaceViaOpenGL = true;
    SetDisplaySurface(SurfaceKind::Blit, &surface_);
    Reset();
  }
  void TearDown() override {
    for (SurfaceKind kind : {SurfaceKind::Blit, SurfaceKind::OpenGL, SurfaceKind::DirectX})
      SetDisplaySurface(kind, nullptr);
    gDisplay = saved_;
  }
  void Reset() {
    surface_ = RecordingSurface{};
    surface_.session = &playback_->State();
  }

  // Parallel input shown as a red/cyan anaglyph in a window, paced by nothing.
  static PlaybackRequest Request(const std::string& clip,
                                 OutputMethod method = OutputMethod::AnaglyphRedGreen) {
    PlaybackRequest request;
    request.FileName = request.AudioFile = Clip(clip);
    request.InputFormat = InputFormat::Parallel;
    request.OutputMethod = method;
    request.AudioSource = 0;
    request.AudioSync = 0;
    return request;
  }

  // What the session should have shown for each put: the frame fetched on its own and composed.
  static void ExpectComposedFrames(const RecordingSurface& surface, PlaybackRequest request) {
    PlaybackContext context;
    context.Display = gDisplay;
    ASSERT_TRUE(OpenVideo(request.FileName, context.Video));
    FrameBuffers& frames = context.Frames;
    for (const auto& put : surface.puts) {
      SCOPED_TRACE(put.frame);
      frames.SourceFrame = std::make_shared<Picture>();
      frames.SourceFrame->Create(context.Video.FrameFormat.biWidth,
                                 context.Video.FrameFormat.biHeight);
      ASSERT_TRUE(FetchFrame(context.Video, put.frame, *frames.SourceFrame));
      if (CanPassThrough(request)) {
        EXPECT_TRUE(test::SamePicture(*put.picture, *frames.SourceFrame));
      } else {
        ASSERT_TRUE(DecodeFrame(context, request));
        ComposeFrame(context, request, true);
        EXPECT_TRUE(test::SamePicture(*put.picture, *frames.OutputFrame));
      }
    }
  }

  void Play(PlaybackRequest request) { playback_->PlaySession(request); }

  static test::TempDir* media_;
  DisplayConfig saved_;
  std::unique_ptr<PlaybackSession> playback_ = std::make_unique<PlaybackSession>();
  // The first session's state; a test that makes another session reads that one's own.
  const SessionState& state_ = playback_->State();
  RecordingSurface surface_;
  test::RecordingSink messages_;
};
test::TempDir* Session::media_ = nullptr;

TEST_F(Session, PutsEveryFrameOfTheRangeComposedAsTheFormatAndMethodSay) {
  PlaybackRequest request = Request("sbs.mkv");
  Play(request);
  EXPECT_THAT(surface_.Frames(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
  ASSERT_EQ(surface_.opens.size(), 1u);
  EXPECT_EQ(surface_.opens[0].width, 48);  // opened for the first composed frame
  EXPECT_EQ(surface_.events.front(), "open");
  EXPECT_EQ(surface_.events.back(), "close");
  ExpectComposedFrames(surface_, request);
  EXPECT_EQ(state_.CurrentFrame, 11);
  EXPECT_FALSE(state_.DisplayPending);
  for (float seconds : state_.StageTimes) EXPECT_GT(seconds, 0.0f);
  EXPECT_EQ(playback_->Context().Video.FrameGetter, nullptr);
  EXPECT_FALSE(playback_->Running());
  EXPECT_TRUE(messages_.messages.empty());

  // From an offset; and from past the end, where nothing is shown but the surface is still closed.
  Reset();
  request = Request("sbs.mkv", OutputMethod::AnaglyphBlueYellow);
  request.StartOffset = 9;
  Play(request);
  EXPECT_THAT(surface_.Frames(), ElementsAre(9, 10, 11));
  ExpectComposedFrames(surface_, request);

  Reset();
  request.StartOffset = 12;
  Play(request);
  EXPECT_THAT(surface_.events, ElementsAre("close"));
  EXPECT_EQ(playback_->Context().Video.FrameGetter, nullptr);

  // Side-by-side frames pass straight to the stereo surface: no decode or encode stage runs.
  Reset();
  SetDisplaySurface(SurfaceKind::OpenGL, &surface_);
  request = Request("sbs.mkv", OutputMethod::SideBySide);
  playback_->Context().Session.StageTimes = {0.0f, 0.25f, 0.5f, 0.0f};
  Play(request);
  EXPECT_EQ(surface_.puts.size(), 12u);
  EXPECT_EQ(surface_.opens[0].width, 96);
  ExpectComposedFrames(surface_, request);  // the source frames themselves
  EXPECT_EQ(std::tuple(state_.StageTimes[1], state_.StageTimes[2]), std::tuple(0.25f, 0.5f));
}

// A clock whose every reading is one millisecond after the previous one: each stage of the loop,
// timed from one reading to the next, takes exactly a millisecond.
int64_t gFakeNanoseconds = 0;
bool SteppingClock(int64_t& count) {
  count = gFakeNanoseconds += 1000000;
  return true;
}
bool Nanoseconds(int64_t& frequency) {
  frequency = 1000000000;
  return true;
}

TEST_F(Session, StageTimesAreSmoothedOverAboutThirtyFrames) {
  Timing timing{HighResTimer(SteppingClock, Nanoseconds), 1e9};
  playback_ = std::make_unique<PlaybackSession>(timing);
  Reset();
  playback_->Context().Session.StageTimes = {0.25f, 0.0f, 0.0f, 0.0f};
  Play(Request("sbs.mkv"));
  ASSERT_EQ(surface_.puts.size(), 12u);
  // Twelve times s = (29 s + 0.001) / 30: the start value fades by (29/30)^12.
  const double fade = std::pow(29.0 / 30.0, 12);
  EXPECT_NEAR(playback_->State().StageTimes[0], 0.25 * fade + 0.001 * (1 - fade), 1e-7);
  for (size_t stage = 1; stage < 4; ++stage) {
    EXPECT_NEAR(playback_->State().StageTimes[stage], 0.001 * (1 - fade), 1e-7);
  }
}

TEST_F(Session, AClickOnTheDisplayOrARefusedPutEndsIt) {
  PlaybackRequest request = Request("sbs.mkv");
  surface_.onPut = [this](int count) {
    if (count == 3) OnClick(surface_, 1, 0);
    return true;
  };
  Play(request);
  EXPECT_THAT(surface_.Frames(), ElementsAre(0, 1, 2));
  EXPECT_EQ(surface_.events.back(), "close");
  EXPECT_TRUE(state_.StopRequested);

  Reset();
  surface_.onPut = [](int) { return false; };
  Play(request);
  EXPECT_THAT(surface_.events, ElementsAre("open", "put 0", "close"));
}

TEST_F(Session, RepeatModePlaysTheRangeAgainUntilAStop) {
  PlaybackRequest request = Request("sbs.mkv");
  request.RepeatMode = 1;
  request.StartOffset = 8;
  surface_.onPut = [](int count) { return count < 7; };
  Play(request);
  EXPECT_THAT(surface_.Frames(), ElementsAre(8, 9, 10, 11, 8, 9, 10));
  EXPECT_EQ(std::count(surface_.events.begin(), surface_.events.end(), "open"), 1);
}

class PacedSession : public Session {
 protected:
  void SetUp() override {
    Session::SetUp();
    time_.stop = [this] { playback_->RequestStop(); };
  }
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
  Play(request);
  // Each put and its round of message processing let 0.13 s pass: the loop goes on from the
  // frame the sound has reached, about three frames further; the last frame is shown as well.
  EXPECT_THAT(surface_.Frames(), ElementsAre(0, 4, 7, 10, 11));
  EXPECT_TRUE(messages_.messages.empty());
}

TEST_F(PacedSession, ASoundTrackShorterThanTheVideoStillShowsEveryFrame) {
  PlaybackRequest request = Request("short-sound.mkv");
  request.AudioSource = 3;
  request.AudioSync = 1;
  Play(request);
  std::vector<int32_t> all(25);
  std::iota(all.begin(), all.end(), 0);
  EXPECT_THAT(surface_.Frames(), ElementsAreArray(all));
  EXPECT_LT(time_.rounds, 200);  // about four rounds of 10 ms a frame, no wait for the stall
}

TEST_F(Session, WhatCannotBePlayedIsReportedAndTheSessionCloses) {
  const auto playOnce = [&](PlaybackRequest r) {
    messages_.messages.clear();
    Reset();
    Play(r);
    EXPECT_EQ(playback_->Context().Video.FrameGetter, nullptr);
    EXPECT_FALSE(playback_->Running());
  };

  PlaybackRequest request = Request("sbs.mkv");
  request.InputFormat = InputFormat{9};
  playOnce(request);
  EXPECT_THAT(messages_.Texts(), ElementsAre("Invalid input video format. 9"));
  EXPECT_THAT(surface_.events, ElementsAre("close"));

  request.InputFormat = InputFormat::Converted2D;
  request.RepeatMode = 1;
  playOnce(request);
  EXPECT_THAT(messages_.Texts(), ElementsAre(kConversionUnavailable));

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
      Play(inner);
      runningAfterInner = playback_->Running();
    }
    return true;
  };
  Play(outer);
  EXPECT_TRUE(runningAfterInner);
  EXPECT_THAT(surface_.events,
              ElementsAre("open", "put 0", "put 1", "close", "open", "put 10", "put 11", "close"));
  EXPECT_FALSE(playback_->Running());
}

}  // namespace
}  // namespace qv
