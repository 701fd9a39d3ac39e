// The pixel kernels on 1920 x 1080 frames against a memcpy of the same bytes: the anaglyph rows,
// the nearest-pixel row gather and stretch, the grey conversion, the window image conversion and
// the correlation. Each runs in the version this processor gets (/fast) and in its plain version
// (/plain); `make bench` builds them with the flags of the build that users run.
#include <benchmark/benchmark.h>

#include <QImage>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Ratios.h"
#include "base/CpuFeatures.h"
#include "display/WindowImage.h"
#include "image/Canvas.h"
#include "image/Picture.h"
#include "image/RowGather.h"
#include "imageproc/ImageProcessor.h"
#include "stereo/AnaglyphMerge.h"

namespace qv::bench {
namespace {

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;

PictureRef Frame(int32_t width, int32_t height) {
  auto frame = std::make_shared<Picture>();
  frame->Create(width, height);
  frame->RandomiseBits(false);
  const PixelGrid grid = frame->Grid();
  for (int32_t y = 0; y < grid.height; ++y) {  // blue gets values too
    uint8_t* row = grid.MemoryRow(y);
    for (int32_t x = 0; x < grid.width; ++x) row[3 * x] = static_cast<uint8_t>(row[3 * x + 1] ^ row[3 * x + 2]);
  }
  return frame;
}

// Runs the kernels in their plain versions while it exists, when asked to.
class Version {
 public:
  explicit Version(bool plain) {
    if (plain) only_.emplace();
  }

