#pragma once
// Owners of FFmpeg's objects: each alias is a std::unique_ptr whose deleter is the library's own
// free function, so that every way out of a function, early returns and exceptions included,
// frees what it made. Header-only: the rooms that use FFmpeg link the quorvex_ffmpeg target,
// which brings the libraries; the base library itself links nothing.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavformat/avio.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <memory>

namespace qv {

namespace ffmpeg_free {

// A file being read: closes the input and frees the context.
struct InputFormat {
  void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
// A file being written: closes the file the context opened itself (containers that do their own
// file handling leave pb alone) and frees the context. Closing this way reports no error; a writer
// that must know closes pb itself first.
struct OutputFormat {
  void operator()(AVFormatContext* format) const {
    if (!(format->oformat->flags & AVFMT_NOFILE)) avio_closep(&format->pb);
    avformat_free_context(format);
  }
};
struct CodecContext {
  void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct Frame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct Packet {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct Scaler {
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
struct Resampler {
  void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};
struct FilterGraph {
  void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};
// An I/O context made by avio_alloc_context over the caller's own reading functions; FFmpeg may
// have replaced its buffer by a larger one, which is freed with it.
struct CustomIo {
  void operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
  }
};
struct AudioFifo {
  void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};
struct BufferPool {
  void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
};
// Memory from av_malloc and its relatives (av_samples_alloc's single block among them).
struct Memory {
  void operator()(void* memory) const { av_free(memory); }
};

}  // namespace ffmpeg_free

using InputFormatPtr = std::unique_ptr<AVFormatContext, ffmpeg_free::InputFormat>;
using OutputFormatPtr = std::unique_ptr<AVFormatContext, ffmpeg_free::OutputFormat>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, ffmpeg_free::CodecContext>;
using FramePtr = std::unique_ptr<AVFrame, ffmpeg_free::Frame>;
using PacketPtr = std::unique_ptr<AVPacket, ffmpeg_free::Packet>;
using ScalerPtr = std::unique_ptr<SwsContext, ffmpeg_free::Scaler>;
using ResamplerPtr = std::unique_ptr<SwrContext, ffmpeg_free::Resampler>;
using FilterGraphPtr = std::unique_ptr<AVFilterGraph, ffmpeg_free::FilterGraph>;
using CustomIoPtr = std::unique_ptr<AVIOContext, ffmpeg_free::CustomIo>;
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, ffmpeg_free::AudioFifo>;
using BufferPoolPtr = std::unique_ptr<AVBufferPool, ffmpeg_free::BufferPool>;
using AvBytesPtr = std::unique_ptr<uint8_t, ffmpeg_free::Memory>;

// avformat_open_input for an owned context. `format` may hold a context prepared for custom input
// (avformat_alloc_context with pb set) or be empty; FFmpeg frees the context when opening fails,
// and `format` is then empty. Returns FFmpeg's result code.
//
// FFmpeg's own diagnostics while reading (damaged packets and the like) are not the program's
// messages, which say what matters to the user themselves: from the first input on, only fatal
// ones are logged.
inline int OpenInput(InputFormatPtr& format, const char* url) {
  if (av_log_get_level() > AV_LOG_FATAL) av_log_set_level(AV_LOG_FATAL);
  AVFormatContext* context = format.release();
  const int result = avformat_open_input(&context, url, nullptr, nullptr);
  format.reset(context);
  return result;
}

// swr_alloc_set_opts2 for an owned resampler (allocated, or reconfigured when it holds one); on
// failure FFmpeg frees it and `resampler` is empty. (The layouts are only read; older FFmpeg
// versions declare them without const.)
inline int SetResamplerOptions(ResamplerPtr& resampler, AVChannelLayout* outLayout,
                               AVSampleFormat outFormat, int outRate, AVChannelLayout* inLayout,
                               AVSampleFormat inFormat, int inRate) {
  SwrContext* context = resampler.release();
  const int result = swr_alloc_set_opts2(&context, outLayout, outFormat, outRate, inLayout,
                                         inFormat, inRate, 0, nullptr);
  resampler.reset(context);
  return result;
}

}  // namespace qv
