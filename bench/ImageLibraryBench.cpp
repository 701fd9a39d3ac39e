// The image library's filters and tone operations on a 1920 x 1080 picture, one thread, against
// the nearest FFmpeg filter run through libavfilter in this process (nb_threads = 1):
//   ProcessImage 3 x 3 and 5 x 5 box   convolution, the same all-ones kernel on gbrp (3 planes)
//   MedianFilter 3                     median radius=1 on gbrp
//   EdgeDetect                         edgedetect mode=colormix on gbrp
//   Brightness, Contrast, GammaCorrect eq on a grey picture of the same byte count (5760 x 1080),
//                                      so that every byte passes through the curve, as ours do
//   AddNoise                           noise (uniform, temporal) on gbrp
// Each filter's output frame is fed back as its next input, so that filters which work in place
// may. The depth search over a whole 1280 x 720 pair is timed on its own, on all cores and on one.
#include <benchmark/benchmark.h>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
}

#include <omp.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "Ratios.h"
#include "imageproc/ImageProcessor.h"

namespace qv::bench {
namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

PictureRef RandomPicture(int width, int height) {
  auto picture = std::make_shared<Picture>();
  picture->Create(width, height);
  picture->RandomiseBits(false);
  const PixelGrid grid = picture->Grid();
  for (int32_t y = 0; y < grid.height; ++y) {  // give blue some values too
    uint8_t* row = grid.MemoryRow(y);
    for (int32_t x = 0; x < grid.width; ++x) row[3 * x] = static_cast<uint8_t>(row[3 * x + 1] ^ row[3 * x + 2]);
  }
  return picture;
}

template <typename Operation>
void LibraryBenchmark(benchmark::State& state, Operation operation) {
  ImageProcessor processor;
  const PictureRef picture = RandomPicture(kWidth, kHeight);
  for (auto _ : state) {
    operation(processor, *picture);
    benchmark::DoNotOptimize(picture->Bits());
  }
}

void ProcessImageBenchmark(benchmark::State& state, int32_t type) {
  PictureRef buffer = RandomPicture(kWidth, kHeight);
  LibraryBenchmark(state, [&](ImageProcessor& p, Picture& picture) {
    p.Filtertype(type);
    p.ProcessImage(picture, *buffer);
  });
}

struct GraphFree {
  void operator()(AVFilterGraph* g) const { avfilter_graph_free(&g); }
};
struct FrameFree {
  void operator()(AVFrame* f) const { av_frame_free(&f); }
};

void FilterBenchmark(benchmark::State& state, AVPixelFormat format, int width, int height, const char* filter,
                     const char* arguments) {
  std::unique_ptr<AVFilterGraph, GraphFree> graph(avfilter_graph_alloc());
  graph->nb_threads = 1;
  AVFilterContext *source = nullptr, *work = nullptr, *sink = nullptr;
  char sourceArgs[128];
  std::snprintf(sourceArgs, sizeof sourceArgs, "video_size=%dx%d:pix_fmt=%d:time_base=1/25:pixel_aspect=1/1",
                width, height, static_cast<int>(format));
  if (avfilter_graph_create_filter(&source, avfilter_get_by_name("buffer"), "in", sourceArgs, nullptr,
                                   graph.get()) < 0 ||
      avfilter_graph_create_filter(&work, avfilter_get_by_name(filter), filter, arguments, nullptr, graph.get()) < 0 ||
      avfilter_graph_create_filter(&sink, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr,
                                   graph.get()) < 0 ||
      avfilter_link(source, 0, work, 0) < 0 || avfilter_link(work, 0, sink, 0) < 0 ||
      avfilter_graph_config(graph.get(), nullptr) < 0) {
    state.SkipWithError((std::string("the ") + filter + " filter graph could not be set up").c_str());
    return;
  }
  std::unique_ptr<AVFrame, FrameFree> frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  av_frame_get_buffer(frame.get(), 0);
  // The same random bytes as our pictures, plane by plane.
  const PictureRef picture = RandomPicture(kWidth, kHeight);
  const uint8_t* bytes = picture->Bits();
  size_t k = 0;
  const size_t total = static_cast<size_t>(picture->BytesPerScanLine()) * kHeight;
  for (int plane = 0; plane < 4 && frame->data[plane] != nullptr; ++plane) {
    for (int y = 0; y < height; ++y) {
      uint8_t* row = frame->data[plane] + static_cast<ptrdiff_t>(y) * frame->linesize[plane];
      for (int x = 0; x < width; ++x) row[x] = bytes[k++ % total];
    }
  }
  int64_t pts = 0;
  for (auto _ : state) {
    frame->pts = pts++;
    if (av_buffersrc_add_frame_flags(source, frame.get(), 0) < 0 || av_buffersink_get_frame(sink, frame.get()) < 0) {
      state.SkipWithError((std::string("the ") + filter + " filter failed").c_str());
      break;
    }
    benchmark::DoNotOptimize(frame->data[0]);
  }
}

void BM_Library_ProcessImageBox3(benchmark::State& s) { ProcessImageBenchmark(s, 1); }
void BM_Library_ProcessImageBox5(benchmark::State& s) { ProcessImageBenchmark(s, 2); }
void BM_Library_MedianFilter3(benchmark::State& s) {
  LibraryBenchmark(s, [](ImageProcessor& p, Picture& picture) { p.MedianFilter(picture, 3); });
}
void BM_Library_EdgeDetect(benchmark::State& s) {
  LibraryBenchmark(s, [](ImageProcessor& p, Picture& picture) { p.EdgeDetect(picture); });
}
void BM_Library_Brightness(benchmark::State& s) {
  LibraryBenchmark(s, [](ImageProcessor& p, Picture& picture) { p.Brightness(picture, 110); });
}
void BM_Library_Contrast(benchmark::State& s) {
  LibraryBenchmark(s, [](ImageProcessor& p, Picture& picture) { p.Contrast(picture, 150); });
}
void BM_Library_GammaCorrect(benchmark::State& s) {
  LibraryBenchmark(s, [](ImageProcessor& p, Picture& picture) { p.GammaCorrect(picture, 150, 150, 150); });
}
void BM_Library_AddNoise(benchmark::State& s) {
  LibraryBenchmark(s, [](ImageProcessor& p, Picture& picture) { p.AddNoise(picture, 20); });
}

void BM_Ffmpeg_ConvolutionBox3(benchmark::State& s) {
  FilterBenchmark(s, AV_PIX_FMT_GBRP, kWidth, kHeight, "convolution",
                  "0m=1 1 1 1 1 1 1 1 1:1m=1 1 1 1 1 1 1 1 1:2m=1 1 1 1 1 1 1 1 1:"
                  "0rdiv=1/9:1rdiv=1/9:2rdiv=1/9");
}
void BM_Ffmpeg_ConvolutionBox5(benchmark::State& s) {
  const std::string ones = "1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1";
  FilterBenchmark(s, AV_PIX_FMT_GBRP, kWidth, kHeight, "convolution",
                  ("0m=" + ones + ":1m=" + ones + ":2m=" + ones + ":0rdiv=1/25:1rdiv=1/25:2rdiv=1/25").c_str());
}
void BM_Ffmpeg_Median(benchmark::State& s) {
  FilterBenchmark(s, AV_PIX_FMT_GBRP, kWidth, kHeight, "median", "radius=1");
}
void BM_Ffmpeg_Edgedetect(benchmark::State& s) {
  FilterBenchmark(s, AV_PIX_FMT_GBRP, kWidth, kHeight, "edgedetect", "mode=colormix");
}
void BM_Ffmpeg_EqBrightness(benchmark::State& s) {
  FilterBenchmark(s, AV_PIX_FMT_GRAY8, 3 * kWidth, kHeight, "eq", "brightness=0.1");
}
void BM_Ffmpeg_EqContrast(benchmark::State& s) {
  FilterBenchmark(s, AV_PIX_FMT_GRAY8, 3 * kWidth, kHeight, "eq", "contrast=1.5");
}
void BM_Ffmpeg_EqGamma(benchmark::State& s) {
  FilterBenchmark(s, AV_PIX_FMT_GRAY8, 3 * kWidth, kHeight, "eq", "gamma=1.5");
}
void BM_Ffmpeg_Noise(benchmark::State& s) {
  FilterBenchmark(s, AV_PIX_FMT_GBRP, kWidth, kHeight, "noise", "alls=20:allf=t+u");
}

// The stereo depth search: every 16 x 16 block of the left view against the whole width.
void StereoDepth(benchmark::State& state, int threads) {
  const int previous = omp_get_max_threads();
  omp_set_num_threads(threads > 0 ? threads : previous);
  ImageProcessor processor;
  const PictureRef left = RandomPicture(1280, 720);
  const PictureRef right = RandomPicture(1280, 720);
  for (auto _ : state) {
    state.PauseTiming();
    PictureRef depth = left->CopyOf();
    processor.CopyToArray(*right);
    state.ResumeTiming();
    processor.CreateDepthMapFromStereo(*depth);
    benchmark::DoNotOptimize(depth->Bits());
  }
  state.counters["threads"] = threads > 0 ? threads : previous;
  omp_set_num_threads(previous);
}
void BM_Library_DepthFromStereo720(benchmark::State& s) { StereoDepth(s, 0); }
void BM_Library_DepthFromStereo720OneThread(benchmark::State& s) { StereoDepth(s, 1); }

#define QV_LIBRARY_BENCH(name) \
  BENCHMARK(name)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true)
