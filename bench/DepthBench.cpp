// The 2D-to-3D conversion at 1920 x 1080 and 1280 x 720, on a textured scene whose content moves
// two pixels left and back on alternate frames (so that the driver stays in depth synthesis):
//   - the default path of playback (the conversion driver: the fast tracker, the clean-up and the
//     engine's renderer) per frame, on every core and on one;
//   - the fast tracker alone, against FFmpeg's diamond-search motion estimator (the mestimate
//     filter, method ds, 8 x 8 blocks) run through libavfilter on one thread on the same frames;
//   - the image processor's routines that do the same jobs (CreateDepthMap, SmoothDMAP, two
//     Dilates and Make3D), for comparison.
#include <benchmark/benchmark.h>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
}

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Ratios.h"
#include "base/HighResTimer.h"
#include "base/Numbers.h"
#include "convert/ConversionDriver.h"
#include "convert/DepthEngine.h"
#include "imageproc/ImageProcessor.h"

namespace qv::bench {
namespace {

// Value noise: random levels on a 16-pixel lattice, blended, with a little fine grain, so that
// the picture has edges at several scales as natural pictures do.
std::vector<uint8_t> Texture(int32_t width, int32_t height) {
  const int32_t cell = 16;
  const int32_t cw = width / cell + 2, ch = height / cell + 2;
  std::mt19937 random(12);
  std::vector<std::array<uint8_t, 3>> lattice(static_cast<size_t>(cw) * ch);
  for (auto& c : lattice) c = {uint8_t(random()), uint8_t(random()), uint8_t(random())};
  std::vector<uint8_t> bytes(static_cast<size_t>(width) * height * 3);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const int32_t i = x / cell, j = y / cell;
      const float fx = (x % cell) / float(cell), fy = (y % cell) / float(cell);
      for (int c = 0; c < 3; ++c) {
        auto at = [&](int32_t a, int32_t b) { return float(lattice[static_cast<size_t>(b * cw + a)][static_cast<size_t>(c)]); };
        const float v = (at(i, j) * (1 - fx) + at(i + 1, j) * fx) * (1 - fy) +
                        (at(i, j + 1) * (1 - fx) + at(i + 1, j + 1) * fx) * fy;
        bytes[(static_cast<size_t>(y) * width + x) * 3 + c] =
            static_cast<uint8_t>(std::min(255.0f, v * 0.9f + float(random() % 24)));
      }
    }
  }
  return bytes;
}

// Two frames of the scene: seen from x = 0 and from x = 2.
struct Clip {
  std::array<PictureRef, 2> frames;
};

const Clip& ClipOf(int32_t width, int32_t height) {
  static std::map<int32_t, Clip> clips;
  Clip& clip = clips[width];
  if (clip.frames[0]) return clip;
  const std::vector<uint8_t> scene = Texture(width + 8, height);
  for (int k = 0; k < 2; ++k) {
    auto picture = std::make_shared<Picture>();
    picture->Create(width, height);
    const PixelGrid grid = picture->Grid();
    for (int32_t y = 0; y < height; ++y) {
      std::memcpy(grid.DeviceRow(y), &scene[(static_cast<size_t>(y) * (width + 8) + 2 * k) * 3],
                  static_cast<size_t>(3) * width);
    }
    clip.frames[static_cast<size_t>(k)] = picture;
  }
  return clip;
}

void CopyPixels(const Picture& from, Picture& to) {
  const PixelGrid in = from.ReadGrid(), out = to.Grid();
  std::memcpy(out.bits, in.bits, static_cast<size_t>(in.stride) * in.height);
}

// The driver on continuing frames, timed around ConvertFrame only (the decoder's copies of the
// frame into the two views are not the conversion's).
void DefaultPath(benchmark::State& state, int32_t width, int32_t height, int32_t threads) {
  // threads: 2 for both cores, 1 for one (fixed: the engine does not choose while measured).

  const Clip& clip = ClipOf(width, height);
  ProcessorArrays arrays;
  Timing timing;
  timing.PerfFrequency = timing.PerfTimer.Frequency();
  ConversionDriver driver(arrays, timing);
  driver.Engine().SetThreads(threads);
  std::array<PictureRef, 2> views = {clip.frames[0]->CopyOf(), clip.frames[0]->CopyOf()};
  PictureRef output;
  driver.ConvertFrame(views, output, false, false, 0, 0, true, FrameShiftOption::Automatic);
  int64_t n = 0;
  double total = 0;
  for (auto _ : state) {
    const Picture& frame = *clip.frames[static_cast<size_t>(++n % 2)];
    CopyPixels(frame, *views[0]);
    CopyPixels(frame, *views[1]);
    const auto began = std::chrono::steady_clock::now();
    driver.ConvertFrame(views, output, true, false, 0, 0, true, FrameShiftOption::Automatic);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    state.SetIterationTime(seconds);
    total += seconds;
    if (driver.State().ShiftState != 0) {
      state.SkipWithError("the clip left depth synthesis");
      break;
    }
  }
  if (state.iterations() > 0) state.counters["ms_per_frame"] = 1e3 * total / static_cast<double>(state.iterations());
}

