// A whole playback session in a real window: a 1280 x 720, 30 frames-per-second Parallel clip
// with a sound track, shown as a red/cyan anaglyph on the blit surface, and as side-by-side
// frames in "Generic OpenGL"'s window (the left eye where the display has no stereo), paced by
// its sound (SDL's dummy driver under make bench). Every frame should reach the window: the session
// reports how many it skipped to keep up with the sound, and the largest gap between the sound
// heard and the frame shown, at the moment each frame is shown. The baseline is the clip's own
// length: a session takes as long as its sound.
//
// The 1920 x 1080 clip, played as an anaglyph with the frames decoded by the frame loop itself and
// then by the decoder thread running ahead, measures the share of frame periods that the loop
// spends waiting for its next frame.
#include <benchmark/benchmark.h>

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "BenchApp.h"
#include "Ratios.h"
#include "base/DisplayConfig.h"
#include "base/Seams.h"
#include "display/QtSeams.h"
#include "display/BlitSurface.h"
#include "display/OpenGLSurface.h"
#include "base/HighResTimer.h"
#include "playback/PlaySession.h"
#include "playback/SessionState.h"
#include "playback/SoundTrack.h"
#include "playback/Surfaces.h"

namespace qv::bench {
namespace {

namespace fs = std::filesystem;

constexpr double kClipSeconds = 8.0;
constexpr double kFrameRate = 30.0;

fs::path Clip(const std::string& name = "parallel720p30.mkv",
              const std::string& size = "1280x720") {
  const fs::path clip = fs::read_symlink("/proc/self/exe").parent_path() / "media" / name;
  if (!fs::exists(clip)) {
    fs::create_directories(clip.parent_path());
    const fs::path partial = clip.string() + ".part.mkv";
    const std::string seconds = std::to_string(kClipSeconds);
    const std::string command =
        "ffmpeg -nostdin -hide_banner -loglevel error -y -f lavfi -i "
        "testsrc2=size=" + size + ":rate=30:"
        "duration=" +
        seconds + " -f lavfi -i sine=frequency=440:sample_rate=48000:duration=" + seconds +
        " -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac '" + partial.string() + "'";
    if (std::system(command.c_str()) != 0) return {};
    fs::rename(partial, clip);
  }
  return clip;
}

// A window surface, with a note of every frame it shows and where the sound was at that moment.
class MeasuringSurface : public DisplaySurface {
 public:
  explicit MeasuringSurface(DisplaySurface& shown) : shown_(shown) {}
  bool OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool modeFlag, bool useLineCode,
                   const PictureRef& start, const PictureRef& end) override {
    shown_.UseSettings(Settings());
    return shown_.OpenDisplay(fullscreen, srcX, srcY, modeFlag, useLineCode, start, end);
  }
  bool PutImage(const Picture& picture, bool resize, bool quick) override {
    const bool ok = shown_.PutImage(picture, resize, quick);
    ++shown;
    const double heard = GraphPosition();
    if (heard >= 0.0)
      maxGap = std::max(maxGap, std::abs(heard - session->CurrentFrame / kFrameRate));
    return ok;
  }
  void ResizeSurface(int32_t srcX, int32_t srcY) override { shown_.ResizeSurface(srcX, srcY); }
  bool CloseDisplay() override { return shown_.CloseDisplay(); }

  int shown = 0;
  double maxGap = 0.0;
  const SessionState* session = nullptr;

