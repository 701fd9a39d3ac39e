// The sound track: exact start positions, the heard position behind the device's latency, the
// waits of the frame loop (ending on stop, at the end of the sound and on a sound that stands
// still; skipping ahead is checked with whole sessions), the clock of silent sessions, the
// messages, and one run through SDL.
//
// Most tests drive a simulated device on a clock of their own: every round of message processing
// lets 10 ms pass, and the device takes the samples of those 10 ms, to be heard 12.5 ms later (a
// latency that keeps the positions off the frames' rounding boundaries).

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <map>
#include <thread>
#include <tuple>

#include "PlaybackTestSupport.h"
#include "base/HighResTimer.h"
#include "playback/SessionState.h"
#include "playback/SoundTrack.h"
#include "support/TestSupport.h"

// Under the leak checker: libdbus keeps the read buffer of the session-bus connection that SDL
// opens when it starts until the process ends.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libdbus-1.so\n";
}

namespace qv {
namespace {

using test::FakeClock;
using test::MakeClip;
using test::SimulatedTime;

FakeClock* gPerfClock = nullptr;
bool ReadFakeNanoseconds(int64_t& count) {
  count = std::llround(gPerfClock->now * 1e9);
  return true;
}

PlaybackRequest Request(int16_t source, const std::string& file, double frameRate,
                        int32_t startOffset) {
  PlaybackRequest request;
  request.AudioSource = source;
  request.AudioFile = file;
  request.FrameRate = frameRate;
  request.StartOffset = startOffset;
  return request;
}

class Sound : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { media_ = new test::TempDir(); }
  static void TearDownTestSuite() { delete media_; }

  // The test files, each made when first asked for.
  static std::string File(const std::string& name) {
    const std::string path = media_->File(name);
    if (std::filesystem::exists(path) || name.starts_with("missing")) return path;
    // 8000 Hz mono whose sample n is n / 32768 (modulo 1): every sample tells where it is.
    const std::string ramp = "-f lavfi -i \"aevalsrc='mod(n,32768)/32768':s=8000:d=5\" ";
    const std::string picture = "-f lavfi -i testsrc=size=64x48:rate=25:duration=1 ";
    const std::map<std::string, std::string> clips = {
        {"ramp.wav", ramp + "-c:a pcm_s16le"},
        {"ramp.mkv", ramp + "-c:a flac"},
        {"short-sound.mkv", picture + "-f lavfi -i sine=r=48000:d=0.5 -c:v mpeg4 -c:a flac"},
        {"silent.mkv", picture + "-c:v mpeg4"},
        // Sound from 0.2 s before the first picture, a 1 kHz burst 0.4 s into it.
        {"early-sound.mpg",
         "-itsoffset 0.2 " + picture +
             "-f lavfi -i \"aevalsrc=0.9*sin(2*PI*1000*t)*between(t\\,0.4\\,0.44):s=48000:d=1.2\" "
             "-fps_mode:v passthrough -c:v mpeg2video -c:a pcm_s16be -f vob"},
        {"sine.wav", "-f lavfi -i sine=sample_rate=44100:duration=2 -ac 2 -c:a pcm_s16le"}};
    if (name != "junk.mkv") {
      MakeClip(clips.at(name), path);
    } else {
      std::string junk(4096, '\0');
      for (size_t i = 0; i < junk.size(); ++i) junk[i] = static_cast<char>(i * 7919);
      test::WriteFile(path, junk);
    }
    return path;
  }

  PlaybackContext context_;
  void TearDown() override { ReleaseSound(); }