 private:
  std::optional<PlainKernels> only_;
};

void MemcpyBytes(benchmark::State& state, size_t bytes) {
  std::vector<uint8_t> from(bytes, 7), to(bytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
}

// The correlation reads a frame and an array of 32-bit values laid over it.
void BM_Memcpy_CorrelationInputs1080(benchmark::State& state) {
  MemcpyBytes(state, static_cast<size_t>(StrideFor(kWidth) * kHeight + (3 * kWidth + 1) * 4 * kHeight));
}

void AnaglyphRows(benchmark::State& state, AnaglyphKind kind, bool plain) {
  const Version version(plain);
  const PictureRef left = Frame(kWidth, kHeight), right = Frame(kWidth, kHeight);
  Picture out;
  out.Create(kWidth, kHeight);
  const PixelGrid l = left->ReadGrid(), r = right->ReadGrid(), o = out.Grid();
  for (auto _ : state) {
    const AnaglyphRow row = FastAnaglyphRow(kind);
    for (int32_t y = 0; y < kHeight; ++y) row(o.MemoryRow(y), l.MemoryRow(y), r.MemoryRow(y), kWidth, 0);
    benchmark::DoNotOptimize(o.bits);
    benchmark::ClobberMemory();
  }
}
void BM_Kernel_AnaglyphGray(benchmark::State& s, bool plain) { AnaglyphRows(s, AnaglyphKind::Gray, plain); }
void BM_Kernel_AnaglyphColour(benchmark::State& s, bool plain) { AnaglyphRows(s, AnaglyphKind::Colour, plain); }
void BM_Kernel_AnaglyphYellow(benchmark::State& s, bool plain) { AnaglyphRows(s, AnaglyphKind::Yellow, plain); }

// Every row of a frame gathered to 1280 pixels, as shrinking 1920 x 1080 to 1280 x 1080 does.
void BM_Kernel_RowGather1920To1280(benchmark::State& state, bool plain) {
  const Version version(plain);
  const PictureRef from = Frame(kWidth, kHeight);
  Picture to;
  to.Create(1280, kHeight);
  std::vector<int32_t> columns(1280);
  for (int32_t x = 0; x < 1280; ++x) columns[static_cast<size_t>(x)] = x * (kWidth - 1) / 1280;
  const PixelGrid s = from->ReadGrid(), d = to.Grid();
  for (auto _ : state) {
    const RowGatherPlan plan(columns, kWidth, true);
    for (int32_t y = 0; y < kHeight; ++y) plan.Gather(s.MemoryRow(y), d.MemoryRow(y));
    benchmark::DoNotOptimize(d.bits);
    benchmark::ClobberMemory();
  }
}

void StretchNearest(benchmark::State& state, bool plain, int32_t fromW, int32_t fromH, int32_t toW,
                    int32_t toH) {
  const Version version(plain);
  const PictureRef from = Frame(fromW, fromH);
  Picture to;
  to.Create(toW, toH);
  Canvas* canvas = to.DrawingCanvas();
  canvas->SetStretchMode(COLORONCOLOR);
  Canvas reader;
  reader.Select(from->ReadGrid());
  for (auto _ : state) {
    Stretch(canvas, 0, 0, toW, toH, &reader, 0, 0, fromW, fromH, SRCCOPY);
    benchmark::DoNotOptimize(canvas->Grid().bits);
    benchmark::ClobberMemory();
  }
}
// One view into its half of the sync-doubled frame (a 1920 x 1080 screen, a 45-row gap).
void BM_Kernel_StretchViewToHalfHeight(benchmark::State& s, bool plain) {
  StretchNearest(s, plain, kWidth, kHeight, 1840, 518);
}
// A 1280 x 720 frame repeated up to 1920 x 1080.
void BM_Kernel_Stretch720To1080(benchmark::State& s, bool plain) {
  StretchNearest(s, plain, 1280, 720, kWidth, kHeight);
}

void BM_Kernel_GrayScale(benchmark::State& state, bool plain) {
  const Version version(plain);
  const PictureRef frame = Frame(kWidth, kHeight);
  ImageProcessor process;
  for (auto _ : state) {
    process.GrayScale(*frame, 3);
    benchmark::ClobberMemory();
  }
}

void BM_Kernel_ToWindowImage(benchmark::State& state, bool plain) {
  const Version version(plain);
  const PictureRef frame = Frame(kWidth, kHeight);
  const PixelGrid grid = frame->ReadGrid();
  QImage image;
  for (auto _ : state) {
    ToWindowImage(grid, image);
    benchmark::DoNotOptimize(image.constBits());
    benchmark::ClobberMemory();
  }
}

void BM_Kernel_Correlate(benchmark::State& state, bool plain) {
  const Version version(plain);
  const PictureRef one = Frame(kWidth, kHeight), other = Frame(kWidth, kHeight);
  ImageProcessor process;
  process.CopyToArray(*one);
  for (auto _ : state) {
    int32_t sum = 0;
    process.Correlate(*other, process.Arrays().SharedPixels, sum);
    benchmark::DoNotOptimize(sum);
  }
}

BENCHMARK(BM_Memcpy_CorrelationInputs1080)->Repetitions(7)->ReportAggregatesOnly(true);
// name/fast in the version that CpuFeatures() chooses, name/plain in the plain version.
#define QV_KERNEL_BENCH(name)                                                             \
  BENCHMARK_CAPTURE(name, fast, false)->Repetitions(7)->ReportAggregatesOnly(true); \
  BENCHMARK_CAPTURE(name, plain, true)->Repetitions(7)->ReportAggregatesOnly(true)
QV_KERNEL_BENCH(BM_Kernel_AnaglyphGray);
QV_KERNEL_BENCH(BM_Kernel_AnaglyphColour);
QV_KERNEL_BENCH(BM_Kernel_AnaglyphYellow);
QV_KERNEL_BENCH(BM_Kernel_RowGather1920To1280);
QV_KERNEL_BENCH(BM_Kernel_StretchViewToHalfHeight);
QV_KERNEL_BENCH(BM_Kernel_Stretch720To1080);
QV_KERNEL_BENCH(BM_Kernel_GrayScale);
QV_KERNEL_BENCH(BM_Kernel_ToWindowImage);
QV_KERNEL_BENCH(BM_Kernel_Correlate);

// Each fast version at most a few memcpys of its frame, and never slower than its plain version.
struct KernelTarget {
  const char* name;
  const char* baseline;
  double limit;
};
const bool kTargetsDeclared = [] {
  const KernelTarget targets[] = {
      {"BM_Kernel_AnaglyphGray", "BM_Memcpy_Frame1080", 8.0},
      {"BM_Kernel_AnaglyphColour", "BM_Memcpy_Frame1080", 8.0},
      {"BM_Kernel_AnaglyphYellow", "BM_Memcpy_Frame1080", 8.0},
      {"BM_Kernel_RowGather1920To1280", "BM_Memcpy_Frame1080", 3.5},
      {"BM_Kernel_StretchViewToHalfHeight", "BM_Memcpy_Frame1080", 3.0},
      {"BM_Kernel_Stretch720To1080", "BM_Memcpy_Frame1080", 5.0},
      {"BM_Kernel_GrayScale", "BM_Memcpy_Frame1080", 8.0},
      {"BM_Kernel_ToWindowImage", "BM_Memcpy_Frame1080", 4.0},
      {"BM_Kernel_Correlate", "BM_Memcpy_CorrelationInputs1080", 1.0},
  };
  for (const KernelTarget& t : targets) {
    const std::string fast = std::string(t.name) + "/fast";
    RatioTargets().push_back({fast, t.baseline, t.limit, "the fast version against memcpy"});
    RatioTargets().push_back({fast, std::string(t.name) + "/plain", 1.0, "fast against plain"});
  }
  return true;
}();

}  // namespace
}  // namespace qv::bench
