// Putting a frame on the OpenGL surface: upload into the texture, draw, event processing and the
// buffer swap, as one PutImage does it. The baseline is what a put cannot do without: two block
// copies of the frame's bytes (into the driver and on to the window) and one swap of the same
// window's buffers, measured in the same run.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstring>
#include <vector>

#include "BenchApp.h"
#include "Ratios.h"
#include "base/Seams.h"
#include "display/GLWindow.h"
#include "display/OpenGLSurface.h"

namespace qv::bench {
namespace {

constexpr int32_t kWidth = 1920, kHeight = 1080;

PictureRef Frame() {
  auto frame = std::make_shared<Picture>();
  frame->Create(kWidth, kHeight);
  frame->RandomiseBits(false);
  return frame;
}

// An open surface in a window of its own, shown, for 1920 x 1080 frames drawn unscaled.
struct OpenSurface {
  OpenSurface() : frame(Frame()) {
    EnsureApplication();
    SetScreenInfo(&screen);
    ok = surface.OpenDisplay(false, kWidth, kHeight, false, false, frame, frame);
    QElapsedTimer waited;
    waited.start();
    while (ok && !surface.PictureWindow()->isExposed() && waited.elapsed() < 5000) {
      QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
  }
  ~OpenSurface() {
    surface.CloseDisplay();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    SetScreenInfo(nullptr);
  }
  FixedScreen screen{1920, 1080};
  PictureRef frame;
  OpenGLSurface surface;
  bool ok = false;
};

void BM_TwoCopiesAndASwap_1080(benchmark::State& state) {
  OpenSurface open;
  if (!open.ok) return state.SkipWithError("the OpenGL surface did not open");
  const size_t bytes = static_cast<size_t>(open.frame->BytesPerScanLine()) * kHeight;
  std::vector<uint8_t> driver(bytes), window(bytes);
  GLWindow& glWindow = *open.surface.PictureWindow();
  for (auto _ : state) {
    std::memcpy(driver.data(), open.frame->Bits(), bytes);
    std::memcpy(window.data(), driver.data(), bytes);
    benchmark::DoNotOptimize(window.data());
    if (glWindow.Begin()) glWindow.SwapBuffers();
  }
}

void BM_OpenGLPut_1080(benchmark::State& state) {
  OpenSurface open;
  if (!open.ok) return state.SkipWithError("the OpenGL surface did not open");
  for (auto _ : state) open.surface.PutImage(*open.frame, false, false);
  state.counters["frames_per_s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

BENCHMARK(BM_TwoCopiesAndASwap_1080)->Repetitions(5)->ReportAggregatesOnly(true)->UseRealTime();
BENCHMARK(BM_OpenGLPut_1080)->Repetitions(5)->ReportAggregatesOnly(true)->UseRealTime();

DeclareRatio openGLPutTarget("BM_OpenGLPut_1080", "BM_TwoCopiesAndASwap_1080", 1.0,
                             "1920x1080 uploaded, drawn and swapped");

}  // namespace
}  // namespace qv::bench
