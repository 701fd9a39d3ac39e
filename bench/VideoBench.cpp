// The video reader at 1920 x 1080 H.264:
//   - fetching every frame in order against a plain libavcodec decode with a swscale conversion
//     to BGR24 of the same clip (the least any reader must do);
//   - DetectVideo on a one-minute and a ten-minute file: it seeks to its three sample frames, so
//     the longer file takes about as long, and both well under a second.
// The clips are made once with the ffmpeg command and kept beside this program (media/).
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Ratios.h"
#include "image/Picture.h"
#include "video/LayoutDetection.h"
#include "video/VideoReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace qv::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kSequentialFrames = 120;

fs::path MediaFolder() {
  return fs::read_symlink("/proc/self/exe").parent_path() / "media";
}

bool Make(const fs::path& file, const std::string& ffmpegArguments) {
  if (fs::exists(file)) return true;
  const fs::path partial = file.string() + ".part.mp4";
  const std::string command = "ffmpeg -nostdin -hide_banner -loglevel error -y " + ffmpegArguments +
                              " '" + partial.string() + "'";
  std::fprintf(stderr, "making %s\n", file.c_str());
  if (std::system(command.c_str()) != 0) return false;
  fs::rename(partial, file);
  return true;
}

// The clips: a 1080p H.264 clip with B-frames for sequential decoding, and one- and ten-minute
// files with a key frame every second, the longer made by repeating the shorter without
// re-encoding.
bool MakeMedia() {
  static const bool made = [] {
    const fs::path m = MediaFolder();
    fs::create_directories(m);
    const std::string scene = "-f lavfi -i testsrc2=size=1920x1080:rate=25:duration=";
    return Make(m / "sequential.mp4",
                scene + "4.8 -c:v libx264 -preset veryfast -pix_fmt yuv420p") &&
           Make(m / "ten_seconds.mp4",
                scene + "10 -c:v libx264 -preset veryfast -g 25 -pix_fmt yuv420p") &&
           Make(m / "one_minute.mp4",
                "-stream_loop 5 -i '" + (m / "ten_seconds.mp4").string() + "' -c copy") &&
           Make(m / "ten_minutes.mp4",
                "-stream_loop 9 -i '" + (m / "one_minute.mp4").string() + "' -c copy");
  }();
  return made;
}

// What any reader has to do: demux, decode (as many threads as the reader uses) and convert to
// BGR24 with swscale's defaults, into one buffer.
void BM_Decode_PlainFFmpeg_1080(benchmark::State& state) {
  if (!MakeMedia()) return state.SkipWithError("the ffmpeg command could not make the clips");
  const std::string file = (MediaFolder() / "sequential.mp4").string();
  for (auto _ : state) {
    AVFormatContext* format = nullptr;
    avformat_open_input(&format, file.c_str(), nullptr, nullptr);
    avformat_find_stream_info(format, nullptr);
    const int stream = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const AVCodecParameters* par = format->streams[stream]->codecpar;
    AVCodecContext* codec = avcodec_alloc_context3(avcodec_find_decoder(par->codec_id));
    avcodec_parameters_to_context(codec, par);
    codec->thread_count = 0;
    avcodec_open2(codec, codec->codec, nullptr);
    SwsContext* sws = nullptr;
    std::vector<uint8_t> bgr(static_cast<size_t>(par->width) * par->height * 3);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    int frames = 0;
    auto drain = [&] {
      while (avcodec_receive_frame(codec, frame) == 0) {
        sws = sws_getCachedContext(
            sws, frame->width, frame->height, static_cast<AVPixelFormat>(frame->format),
            frame->width, frame->height, AV_PIX_FMT_BGR24, SWS_BILINEAR, nullptr, nullptr, nullptr);
        uint8_t* dst[4] = {bgr.data()};
        const int dstStride[4] = {3 * frame->width};
        sws_scale(sws, frame->data, frame->linesize, 0, frame->height, dst, dstStride);
        ++frames;
      }
    };
    while (av_read_frame(format, packet) >= 0) {
      if (packet->stream_index == stream) avcodec_send_packet(codec, packet);
      av_packet_unref(packet);
      drain();
    }
    avcodec_send_packet(codec, nullptr);
    drain();
    benchmark::DoNotOptimize(bgr.data());
    if (frames != kSequentialFrames) state.SkipWithError("unexpected frame count");
    av_frame_free(&frame);
    av_packet_free(&packet);
    sws_freeContext(sws);
    avcodec_free_context(&codec);
    avformat_close_input(&format);
  }
  state.SetItemsProcessed(state.iterations() * kSequentialFrames);
}

// The reader: open, every frame fetched in order into a picture, close.
void BM_FetchFrame_Sequential_1080(benchmark::State& state) {
  if (!MakeMedia()) return state.SkipWithError("the ffmpeg command could not make the clips");
  const std::string file = (MediaFolder() / "sequential.mp4").string();
  for (auto _ : state) {
    VideoReaderState video;
    if (!OpenVideo(file, video)) return state.SkipWithError("OpenVideo failed");
    Picture frame;
    frame.Create(video.FrameFormat.biWidth, video.FrameFormat.biHeight);
    int frames = 0;
    for (int32_t n = video.StreamStart; n < video.StreamStart + video.StreamLength; ++n) {
      frames += FetchFrame(video, n, frame);
    }
    benchmark::DoNotOptimize(frame.Bits());
    CloseVideo(video);
    if (frames != kSequentialFrames) state.SkipWithError("unexpected frame count");
  }
  state.SetItemsProcessed(state.iterations() * kSequentialFrames);
}

void Detect(benchmark::State& state, const char* name, int32_t expectedFrames) {
  if (!MakeMedia()) return state.SkipWithError("the ffmpeg command could not make the clips");
  const std::string file = (MediaFolder() / name).string();
  for (auto _ : state) {
    if (DetectVideo(file).frames != expectedFrames)
      return state.SkipWithError("DetectVideo failed");
  }
}
void BM_DetectVideo_1080_OneMinute(benchmark::State& state) {
  Detect(state, "one_minute.mp4", 1500);
}
void BM_DetectVideo_1080_TenMinutes(benchmark::State& state) {
  Detect(state, "ten_minutes.mp4", 15000);
}

// The one-second limit, as a benchmark to compare with.
void BM_OneSecond(benchmark::State& state) {
  for (auto _ : state) std::this_thread::sleep_for(std::chrono::seconds(1));
}

BENCHMARK(BM_Decode_PlainFFmpeg_1080)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_FetchFrame_Sequential_1080)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_DetectVideo_1080_OneMinute)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_DetectVideo_1080_TenMinutes)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_OneSecond)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(2)
    ->ReportAggregatesOnly(true);

// Sequential fetching at no less than 0.9 times the plain decode's frame rate.
DeclareRatio sequentialTarget("BM_FetchFrame_Sequential_1080", "BM_Decode_PlainFFmpeg_1080",
                              1.0 / 0.9, "(frame rate >= 0.9 x)");
DeclareRatio detectLengthTarget("BM_DetectVideo_1080_TenMinutes", "BM_DetectVideo_1080_OneMinute",
                                1.5, "(seeks, never decodes from the start)");
DeclareRatio detectSecondTarget("BM_DetectVideo_1080_TenMinutes", "BM_OneSecond", 1.0,
                                "(under 1 s)");
DeclareRatio detectSecondShortTarget("BM_DetectVideo_1080_OneMinute", "BM_OneSecond", 1.0,
                                     "(under 1 s)");

}  // namespace
}  // namespace qv::bench
