// The stereo composers at 1920 x 1080 per eye, decoding included (a side-by-side 3840 x 1080
// frame through LoadJPS, then the composer), against FFmpeg's stereo3d filter turning the same
// side-by-side frame into the same kind of output, run through libavfilter in this process on one
// thread (buffer -> stereo3d -> buffersink, bgr24, the byte order of our pictures).
//
// What the filter does for each pairing:
//   arcc, arcg, aybc  one anaglyph pass over the frame into a new frame (its own vector code)
//   irl               the two views' rows copied to alternate rows of a 1920 x 2160 frame
//   sbsl              nothing: the input already is sbsl, so the filter hands the frame on
//   sbsr -> sbsl      the two halves copied into a new frame, swapped (the nearest real work)
#include <benchmark/benchmark.h>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
}

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "Ratios.h"
#include "base/Seams.h"
#include "stereo/Decoders.h"
#include "stereo/Composers.h"
#include "stereo/FrameBuffers.h"

namespace qv::bench {
namespace {

constexpr int kEyeWidth = 1920;
constexpr int kHeight = 1080;

// One side-by-side frame, the same pixels for both sides of every comparison.
PictureRef SideBySideFrame() {
  static const PictureRef frame = [] {
    auto picture = std::make_shared<Picture>();
    picture->Create(2 * kEyeWidth, kHeight);
    picture->RandomiseBits(false);
    const PixelGrid grid = picture->Grid();
    for (int32_t y = 0; y < grid.height; ++y) {  // give blue some values too
      uint8_t* row = grid.MemoryRow(y);
      for (int32_t x = 0; x < grid.width; ++x)
        row[3 * x] = static_cast<uint8_t>(row[3 * x + 1] ^ row[3 * x + 2]);
    }
    return picture;
  }();
  return frame;
}

// Messages would mean a broken benchmark; they go nowhere instead of to the terminal.
class Silence : public MessageSink {
 public:
  void ShowMessage(const std::string& text, int, const std::string&) override { last = text; }
  std::optional<std::string> InputBox(const std::string&, const std::string&,
                                      const std::string& d) override {
    return d;
  }
  std::string last;
};

void ComposerBenchmark(benchmark::State& state, void (*compose)(FrameBuffers& frames)) {
  Silence silence;
  SetMessageSink(&silence);
  FrameBuffers frames;
  frames.SourceFrame = SideBySideFrame();
  for (auto _ : state) {
    LoadJPS(frames);
    compose(frames);
    benchmark::DoNotOptimize(frames.OutputFrame->ReadGrid().bits);
  }
  if (!silence.last.empty()) state.SkipWithError(silence.last.c_str());
  SetMessageSink(nullptr);
}

struct GraphFree {
  void operator()(AVFilterGraph* g) const { avfilter_graph_free(&g); }
};
struct FrameFree {
  void operator()(AVFrame* f) const { av_frame_free(&f); }
};

void FilterBenchmark(benchmark::State& state, const char* inLayout, const char* outLayout) {
  std::unique_ptr<AVFilterGraph, GraphFree> graph(avfilter_graph_alloc());
  graph->nb_threads = 1;
  AVFilterContext *source = nullptr, *stereo = nullptr, *sink = nullptr;
  char sourceArgs[128];
  std::snprintf(sourceArgs, sizeof sourceArgs,
                "video_size=%dx%d:pix_fmt=%d:time_base=1/25:pixel_aspect=1/1", 2 * kEyeWidth,
                kHeight, static_cast<int>(AV_PIX_FMT_BGR24));
  const std::string stereoArgs = std::string("in=") + inLayout + ":out=" + outLayout;
  if (avfilter_graph_create_filter(&source, avfilter_get_by_name("buffer"), "in", sourceArgs,
                                   nullptr, graph.get()) < 0 ||
      avfilter_graph_create_filter(&stereo, avfilter_get_by_name("stereo3d"), "stereo3d",
                                   stereoArgs.c_str(), nullptr, graph.get()) < 0 ||
      avfilter_graph_create_filter(&sink, avfilter_get_by_name("buffersink"), "out", nullptr,
                                   nullptr, graph.get()) < 0 ||
      avfilter_link(source, 0, stereo, 0) < 0 || avfilter_link(stereo, 0, sink, 0) < 0 ||
      avfilter_graph_config(graph.get(), nullptr) < 0) {
    state.SkipWithError("the stereo3d filter graph could not be set up");
    return;
  }
  // The frame as FFmpeg holds it: top row first.
  std::unique_ptr<AVFrame, FrameFree> input(av_frame_alloc());
  input->format = AV_PIX_FMT_BGR24;
  input->width = 2 * kEyeWidth;
  input->height = kHeight;
  av_frame_get_buffer(input.get(), 0);
  const PixelGrid grid = SideBySideFrame()->Grid();
  for (int32_t y = 0; y < kHeight; ++y) {
    std::memcpy(input->data[0] + static_cast<ptrdiff_t>(y) * input->linesize[0], grid.DeviceRow(y),
                static_cast<size_t>(3 * grid.width));
  }
  std::unique_ptr<AVFrame, FrameFree> output(av_frame_alloc());
  int64_t pts = 0;
  for (auto _ : state) {
    input->pts = pts++;
    if (av_buffersrc_add_frame_flags(source, input.get(), AV_BUFFERSRC_FLAG_KEEP_REF) < 0 ||
        av_buffersink_get_frame(sink, output.get()) < 0) {
      state.SkipWithError("the stereo3d filter failed");
      break;
    }
    benchmark::DoNotOptimize(output->data[0]);
    av_frame_unref(output.get());
  }
}

void BM_Stereo_AnaColour(benchmark::State& s) {
  ComposerBenchmark(s, SaveAnaColour);
}
void BM_Stereo_AnaGray(benchmark::State& s) {
  ComposerBenchmark(s, SaveAnaGray);
}
void BM_Stereo_AnaYellow(benchmark::State& s) {
  ComposerBenchmark(s, SaveAnaYellow);
}
void BM_Stereo_InterlaceWindowed(benchmark::State& s) {
  ComposerBenchmark(s, [](FrameBuffers& f) { SaveInterlace(f, DisplayConfig{}, false); });
}
void BM_Stereo_SideBySide(benchmark::State& s) {
  ComposerBenchmark(s, SaveSideBySide);
}
// For comparison: the anaglyph as its sequence of steps, and the decoder alone.
void BM_Stereo_AnaColourStepByStep(benchmark::State& s) {
  ComposerBenchmark(s, [](FrameBuffers& f) { SaveAnaglyphStepByStep(f, AnaglyphKind::Colour); });
}
void BM_Stereo_LoadJPSOnly(benchmark::State& s) {
  ComposerBenchmark(s, [](FrameBuffers& f) { f.OutputFrame = f.StereoViews[0]; });
}

void BM_Stereo3d_arcc(benchmark::State& s) {
  FilterBenchmark(s, "sbsl", "arcc");
}
void BM_Stereo3d_arcg(benchmark::State& s) {
  FilterBenchmark(s, "sbsl", "arcg");
}
void BM_Stereo3d_aybc(benchmark::State& s) {
  FilterBenchmark(s, "sbsl", "aybc");
}
void BM_Stereo3d_irl(benchmark::State& s) {
  FilterBenchmark(s, "sbsl", "irl");
}
void BM_Stereo3d_sbsl(benchmark::State& s) {
  FilterBenchmark(s, "sbsl", "sbsl");
}
void BM_Stereo3d_sbsr_to_sbsl(benchmark::State& s) {
  FilterBenchmark(s, "sbsr", "sbsl");
}

#define QV_STEREO_BENCH(name) \
  BENCHMARK(name)->Unit(benchmark::kMillisecond)->Repetitions(7)->ReportAggregatesOnly(true)
QV_STEREO_BENCH(BM_Stereo_AnaColour);
QV_STEREO_BENCH(BM_Stereo_AnaGray);
QV_STEREO_BENCH(BM_Stereo_AnaYellow);
QV_STEREO_BENCH(BM_Stereo_InterlaceWindowed);
QV_STEREO_BENCH(BM_Stereo_SideBySide);
QV_STEREO_BENCH(BM_Stereo_AnaColourStepByStep);
QV_STEREO_BENCH(BM_Stereo_LoadJPSOnly);
QV_STEREO_BENCH(BM_Stereo3d_arcc);
QV_STEREO_BENCH(BM_Stereo3d_arcg);
QV_STEREO_BENCH(BM_Stereo3d_aybc);
QV_STEREO_BENCH(BM_Stereo3d_irl);
QV_STEREO_BENCH(BM_Stereo3d_sbsl);
QV_STEREO_BENCH(BM_Stereo3d_sbsr_to_sbsl);

// LoadJPS cuts its views as views of the frame's memory, so the composers read the frame in place;
// the sbsl filter hands its frame on untouched, and so does SaveSideBySide when the two views are
// the halves of one frame.
DeclareRatio anaColourTarget("BM_Stereo_AnaColour", "BM_Stereo3d_arcc", 0.5);
DeclareRatio anaGrayTarget("BM_Stereo_AnaGray", "BM_Stereo3d_arcg", 0.5);
DeclareRatio anaYellowTarget("BM_Stereo_AnaYellow", "BM_Stereo3d_aybc", 0.5);
DeclareRatio interlaceTarget("BM_Stereo_InterlaceWindowed", "BM_Stereo3d_irl", 0.5);
DeclareRatio sideBySideTarget("BM_Stereo_SideBySide", "BM_Stereo3d_sbsl", 0.5);

}  // namespace
}  // namespace qv::bench
