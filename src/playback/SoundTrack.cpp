#include "playback/SoundTrack.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "base/HighResTimer.h"
#include "playback/PlaybackContext.h"
#include "playback/SoundPlayer.h"

namespace qv {

namespace {

// After the sound has ended, or has stood still for kSoundStallSeconds, the frames follow a clock
// that carries on from there at real time, so that the picture keeps its frame rate to the end of
// the video: a sound track shorter than the video leaves the rest playing as if the sound went
// on in silence, and a device that stops taking samples costs one short pause, not one per frame.
struct CarriedClock {
  bool active = false;
  double originSeconds = 0.0;  // sound position at originTime
  double originTime = 0.0;     // SoundClock time
};

struct SoundState {
  std::unique_ptr<SoundPlayer> graph;    // source 3: built anew by every BuildAudioGraph
  bool graphPlaying = false;             // StartGraphAt has run on this graph
  std::unique_ptr<SoundPlayer> device1;  // source 1: the device opened as "1"
  bool device1Playing = false;
  std::optional<HighResTimer> AudioClock;  // source 0
  double audioClockFrequency = 0.0;
  CarriedClock carried;
  SoundClock* clock = nullptr;
  AudioOutputFactory factory;
};

SoundState& State() {
  static SoundState state;
  return state;
}

SoundClock& Clock() {
  SoundClock* clock = State().clock;
  return clock != nullptr ? *clock : SteadySoundClock();
}

std::unique_ptr<AudioOutput> NewOutput() {
  SoundState& s = State();
  return s.factory ? s.factory(Clock()) : MakeSdlAudioOutput(Clock());
}

std::string Unsupported(int16_t source) {
  return "Unsupported audio source: " + std::to_string(source);
}

// The player whose position a wait of `source` follows, or nullptr.
SoundPlayer* PlayingTrack(int16_t source) {
  SoundState& s = State();
  if (source == 3) return s.graphPlaying ? s.graph.get() : nullptr;
  return s.device1Playing ? s.device1.get() : nullptr;
}

// The position the frames follow, in the source's unit (3: seconds, 1: milliseconds); negative
// when there is none.
double PacingPosition(int16_t source) {
  const CarriedClock& carried = State().carried;
  if (carried.active) {
    const double seconds = carried.originSeconds + (Clock().Now() - carried.originTime);
    return source == 3 ? seconds : Floor(seconds * 1000.0);
  }
  if (source == 3) return GraphPosition();
  return PlayingTrack(1) != nullptr ? PositionMs() : -1.0;
}

// The frame a position stands for, rounded halves to even; clamped to the frame numbers.
int32_t TargetFrame(int16_t source, double position, double frameRate) {
  const double target = source == 3 ? RoundHalfEven(position * frameRate)
                                    : RoundHalfEven(position * frameRate / 1000.0);
  return static_cast<int32_t>(std::clamp(target, double{std::numeric_limits<int32_t>::min()},
                                         double{std::numeric_limits<int32_t>::max()}));
}

// Waits until the sound of `source` (3 or 1) has reached `frame`, then moves `frame` to the frame
// it has reached. Source 1 lets messages run before each comparison, source 3 only between two.
void FollowSound(const SessionState& session, int16_t source, const PlaybackRequest& request,
                 int32_t& frame) {
  const double rate = request.FrameRate;
  if (!(rate > 0.0) || !std::isfinite(rate)) return;  // nothing to convert positions with
  SoundState& s = State();
  SoundClock& clock = Clock();
  double lastHeard = -1.0;
  double lastMove = clock.Now();
  int32_t target = 0;
  for (;;) {
    const double position = PacingPosition(source);
    if (position < 0.0) return;
    target = TargetFrame(source, position, rate);
    if (source == 1) DoEvents();
    if (frame <= target) break;
    if (session.StopRequested) return;
    if (!s.carried.active) {
      SoundPlayer* track = PlayingTrack(source);
      if (track == nullptr) return;
      const SoundStatus status = track->Status();
      const double now = clock.Now();
      if (status.ended) {
        s.carried = CarriedClock{true, status.heardSeconds, status.endedAt};
        continue;
      }
      if (status.heardSeconds != lastHeard) {
        lastHeard = status.heardSeconds;
        lastMove = now;
      } else if (now - lastMove >= kSoundStallSeconds) {
        // The device has stopped taking samples: this frame stands, and the clock starts here.
        s.carried = CarriedClock{true, frame / rate, now};
        return;
      }
    }
    if (source == 3) DoEvents();
    clock.Nap();
  }
  frame = target;
}

// Source 0: 1 / FrameRate seconds after PerfTimer was last started.
void WaitForClock(const SessionState& session, HighResTimer& timer, const PlaybackRequest& request) {
  SoundState& s = State();
  if (request.FrameRate > 0.0) {
    for (;;) {
      timer.StopTimer();
      const double x = timer.Elapsed() / s.audioClockFrequency * request.FrameRate;
      DoEvents();
      if (!(x < 1.0) || session.StopRequested) break;
      Clock().Nap();
    }
  }
  timer.StartTimer();
}

bool SameWord(const std::string& a, const char* b) {
  return std::equal(a.begin(), a.end(), b, b + std::strlen(b), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) == y;
  });
}

}  // namespace

void SetSoundClock(SoundClock* clock) {
  State().clock = clock;
}
void SetAudioOutputFactory(AudioOutputFactory factory) {
  State().factory = std::move(factory);
}