 private:
  DisplaySurface& shown_;
};

void BM_ClipLength(benchmark::State& state) {
  for (auto _ : state) std::this_thread::sleep_for(std::chrono::duration<double>(kClipSeconds));
}

// Plays the clip as `method` (windowed) on `shown`, installed as a surface of `kind`.
void PlayClip(benchmark::State& state, SurfaceKind kind, DisplaySurface& shown,
              OutputMethod method, const fs::path& clip = Clip(), bool decodeAhead = true) {
  EnsureApplication();
  if (clip.empty()) return state.SkipWithError("the ffmpeg command could not make the clip");
  QtScreenInfo screen;
  QtEventPump pump;
  SetScreenInfo(&screen);
  SetEventPump(&pump);
  gDisplay.InterlaceViaOpenGL = true;
  PlaybackSession playback;
  playback.SetDecodeAhead(decodeAhead);
  MeasuringSurface surface(shown);
  surface.session = &playback.State();
  SetDisplaySurface(kind, &surface);

  int skipped = 0;
  double fetchSeconds = 0.0;
  int shownFrames = 0;
  for (auto _ : state) {
    PlaybackRequest request;
    request.FileName = request.AudioFile = clip.string();
    request.InputFormat = InputFormat::Parallel;
    request.OutputMethod = method;
    surface.shown = 0;
    playback.PlaySession(request);
    skipped += static_cast<int>(std::lround(kClipSeconds * kFrameRate)) - surface.shown;
    fetchSeconds += playback.FetchSeconds();
    shownFrames += surface.shown;
  }
  state.counters["wait_share"] = shownFrames > 0 ? fetchSeconds * kFrameRate / shownFrames : 0.0;
  state.counters["frames_skipped"] = skipped;
  state.counters["max_sound_gap_ms"] = surface.maxGap * 1000.0;
  SetDisplaySurface(kind, nullptr);
  SetEventPump(nullptr);
  SetScreenInfo(nullptr);
  // Windows closed with the play go now: none may be left to the application's end, which
  // comes after the static objects that destroying a window needs.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void BM_Play_Parallel720p30_Anaglyph(benchmark::State& state) {
  PlayClip(state, SurfaceKind::Blit, TheBlitSurface(), OutputMethod::AnaglyphRedGreen);
}

void BM_Play_Parallel720p30_GenericOpenGLWindowed(benchmark::State& state) {
  EnsureApplication();
  OpenGLSurface::LoadDriver();  // as the player does at start-up
  OpenGLSurface surface;
  PlayClip(state, SurfaceKind::OpenGL, surface, OutputMethod::SideBySide);
}

fs::path Clip1080() { return Clip("parallel1080p30.mkv", "1920x1080"); }

void BM_Play_Parallel1080p30_Anaglyph_LoopDecodes(benchmark::State& state) {
  PlayClip(state, SurfaceKind::Blit, TheBlitSurface(), OutputMethod::AnaglyphRedGreen, Clip1080(),
           false);
}

void BM_Play_Parallel1080p30_Anaglyph_DecodeAhead(benchmark::State& state) {
  PlayClip(state, SurfaceKind::Blit, TheBlitSurface(), OutputMethod::AnaglyphRedGreen, Clip1080(),
           true);
}

BENCHMARK(BM_ClipLength)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Play_Parallel720p30_Anaglyph)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Play_Parallel720p30_GenericOpenGLWindowed)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(BM_Play_Parallel1080p30_Anaglyph_LoopDecodes)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Play_Parallel1080p30_Anaglyph_DecodeAhead)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

DeclareRatio playLengthTarget("BM_Play_Parallel720p30_Anaglyph", "BM_ClipLength", 1.05,
                              "a session lasts as long as its sound");
DeclareCounterLimit playSkipTarget("BM_Play_Parallel720p30_Anaglyph", "frames_skipped", 0,
                                   "every frame shown");
DeclareCounterLimit decodeAheadWaitTarget("BM_Play_Parallel1080p30_Anaglyph_DecodeAhead", "wait_share",
                                          0.02, "the loop waits for under 2 % of the frame periods");
DeclareCounterLimit decodeAheadSkipTarget("BM_Play_Parallel1080p30_Anaglyph_DecodeAhead",
                                          "frames_skipped", 0, "every frame shown");
DeclareRatio openGLPlayLengthTarget("BM_Play_Parallel720p30_GenericOpenGLWindowed", "BM_ClipLength",
                                    1.05, "a session lasts as long as its sound");
DeclareCounterLimit openGLPlaySkipTarget("BM_Play_Parallel720p30_GenericOpenGLWindowed",
                                         "frames_skipped", 0, "every frame shown");

}  // namespace
}  // namespace qv::bench
