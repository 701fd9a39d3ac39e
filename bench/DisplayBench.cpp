// Showing frames on the blit surface: what one PutImage and the event processing after it cost,
// the window system's transfer included (the X server's when a display is there, the offscreen
// platform's otherwise). The baseline is one frame period at 30 frames a second, so each ratio
// is the share of the frame time that showing a frame takes; the rest is left to reading,
// decoding and composing.
#include <benchmark/benchmark.h>

#include <QElapsedTimer>
#include <QImage>
#include <QWidget>
#include <QWindow>

#include <chrono>
#include <thread>

#include "BenchApp.h"
#include "Ratios.h"
#include "base/Seams.h"
#include "display/BlitSurface.h"

namespace qv::bench {
namespace {

PictureRef Frame(int32_t width, int32_t height) {
  auto frame = std::make_shared<Picture>();
  frame->Create(width, height);
  frame->RandomiseBits(false);
  return frame;
}

void WaitUntilExposed(QWidget* widget) {
  QElapsedTimer waited;
  waited.start();
  while (!(widget->windowHandle() && widget->windowHandle()->isExposed()) &&
         waited.elapsed() < 5000) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  }
}

// One frame of the loop: put, then let the window system process its messages.
void PutFrames(benchmark::State& state, bool fullscreen, int32_t screenW, int32_t screenH,
               int32_t frameW, int32_t frameH, bool resize, bool quick) {
  EnsureApplication();
  FixedScreen screen(screenW, screenH);
  SetScreenInfo(&screen);
  const PictureRef frame = Frame(frameW, frameH);
  BlitSurface surface;
  if (!surface.OpenDisplay(fullscreen, frameW, frameH, true, false, frame, frame)) {
    state.SkipWithError("the surface did not open");
    return;
  }
  WaitUntilExposed(surface.PictureWidget());
  for (auto _ : state) {
    surface.PutImage(*frame, resize, quick);
    QCoreApplication::processEvents();
  }
  state.counters["frames_per_s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  surface.CloseDisplay();
  SetScreenInfo(nullptr);
}

void BM_FramePeriod_30fps(benchmark::State& state) {
  for (auto _ : state) std::this_thread::sleep_for(std::chrono::microseconds(33333));
}

void BM_BlitPut_Windowed720(benchmark::State& state) {
  PutFrames(state, false, 1920, 1080, 1280, 720, false, false);
}
void BM_BlitPut_FullScreenEnlarge720To1080(benchmark::State& state) {
  PutFrames(state, true, 1920, 1080, 1280, 720, true, false);
}
void BM_BlitPut_FullScreenQuickEnlarge720To1080(benchmark::State& state) {
  PutFrames(state, true, 1920, 1080, 1280, 720, true, true);
}
void BM_BlitPut_FullScreenShrink1080To720(benchmark::State& state) {
  PutFrames(state, true, 1280, 720, 1920, 1080, true, true);
}

BENCHMARK(BM_FramePeriod_30fps)->Repetitions(3)->ReportAggregatesOnly(true)->UseRealTime();
BENCHMARK(BM_BlitPut_Windowed720)->Repetitions(5)->ReportAggregatesOnly(true)->UseRealTime();
BENCHMARK(BM_BlitPut_FullScreenEnlarge720To1080)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseRealTime();
BENCHMARK(BM_BlitPut_FullScreenQuickEnlarge720To1080)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseRealTime();
BENCHMARK(BM_BlitPut_FullScreenShrink1080To720)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseRealTime();

DeclareRatio windowedTarget("BM_BlitPut_Windowed720", "BM_FramePeriod_30fps", 0.25,
                            "1280x720 in a window at 30 fps");
DeclareRatio enlargeTarget("BM_BlitPut_FullScreenEnlarge720To1080", "BM_FramePeriod_30fps", 0.5,
                           "smoothly scaled to 1920x1080 at 30 fps");
DeclareRatio quickTarget("BM_BlitPut_FullScreenQuickEnlarge720To1080", "BM_FramePeriod_30fps", 0.5,
                         "pixels repeated up to 1920x1080 at 30 fps");
DeclareRatio shrinkTarget("BM_BlitPut_FullScreenShrink1080To720", "BM_FramePeriod_30fps", 0.5,
                          "1920x1080 averaged down to 1280x720 at 30 fps");

}  // namespace
}  // namespace qv::bench