bool StartAudio(PlaybackRequest& request) {
  SoundState& s = State();
  s.carried = CarriedClock{};
  try {
    switch (request.AudioSource) {
      case 0:
        s.AudioClock.emplace();
        s.audioClockFrequency = s.AudioClock->Frequency();
        s.AudioClock->StartTimer();
        return true;
      case 1: {
        const int32_t startMs = ToInt32Checked(Floor(request.StartOffset * 1000.0 / request.FrameRate));
        const int32_t result = PlayFile(request.AudioFile, startMs, "notify");
        if (result == kPlayStarted) return true;
        if (result == kPlayNoSound) return false;
        MsgBox(result == kPlayOpenFailed ? "Unable to open audio."
                                         : "Loaded, but could not play audio.");
        return false;
      }
      case 3:
        if (!BuildAudioGraph(request.AudioFile) || !RemoveVideoRenderer()) {
          MsgBox("Unable to play the audio track.");
          return false;
        }
        if (!s.graph->HasSound()) {
          // A silent file plays silently, paced by the clock; nothing to tell the user.
          s.graph.reset();
          return false;
        }
        return StartGraphAt(request.StartOffset / request.FrameRate);
      default:
        MsgBox(Unsupported(request.AudioSource));
        return false;
    }
  } catch (const std::exception& e) {
    MsgBox("An error occurred while attempting to play the audio track. " + DescribeError(e));
    return false;
  }
}

void WaitForAudio(PlaybackContext& context, PlaybackRequest& request, int32_t& frame) {
  switch (request.AudioSource) {
    case 0:
      WaitForClock(context.Session, context.Timing.PerfTimer, request);
      break;
    case 1:
    case 3:
      FollowSound(context.Session, request.AudioSource, request, frame);
      break;
    default:
      MsgBox(Unsupported(request.AudioSource));
      break;
  }
}

void StopAudio(PlaybackRequest& request) {
  switch (request.AudioSource) {
    case 0:
      State().AudioClock.reset();
      break;
    case 1:
      StopAndClose();
      break;
    case 3:
      StopGraph();
      break;
    default:
      MsgBox(Unsupported(request.AudioSource));
      break;
  }
}

// Opens the file's sound track and an audio device for it. A file without sound builds a graph
// without a device, which StartAudio recognises.
bool BuildAudioGraph(const std::string& fileName) {
  SoundState& s = State();
  s.graph.reset();
  s.graphPlaying = false;
  try {
    auto graph = std::make_unique<SoundPlayer>(Clock());
    graph->OpenFile(fileName);
    if (graph->HasSound()) graph->OpenOutput(NewOutput());
    s.graph = std::move(graph);
    return true;
  } catch (const std::exception& e) {
    MsgBox("An error occurred while generating the audio filter graph: " + DescribeError(e));
    return false;
  }
}

// The graph is built from the sound alone: no picture is ever decoded or shown by it. Cutting off
// the video here means telling the demuxer to skip the packets of every stream but the sound.
// There is therefore never a video renderer to look for, and "Unable to find a recognised video
// filter." cannot arise: a file whose pictures the graph does not read is exactly what we want.
bool RemoveVideoRenderer() {
  try {
    SoundPlayer* graph = State().graph.get();
    if (graph == nullptr) throw err::ObjectNotSet();
    graph->DiscardOtherStreams();
    return true;
  } catch (const std::exception& e) {
    MsgBox("An error occurred while configuring video filters: " + DescribeError(e));
    return false;
  }
}

bool StartGraphAt(double seconds) {
  SoundState& s = State();
  try {
    if (!s.graph) throw err::ObjectNotSet();
    s.graph->Start(seconds);
    s.graphPlaying = true;
    return true;
  } catch (const std::exception& e) {
    MsgBox("An error occurred while starting filter playback: " + DescribeError(e));
    return false;
  }
}

double GraphPosition() {
  SoundPlayer* graph = PlayingTrack(3);
  if (graph == nullptr) return -1.0;
  return graph->Status().heardSeconds;
}

// Stops the sound; the graph stays built (its position stays readable) until the next build.
void StopGraph() {
  try {
    SoundPlayer* graph = State().graph.get();
    if (graph == nullptr) throw err::ObjectNotSet();
    graph->Stop();
  } catch (const std::exception& e) {
    MsgBox("An error occurred while stopping filter playback: " + DescribeError(e));
  }
}

// `notify` asks to be told when the sound has played to its end. Nothing else is ever told here:
// the end of the sound is seen by the waits themselves, so the word is only checked.
int32_t PlayFile(const std::string& fileName, int32_t startMs, const std::string& notify) {
  StopAndClose();
  DoEvents();
  SoundState& s = State();
  auto player = std::make_unique<SoundPlayer>(Clock());
  try {
    player->OpenFile(fileName);
  } catch (const std::exception&) {
    return kPlayOpenFailed;
  }
  if (!player->HasSound()) return kPlayNoSound;
  s.device1 = std::move(player);
  if (!notify.empty() && !SameWord(notify, "notify")) return kPlayBadKeyword;
  try {
    s.device1->DiscardOtherStreams();
    s.device1->OpenOutput(NewOutput());
    s.device1->Start(startMs / 1000.0);
  } catch (const std::exception&) {
    return kPlayFailed;
  }
  s.device1Playing = true;
  return kPlayStarted;
}

void ReleaseSound() {
  SoundState& s = State();
  s.graph.reset();
  s.graphPlaying = false;
  StopAndClose();
  s.AudioClock.reset();
  s.carried = CarriedClock{};
}

void StopAndClose() {
  SoundState& s = State();
  if (s.device1) s.device1->Stop();  // stop, then close
  s.device1.reset();
  s.device1Playing = false;
}

int32_t PositionMs() {
  SoundPlayer* device = PlayingTrack(1);
  if (device == nullptr) return 0;
  const double ms = Floor(device->Status().heardSeconds * 1000.0);
  return static_cast<int32_t>(std::min(ms, double{std::numeric_limits<int32_t>::max()}));
}

}  // namespace qv