  static test::TempDir* media_;
  test::SimulatedSound sound_;
  FakeClock& clock_ = sound_.clock;
  test::TestDevice& device_ = sound_.device;
  test::RecordingSink messages_;
};
test::TempDir* Sound::media_ = nullptr;

TEST_F(Sound, StartsExactlyAtTheRequestedSample) {
  for (const char* name : {"ramp.wav", "ramp.mkv"}) {
    SCOPED_TRACE(name);
    // Frame 7 at 3 frames per second: 2.3333 s, sample 18667 of 8000 per second.
    PlaybackRequest request = Request(3, File(name), 3.0, 7);
    ASSERT_TRUE(StartAudio(request));
    EXPECT_EQ(device_.wanted.rate, 8000);
    EXPECT_EQ(device_.wanted.channels, 1);
    EXPECT_DOUBLE_EQ(GraphPosition(), 18667 / 8000.0);  // nothing heard yet
    const std::vector<float> samples = device_.Take(400, clock_.now);
    for (int i = 0; i < 400; ++i) ASSERT_EQ(samples[i], (18667 + i) / 32768.0f) << "sample " << i;
    StopAudio(request);

    // Through the simple-device interface: frame 100 at 25 frames per second is 4000 ms.
    request = Request(1, File(name), 25.0, 100);
    ASSERT_TRUE(StartAudio(request));
    EXPECT_EQ(PositionMs(), 4000);
    EXPECT_EQ(device_.Take(1, clock_.now)[0], 32000 / 32768.0f);
    StopAudio(request);
  }
  EXPECT_TRUE(messages_.Texts().empty());
}

TEST_F(Sound, ResamplesToTheDeviceFormat) {
  device_.offer = DeviceFormat{48000, 2, 480};
  PlaybackRequest request = Request(3, File("ramp.wav"), 1.0, 1);  // from 1 s: sample 8000
  ASSERT_TRUE(StartAudio(request));
  const std::vector<float> samples = device_.Take(4800, clock_.now);
  double largest = 0.0;
  for (int i = 100; i < 4800; ++i) {  // past the resampler's first filter length
    ASSERT_EQ(samples[2 * i], samples[2 * i + 1]);
    // A mono sound reaches each of two channels 3 dB down, as FFmpeg mixes a centre channel.
    const double expected = (8000 + i / 6.0) / 32768.0 * std::sqrt(0.5);
    largest = std::max(largest, std::abs(samples[2 * i] - expected));
  }
  EXPECT_LT(largest, 2e-4);  // under seven ramp steps
  clock_.now += 0.05;
  EXPECT_NEAR(GraphPosition(), 1.05, 1e-9);
}

TEST_F(Sound, HeardPositionTrailsTheDeviceByItsLatency) {
  PlaybackRequest request = Request(1, File("ramp.wav"), 25.0, 25);  // from 1 s
  ASSERT_TRUE(StartAudio(request));
  const double t0 = clock_.now;
  device_.Take(800, t0 + 0.1);  // 0.1 s of sound, heard from 0.1 s on
  clock_.now = t0 + 0.05;
  EXPECT_EQ(PositionMs(), 1000);  // still the buffer ahead of it
  clock_.now = t0 + 0.15;
  EXPECT_NEAR(PositionMs(), 1050, 1);
  clock_.now = t0 + 0.5;
  EXPECT_EQ(PositionMs(), 1100);  // the device ran dry: no further than the samples it was given
  device_.Take(800, t0 + 0.6);
  clock_.now = t0 + 0.55;
  EXPECT_EQ(PositionMs(), 1100);  // never back
  clock_.now = t0 + 0.65;
  EXPECT_NEAR(PositionMs(), 1150, 1);
}

TEST_F(Sound, WaitEndsWhenTheFrameIsHeardOrAStopIsAsked) {
  SimulatedTime time(clock_, device_);
  PlaybackRequest request = Request(3, File("ramp.wav"), 25.0, 0);
  ASSERT_TRUE(StartAudio(request));
  const double t0 = clock_.now;
  int32_t frame = 5;
  WaitForAudio(context_, request, frame);
  EXPECT_EQ(frame, 5);
  // Frame 5 is due once more than 0.18 s (4.5 frames) is heard. After n rounds the device has
  // taken n × 10 ms of sound, of which the listener has heard all but the last 22.5 ms.
  EXPECT_NEAR(clock_.now - t0, 0.21, 1e-9);

  time.rounds = 0;
  time.onRound = [this](int round) { context_.Session.StopRequested = round == 3; };
  frame = 50;
  WaitForAudio(context_, request, frame);
  EXPECT_EQ(frame, 50);
  EXPECT_EQ(time.rounds, 3);
}

TEST_F(Sound, SoundThatStandsStillIsGivenUpForTheClock) {
  for (int16_t source : {int16_t{3}, int16_t{1}}) {
    SCOPED_TRACE(source);
    SimulatedTime time(clock_, device_);
    time.deviceRuns = false;  // the device takes no samples at all
    PlaybackRequest request = Request(source, File("ramp.wav"), 25.0, 0);
    ASSERT_TRUE(StartAudio(request));
    const double t0 = clock_.now;
    int32_t frame = 10;
    WaitForAudio(context_, request, frame);
    EXPECT_EQ(frame, 10);
    EXPECT_GE(clock_.now - t0, kSoundStallSeconds);
    EXPECT_LT(clock_.now - t0, kSoundStallSeconds + 0.025);
    // The rest of the pass keeps the frame rate from there, without skipping.
    const double t1 = clock_.now;
    for (int32_t next = 11; next <= 20; ++next) {
      frame = next;
      WaitForAudio(context_, request, frame);
      ASSERT_EQ(frame, next);
    }
    // Frame 20 is due 9.5 frames (0.38 s) later; source 1 lets messages run once more after
    // the position it compares.
    EXPECT_NEAR(clock_.now - t1, 0.39, 0.0151);
    StopAudio(request);
  }
}

TEST_F(Sound, SoundShorterThanTheVideoLeavesThePictureAtItsFrameRate) {
  SimulatedTime time(clock_, device_);
  PlaybackRequest request = Request(3, File("short-sound.mkv"), 25.0, 0);
  ASSERT_TRUE(StartAudio(request));
  const double t0 = clock_.now;
  std::vector<double> shown;
  for (int32_t frame = 0; frame < 25; ++frame) {
    int32_t waited = frame;
    WaitForAudio(context_, request, waited);
    ASSERT_EQ(waited, frame);  // the loop keeps up: nothing skipped
    shown.push_back(clock_.now - t0);
  }
  // The sound ends after 0.5 s; the frames keep their 40 ms to the end of the video.
  for (size_t i = 2; i < shown.size(); ++i) {
    EXPECT_NEAR(shown[i] - shown[i - 1], 0.04, 0.0101) << "frame " << i;
  }
  EXPECT_NEAR(GraphPosition(), 0.5, 1e-3);
  EXPECT_NEAR(shown.back(), 0.97, 1e-9);

  // Started after its end, the sound has ended at once and the clock runs from the start.
  request = Request(3, File("short-sound.mkv"), 24.0, 20);  // 0.83 s
  ASSERT_TRUE(StartAudio(request));
  const double t1 = clock_.now;
  int32_t frame = 21;
  WaitForAudio(context_, request, frame);
  EXPECT_EQ(frame, 21);
  EXPECT_NEAR(clock_.now - t1, 0.03, 1e-9);  // the first round past frame 20.5 (0.0208 s)
  EXPECT_DOUBLE_EQ(GraphPosition(), 40000 / 48000.0);
}

TEST_F(Sound, ClockPacesASilentSession) {
  SimulatedTime time(clock_, device_);
  time.step = 0.001;
  gPerfClock = &clock_;
  Timing timing = test::NanosecondTiming(ReadFakeNanoseconds);
  PlaybackContext context(timing);
  PlaybackRequest request = Request(3, File("silent.mkv"), 25.0, 0);
  EXPECT_FALSE(StartAudio(request));  // no sound: the session falls back to the clock
  request.AudioSource = 1;
  EXPECT_FALSE(StartAudio(request));
  EXPECT_TRUE(messages_.Texts().empty());
  request.AudioSource = 0;
  ASSERT_TRUE(StartAudio(request));

  timing.PerfTimer.StartTimer();  // the put stage starts
  const double t0 = clock_.now;
  clock_.now += 0.015;  // the put takes 15 ms
  int32_t frame = 40;
  WaitForAudio(context, request, frame);
  EXPECT_EQ(frame, 40);
  // Measured at 40 ms, then one more round of messages.
  EXPECT_NEAR(clock_.now - t0, 0.041, 0.0015);
  StopAudio(request);
}

TEST_F(Sound, FilesThatCannotBePlayedAreReported) {
  // Source 1 has no frame rate to convert the start with in the fourth; 2 is no source.
  const std::tuple<int16_t, const char*, double, int32_t> requests[] = {{3, "junk.mkv", 25.0, 0},
                                                                        {3, "missing.mkv", 25.0, 0},
                                                                        {1, "junk.mkv", 25.0, 0},
                                                                        {1, "ramp.wav", 0.0, 10},
                                                                        {2, "ramp.wav", 25.0, 0}};
  PlaybackRequest request;
  for (const auto& [source, file, rate, start] : requests) {
    request = Request(source, File(file), rate, start);
    EXPECT_FALSE(StartAudio(request)) << file;
  }
  int32_t frame = 7;
  WaitForAudio(context_, request, frame);
  EXPECT_EQ(frame, 7);
  StopAudio(request);
  const std::string graph = "An error occurred while generating the audio filter graph: ";
  const std::string unplayable = "Unable to play the audio track.";
  const std::string source2 = "Unsupported audio source: 2";
  EXPECT_EQ(messages_.Texts(),
            (std::vector<std::string>{
                graph + "Invalid data found when processing input", unplayable,
                graph + File("missing.mkv") + ": No such file", unplayable, "Unable to open audio.",
                "An error occurred while attempting to play the audio track. Overflow", source2,
                source2, source2}));
  EXPECT_EQ(device_.opened, 0);

  EXPECT_EQ(PlayFile(File("ramp.wav"), 0, "NOTIFY"), kPlayStarted);
  EXPECT_EQ(PlayFile(File("ramp.wav"), 0, "wait"), kPlayBadKeyword);
  EXPECT_EQ(PositionMs(), 0);  // opened, not playing
}

// MPEG streams start their clocks at their earliest packet, here the sound's: the sound is
// measured from the first picture all the same, so that the burst falls 0.2 s after frame 0.
TEST_F(Sound, SoundSampleZeroGoesWithFrameZero) {
  PlaybackRequest request = Request(3, File("early-sound.mpg"), 25.0, 0);
  ASSERT_TRUE(StartAudio(request));
  ASSERT_EQ(device_.format.rate, 48000);
  const std::vector<float> samples = device_.Take(14400, clock_.now);
  const auto loud = std::find_if(samples.begin(), samples.end(),
                                 [](float sample) { return std::abs(sample) > 0.3f; });
  EXPECT_NEAR(loud - samples.begin(), 9600, 4);
  StopAudio(request);
}

// Through SDL's dummy driver, in real time.
class SdlSound : public Sound {
 protected:
  void SetUp() override {
    Sound::SetUp();
    SetSoundClock(nullptr);
    SetAudioOutputFactory({});
  }
};

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

TEST_F(SdlSound, PositionAdvancesInRealTimeAndStops) {
  PlaybackRequest request = Request(3, File("sine.wav"), 25.0, 5);  // from 0.2 s
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(StartAudio(request)) << (messages_.messages.empty() ? "" : messages_.Texts()[0]);
  const double begun = Seconds(start);
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
  const double p1 = GraphPosition();
  const double e1 = Seconds(start);
  EXPECT_LE(p1 - 0.2, e1);                 // never ahead of the time that has passed
  EXPECT_GE(p1 - 0.2, e1 - begun - 0.25);  // and behind it by no more than the device's buffers
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const double p2 = GraphPosition();
  const double e2 = Seconds(start);
  EXPECT_NEAR(p2 - p1, e2 - e1, 0.1);

  StopAudio(request);
  const double stopped = GraphPosition();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(GraphPosition(), stopped);
  EXPECT_TRUE(messages_.Texts().empty());
}

}  // namespace
}  // namespace qv
