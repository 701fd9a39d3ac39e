// Showing frames on the blit surface: what one PutImage costs, window-system transfer included
// (the X server's when a display is there, the offscreen platform's otherwise), against Qt's own
// conversion of the same frame to the window system's pixel format, the least work any way of
// showing it needs. At 30 frames a second a put must stay well below 33 ms.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QWidget>
#include <QWindow>

#include "Ratios.h"
#include "base/Seams.h"
#include "display/frmBltSurface.h"

namespace qv::bench {
namespace {

void EnsureApplication() {
  static int argc = 1;
  static char name[] = "quorvex_bench";
  static char* argv[] = {name, nullptr};
  if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  static QApplication app(argc, argv);
}

DibRef Frame(int32_t width, int32_t height) {
  auto frame = std::make_shared<cDIBSection>();
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
  const DibRef frame = Frame(frameW, frameH);
  frmBltSurface surface;
  if (!surface.OpenDisplay(fullscreen, frameW, frameH, true, false, frame, frame)) {
    state.SkipWithError("the surface did not open");
    return;
  }
  WaitUntilExposed(surface.Canvas());
  for (auto _ : state) {
    surface.PutImage(*frame, resize, quick);
    QCoreApplication::processEvents();
  }
  state.counters["frames_per_s"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                      benchmark::Counter::kIsRate);
  surface.CloseDisplay();
  SetScreenInfo(nullptr);
}

void BM_QtConvertToWindowFormat_720(benchmark::State& state) {
  EnsureApplication();
  const DibRef frame = Frame(1280, 720);
  const QImage wrapped(frame->DIBSectionBitsPtr(), 1280, 720, frame->BytesPerScanLine(),
                       QImage::Format_BGR888);
  for (auto _ : state) benchmark::DoNotOptimize(wrapped.convertToFormat(QImage::Format_RGB32));
}

void BM_BltPut_Windowed720(benchmark::State& state) {
  PutFrames(state, false, 1920, 1080, 1280, 720, false, false);
}
void BM_BltPut_FullScreenEnlarge720To1080(benchmark::State& state) {
  PutFrames(state, true, 1920, 1080, 1280, 720, true, false);
}
void BM_BltPut_FullScreenQuickEnlarge720To1080(benchmark::State& state) {
  PutFrames(state, true, 1920, 1080, 1280, 720, true, true);
}
void BM_BltPut_FullScreenShrink1080To720(benchmark::State& state) {
  PutFrames(state, true, 1280, 720, 1920, 1080, true, true);
}

BENCHMARK(BM_QtConvertToWindowFormat_720)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_BltPut_Windowed720)->Repetitions(5)->ReportAggregatesOnly(true)->UseRealTime();
BENCHMARK(BM_BltPut_FullScreenEnlarge720To1080)->Repetitions(5)->ReportAggregatesOnly(true)->UseRealTime();
BENCHMARK(BM_BltPut_FullScreenQuickEnlarge720To1080)->Repetitions(5)->ReportAggregatesOnly(true)->UseRealTime();
BENCHMARK(BM_BltPut_FullScreenShrink1080To720)->Repetitions(5)->ReportAggregatesOnly(true)->UseRealTime();

}  // namespace
}  // namespace qv::bench