void FastTracker(benchmark::State& state, int32_t width, int32_t height) {
  const Clip& clip = ClipOf(width, height);
  DepthEngine engine;
  engine.SetThreads(1);
  DepthMap map;
  map.ReDim(width + 1, height + 1);
  auto current = clip.frames[0]->CopyOf();
  double error = 0, motion = 0;
  engine.CreateDepthMapFast(current->Bits(), nullptr, error, 1, map.Data(), width, height, motion, 1);
  int64_t n = 0;
  for (auto _ : state) {
    state.PauseTiming();
    CopyPixels(*clip.frames[static_cast<size_t>(++n % 2)], *current);
    state.ResumeTiming();
    engine.CreateDepthMapFast(current->Bits(), nullptr, error, 1, map.Data(), width, height, motion, 1);
    benchmark::DoNotOptimize(motion);
  }
}

struct GraphFree {
  void operator()(AVFilterGraph* g) const { avfilter_graph_free(&g); }
};
struct FrameFree {
  void operator()(AVFrame* f) const { av_frame_free(&f); }
};

// mestimate on the frames' luma (its search works on the first plane), one thread.
void MotionEstimateFilter(benchmark::State& state, int32_t width, int32_t height) {
  const Clip& clip = ClipOf(width, height);
  std::unique_ptr<AVFilterGraph, GraphFree> graph(avfilter_graph_alloc());
  graph->nb_threads = 1;
  AVFilterContext *source = nullptr, *estimate = nullptr, *sink = nullptr;
  char sourceArgs[128];
  std::snprintf(sourceArgs, sizeof sourceArgs,
                "video_size=%dx%d:pix_fmt=%d:time_base=1/25:pixel_aspect=1/1", width, height,
                static_cast<int>(AV_PIX_FMT_GRAY8));
  if (avfilter_graph_create_filter(&source, avfilter_get_by_name("buffer"), "in", sourceArgs, nullptr,
                                   graph.get()) < 0 ||
      avfilter_graph_create_filter(&estimate, avfilter_get_by_name("mestimate"), "mestimate",
                                   "method=ds:mb_size=8", nullptr, graph.get()) < 0 ||
      avfilter_graph_create_filter(&sink, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr,
                                   graph.get()) < 0 ||
      avfilter_link(source, 0, estimate, 0) < 0 || avfilter_link(estimate, 0, sink, 0) < 0 ||
      avfilter_graph_config(graph.get(), nullptr) < 0) {
    state.SkipWithError("the mestimate filter graph could not be set up");
    return;
  }
  std::array<std::unique_ptr<AVFrame, FrameFree>, 2> inputs;
  for (size_t k = 0; k < 2; ++k) {
    inputs[k].reset(av_frame_alloc());
    AVFrame* f = inputs[k].get();
    f->format = AV_PIX_FMT_GRAY8;
    f->width = width;
    f->height = height;
    av_frame_get_buffer(f, 0);
    const PixelGrid grid = clip.frames[k]->ReadGrid();
    for (int32_t y = 0; y < height; ++y) {
      const uint8_t* row = grid.DeviceRow(y);
      uint8_t* out = f->data[0] + static_cast<ptrdiff_t>(y) * f->linesize[0];
      for (int32_t x = 0; x < width; ++x) out[x] = static_cast<uint8_t>((row[3 * x] + 2 * row[3 * x + 1] + row[3 * x + 2]) / 4);
    }
  }
  std::unique_ptr<AVFrame, FrameFree> output(av_frame_alloc());
  int64_t pts = 0;
  // The filter hands a frame on once it has the next one.
  for (int k = 0; k < 2; ++k) {
    inputs[static_cast<size_t>(pts % 2)]->pts = pts;
    if (av_buffersrc_add_frame_flags(source, inputs[static_cast<size_t>(pts % 2)].get(),
                                     AV_BUFFERSRC_FLAG_KEEP_REF) < 0) {
      state.SkipWithError("the mestimate filter refused a frame");
      return;
    }
    ++pts;
  }
  for (auto _ : state) {
    AVFrame* input = inputs[static_cast<size_t>(pts % 2)].get();
    input->pts = pts++;
    if (av_buffersrc_add_frame_flags(source, input, AV_BUFFERSRC_FLAG_KEEP_REF) < 0 ||
        av_buffersink_get_frame(sink, output.get()) < 0) {
      state.SkipWithError("the mestimate filter failed");
      break;
    }
    benchmark::DoNotOptimize(output->data[0]);
    av_frame_unref(output.get());
  }
}