QV_LIBRARY_BENCH(BM_Library_ProcessImageBox3);
QV_LIBRARY_BENCH(BM_Ffmpeg_ConvolutionBox3);
QV_LIBRARY_BENCH(BM_Library_ProcessImageBox5);
QV_LIBRARY_BENCH(BM_Ffmpeg_ConvolutionBox5);
QV_LIBRARY_BENCH(BM_Library_MedianFilter3);
QV_LIBRARY_BENCH(BM_Ffmpeg_Median);
QV_LIBRARY_BENCH(BM_Library_EdgeDetect);
QV_LIBRARY_BENCH(BM_Ffmpeg_Edgedetect);
QV_LIBRARY_BENCH(BM_Library_Brightness);
QV_LIBRARY_BENCH(BM_Ffmpeg_EqBrightness);
QV_LIBRARY_BENCH(BM_Library_Contrast);
QV_LIBRARY_BENCH(BM_Ffmpeg_EqContrast);
QV_LIBRARY_BENCH(BM_Library_GammaCorrect);
QV_LIBRARY_BENCH(BM_Ffmpeg_EqGamma);
QV_LIBRARY_BENCH(BM_Library_AddNoise);
QV_LIBRARY_BENCH(BM_Ffmpeg_Noise);
BENCHMARK(BM_Library_DepthFromStereo720)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
BENCHMARK(BM_Library_DepthFromStereo720OneThread)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

DeclareRatio box3Target("BM_Library_ProcessImageBox3", "BM_Ffmpeg_ConvolutionBox3", 1.0);
DeclareRatio box5Target("BM_Library_ProcessImageBox5", "BM_Ffmpeg_ConvolutionBox5", 1.0);
DeclareRatio medianTarget("BM_Library_MedianFilter3", "BM_Ffmpeg_Median", 1.0);
DeclareRatio edgeTarget("BM_Library_EdgeDetect", "BM_Ffmpeg_Edgedetect", 1.0);
DeclareRatio brightnessTarget("BM_Library_Brightness", "BM_Ffmpeg_EqBrightness", 1.0);
DeclareRatio contrastTarget("BM_Library_Contrast", "BM_Ffmpeg_EqContrast", 1.0);
DeclareRatio gammaTarget("BM_Library_GammaCorrect", "BM_Ffmpeg_EqGamma", 1.0);
DeclareRatio noiseTarget("BM_Library_AddNoise", "BM_Ffmpeg_Noise", 1.0);
DeclareRatio stereoThreads("BM_Library_DepthFromStereo720", "BM_Library_DepthFromStereo720OneThread", 0.75,
                           "the search on all cores against one");

}  // namespace
}  // namespace qv::bench