// The image processor's routines on the same job, one thread.
void ClassPath(benchmark::State& state, int32_t width, int32_t height) {
  const Clip& clip = ClipOf(width, height);
  ImageProcessor process;
  DepthMap map;
  process.CopyToDepthMap(*clip.frames[0], map);
  std::fill(map.Data(), map.Data() + map.Cols() * map.Rows(), uint8_t{0});
  Array2D<uint8_t> previous;
  const float shiftPerLevel = static_cast<float>(30 / 255.0 * static_cast<float>(width / 640.0));
  const auto frameShift = static_cast<int16_t>(RoundHalfEven(15 * static_cast<float>(width / 640.0)));
  int64_t n = 0;
  for (auto _ : state) {
    const Picture& before = *clip.frames[static_cast<size_t>(n % 2)];
    const Picture& frame = *clip.frames[static_cast<size_t>(++n % 2)];
    process.CopyToSpecifiedArray(before, previous);
    auto view = frame.CopyOf();
    double error = 0;
    process.CreateDepthMap(*view, previous, error, 1, map);
    process.SmoothDMAP(*view, 8);
    process.CopyToDepthMap(*view, map);
    process.Dilate(*view);
    process.Dilate(*view);
    process.CopyToArray(*view);
    process.Arrays().DepthPixels = process.Arrays().SharedPixels;
    process.CopyToArray(frame);
    view->Create(width, height);
    process.Make3D(*view, shiftPerLevel, 0.0, frameShift, 1);
    benchmark::DoNotOptimize(view->ReadGrid().bits);
  }
}

void BM_Convert_1080p(benchmark::State& s) { DefaultPath(s, 1920, 1080, 2); }
void BM_Convert_1080p_OneCore(benchmark::State& s) { DefaultPath(s, 1920, 1080, 1); }
void BM_Convert_720p(benchmark::State& s) { DefaultPath(s, 1280, 720, 2); }
void BM_Convert_720p_OneCore(benchmark::State& s) { DefaultPath(s, 1280, 720, 1); }
// As the player runs it: the engine chooses between both cores and one by the frame times.
void BM_Convert_1080p_Chosen(benchmark::State& s) { DefaultPath(s, 1920, 1080, 0); }
void BM_FastTracker_1080p(benchmark::State& s) { FastTracker(s, 1920, 1080); }
void BM_FastTracker_720p(benchmark::State& s) { FastTracker(s, 1280, 720); }
void BM_Mestimate_1080p(benchmark::State& s) { MotionEstimateFilter(s, 1920, 1080); }
void BM_Mestimate_720p(benchmark::State& s) { MotionEstimateFilter(s, 1280, 720); }
void BM_ClassRoutines_1080p(benchmark::State& s) { ClassPath(s, 1920, 1080); }
void BM_ClassRoutines_720p(benchmark::State& s) { ClassPath(s, 1280, 720); }

#define QV_DEPTH_BENCH(name) \
  BENCHMARK(name)->Unit(benchmark::kMillisecond)->MinTime(2.0)->Repetitions(5)->ReportAggregatesOnly(true)
QV_DEPTH_BENCH(BM_Convert_1080p)->UseManualTime();
QV_DEPTH_BENCH(BM_Convert_1080p_OneCore)->UseManualTime();
QV_DEPTH_BENCH(BM_Convert_720p)->UseManualTime();
QV_DEPTH_BENCH(BM_Convert_720p_OneCore)->UseManualTime();
QV_DEPTH_BENCH(BM_Convert_1080p_Chosen)->UseManualTime();
QV_DEPTH_BENCH(BM_FastTracker_1080p);
QV_DEPTH_BENCH(BM_Mestimate_1080p);
QV_DEPTH_BENCH(BM_FastTracker_720p);
QV_DEPTH_BENCH(BM_Mestimate_720p);
BENCHMARK(BM_ClassRoutines_1080p)->Unit(benchmark::kMillisecond)->Iterations(2)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_ClassRoutines_720p)->Unit(benchmark::kMillisecond)->Iterations(2)->Repetitions(3)->ReportAggregatesOnly(true);

// Playback at 60 frames a second (1080p) and at 120 (720p) leaves 16 and 8 ms for the conversion.
DeclareCounterLimit convert1080("BM_Convert_1080p", "ms_per_frame", 16.0, "(ms a frame, both cores)");
DeclareCounterLimit convert720("BM_Convert_720p", "ms_per_frame", 8.0, "(ms a frame, both cores)");
DeclareRatio fastTracker1080("BM_FastTracker_1080p", "BM_Mestimate_1080p", 0.25);
DeclareRatio fastTracker720("BM_FastTracker_720p", "BM_Mestimate_720p", 0.25);
// For comparison, no target: the default path against the class routines, and one core against all.
DeclareRatio convert1080VsClass("BM_Convert_1080p", "BM_ClassRoutines_1080p", 1.0, "(comparison)");
DeclareRatio convert720VsClass("BM_Convert_720p", "BM_ClassRoutines_720p", 1.0, "(comparison)");
DeclareRatio oneCore1080("BM_Convert_1080p", "BM_Convert_1080p_OneCore", 1.0, "(both cores / one)");
DeclareRatio oneCore720("BM_Convert_720p", "BM_Convert_720p_OneCore", 1.0, "(both cores / one)");

}  // namespace
}  // namespace qv::bench
