#include "output/VideoFileWriter.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "base/FfmpegHandles.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
}

namespace qv {

namespace {

std::string AvError(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

// Lossless encoders get the format closest to our 24-bit pictures; lossy ones get 4:2:0, which
// every player decodes, when the picture size allows it.
AVPixelFormat ChoosePixelFormat(const AVCodec* encoder, int width, int height) {
  const AVPixelFormat* formats = encoder->pix_fmts;
  if (formats == nullptr) return AV_PIX_FMT_BGR24;
  const bool lossless = encoder->id == AV_CODEC_ID_RAWVIDEO || encoder->id == AV_CODEC_ID_FFV1 ||
                        encoder->id == AV_CODEC_ID_UTVIDEO || encoder->id == AV_CODEC_ID_HUFFYUV ||
                        encoder->id == AV_CODEC_ID_FFVHUFF || encoder->id == AV_CODEC_ID_PNG;
  if (!lossless && width % 2 == 0 && height % 2 == 0) {
    for (const AVPixelFormat* f = formats; *f != AV_PIX_FMT_NONE; ++f) {
      if (*f == AV_PIX_FMT_YUV420P) return *f;
    }
  }
  return avcodec_find_best_pix_fmt_of_list(formats, AV_PIX_FMT_BGR24, 0, nullptr);
}

// FFmpeg's own diagnostics (encoder settings, muxer complaints) are not the program's messages;
// every failure comes back to the caller with a reason in words.
void QuietLibraryLog() {
  if (av_log_get_level() > AV_LOG_FATAL) av_log_set_level(AV_LOG_FATAL);
}

std::string Extension(const std::string& path) {
  const size_t dot = path.rfind('.');
  const size_t slash = path.rfind('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  return path.substr(dot);
}

}  // namespace

// Encoding and writing run on a thread of the writer's own, so that the caller makes its next
// frame while this one is encoded. The caller converts each picture into one of a few frames that
// go round between the two threads; sound goes over as the caller's samples.
struct Job {
  FramePtr picture;            // a converted picture, or
  PacketPtr rawPicture;        // a picture that needs no encoder, or else
  std::vector<float> samples;  // interleaved sound samples
};

struct VideoFileWriter::Impl {
  static constexpr size_t kFramesInFlight = 3;

  OutputFormatPtr format;
  CodecContextPtr video;
  CodecContextPtr audio;
  AVStream* videoStream = nullptr;
  AVStream* audioStream = nullptr;
  FramePtr audioFrame;
  PacketPtr packet;
  ScalerPtr scaler;
  int32_t scalerSourceWidth = 0;
  int32_t scalerSourceHeight = 0;
  ResamplerPtr resampler;
  AudioFifoPtr fifo;
  int32_t inputChannels = 0;
  int64_t framesWritten = 0;  // pictures handed to the encoding thread
  int64_t samplesWritten = 0;
  // Raw 24-bit pictures need no encoder: the picture's rows, top row first, are the packet.
  bool rawPictures = false;
  BufferPoolPtr rawPool;
  int rawBytes = 0;
  bool headerWritten = false;
  bool closed = false;
  mutable std::mutex errorMutex;
  std::string lastError;

  // Shared by the caller and the encoding thread, under `mutex`.
  std::thread worker;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Job> jobs;
  std::vector<FramePtr> spareFrames;
  size_t framesMade = 0;
  size_t rawQueued = 0;
  bool quit = false;
  bool workerFailed = false;

  // The FFmpeg objects are freed by their owners once the encoding thread has ended.
  ~Impl() {
    if (format && headerWritten && !closed) {
      std::string ignored;
      Finish(ignored);
    }
    StopWorker();
  }

  bool Fail(const std::string& what, int code) {
    std::lock_guard lock(errorMutex);
    lastError = what + (code < 0 ? ": " + AvError(code) : std::string());
    return false;
  }

  // A frame for the caller to convert a picture into; nullptr after a failure.
  FramePtr TakeSpareFrame() {
    {
      std::unique_lock lock(mutex);
      changed.wait(lock, [&] {
        return workerFailed || !spareFrames.empty() || framesMade < kFramesInFlight;
      });
      if (workerFailed) return nullptr;
      if (!spareFrames.empty()) {
        FramePtr frame = std::move(spareFrames.back());
        spareFrames.pop_back();
        return frame;
      }
      ++framesMade;
    }
    FramePtr frame(av_frame_alloc());
    if (frame == nullptr) return Fail("out of memory", 0), nullptr;
    frame->format = video->pix_fmt;
    frame->width = video->width;
    frame->height = video->height;
    const int rc = av_frame_get_buffer(frame.get(), 0);
    if (rc < 0) return Fail("out of memory", rc), nullptr;
    return frame;
  }

  bool Submit(Job job) {
    std::lock_guard lock(mutex);
    if (workerFailed) return false;
    if (job.rawPicture) ++rawQueued;
    jobs.push_back(std::move(job));
    changed.notify_all();
    return true;
  }

  // The encoding thread: every job in order; after a failure the rest are only dropped.
  void Work() {
    for (;;) {
      Job job;
      bool ok = false;
      {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return quit || !jobs.empty(); });
        if (jobs.empty()) return;
        job = std::move(jobs.front());
        jobs.pop_front();
        ok = !workerFailed;
      }
      if (ok && job.picture) {
        ok = Encode(video.get(), videoStream, job.picture.get());
      } else if (ok && job.rawPicture) {
        ok = Write(job.rawPicture.get(), video.get(), videoStream);
      } else if (ok && !job.samples.empty()) {
        const uint8_t* in[1] = {reinterpret_cast<const uint8_t*>(job.samples.data())};
        ok = Resample(in, static_cast<int>(job.samples.size() / inputChannels)) &&
             EncodeAudioFrames(false);
      }
      std::lock_guard lock(mutex);
      if (!ok) workerFailed = true;
      if (job.picture) spareFrames.push_back(std::move(job.picture));
      if (job.rawPicture) --rawQueued;
      changed.notify_all();
    }
  }

  // Lets the encoding thread finish the jobs handed to it and end. True when they all went well.
  bool StopWorker() {
    {
      std::lock_guard lock(mutex);
      quit = true;
    }
    changed.notify_all();
    if (worker.joinable()) worker.join();
    return !workerFailed;
  }

  // Sends a frame (or nullptr to flush) and writes every packet the encoder hands back.
  bool Encode(AVCodecContext* codec, AVStream* stream, AVFrame* frame) {
    int rc = avcodec_send_frame(codec, frame);
    if (rc < 0) return Fail("encoding failed", rc);
    for (;;) {
      rc = avcodec_receive_packet(codec, packet.get());
      if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return true;
      if (rc < 0) return Fail("encoding failed", rc);
      if (!Write(packet.get(), codec, stream)) return false;
    }
  }

  // Writes a packet whose times are in the codec's time base.
  bool Write(AVPacket* out, const AVCodecContext* codec, AVStream* stream) {
    av_packet_rescale_ts(out, codec->time_base, stream->time_base);
    out->stream_index = stream->index;
    const int rc = av_interleaved_write_frame(format.get(), out);
    return rc >= 0 || Fail("writing the file failed", rc);
  }

  // Hands a picture of the file's size over as a raw packet.
  bool SubmitRaw(const PixelGrid& grid) {
    {
      std::unique_lock lock(mutex);
      changed.wait(lock, [&] { return workerFailed || rawQueued < kFramesInFlight; });
      if (workerFailed) return false;
    }
    PacketPtr raw(av_packet_alloc());
    if (raw == nullptr || (raw->buf = av_buffer_pool_get(rawPool.get())) == nullptr) {
      return Fail("out of memory", 0);
    }
    raw->data = raw->buf->data;
    raw->size = rawBytes;
    const size_t row = static_cast<size_t>(3) * grid.width;
    for (int32_t y = 0; y < grid.height; ++y) {
      std::memcpy(raw->data + row * y, grid.DeviceRow(y), row);
    }
    raw->pts = raw->dts = framesWritten;
    raw->duration = 1;
    raw->flags |= AV_PKT_FLAG_KEY;
    return Submit(Job{nullptr, std::move(raw), {}});
  }

  // Converts samples (or, with nullptr, what the resampler still holds) into the encoder's
  // format and queues them.
  bool Resample(const uint8_t** in, int count) {
    const int out = swr_get_out_samples(resampler.get(), count);
    if (out <= 0) return true;
    std::vector<uint8_t*> planes(static_cast<size_t>(std::max(1, audio->ch_layout.nb_channels)));
    const int rc = av_samples_alloc(planes.data(), nullptr, audio->ch_layout.nb_channels, out,
                                    audio->sample_fmt, 0);
    if (rc < 0) return Fail("out of memory", rc);
    const AvBytesPtr samples(planes[0]);  // one block holds every plane
    const int converted = swr_convert(resampler.get(), planes.data(), out, in, count);
    bool ok = converted >= 0;
    if (ok && converted > 0) {
      ok = av_audio_fifo_write(fifo.get(), reinterpret_cast<void**>(planes.data()), converted) ==
           converted;
    }
    return ok || Fail("cannot convert the sound", 0);
  }

  bool EncodeAudioFrames(bool flush) {
    const int frameSize = audio->frame_size > 0 ? audio->frame_size : 1024;
    while (av_audio_fifo_size(fifo.get()) >= frameSize ||
           (flush && av_audio_fifo_size(fifo.get()) > 0)) {
      const int n = std::min(frameSize, av_audio_fifo_size(fifo.get()));
      audioFrame->nb_samples = n;
      if (av_frame_make_writable(audioFrame.get()) < 0) return Fail("out of memory", -1);
      if (av_audio_fifo_read(fifo.get(), reinterpret_cast<void**>(audioFrame->data), n) < n) {
        return Fail("sound buffer underrun", -1);
      }
      audioFrame->pts = samplesWritten;
      samplesWritten += n;
      if (!Encode(audio.get(), audioStream, audioFrame.get())) return false;
      // Encoders with a fixed frame size take a short last frame only when they allow it.
      if (audio->frame_size > 0 && n < frameSize &&
          !(audio->codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE)) {
        break;
      }
    }
    return true;
  }

  bool Finish(std::string& error) {
    closed = true;
    bool ok = StopWorker();
    if (ok && audio) {
      ok = Resample(nullptr, 0) && EncodeAudioFrames(true) &&
           Encode(audio.get(), audioStream, nullptr);
    }
    if (ok && video) ok = Encode(video.get(), videoStream, nullptr);
    const int rc = av_write_trailer(format.get());
    if (ok && rc < 0) ok = Fail("writing the end of the file failed", rc);
    if (!(format->oformat->flags & AVFMT_NOFILE) && format->pb) {
      if (avio_closep(&format->pb) < 0 && ok) ok = Fail("closing the file failed", -1);
    }
    if (!ok) error = lastError;
    return ok;
  }
};

VideoFileWriter::VideoFileWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

OutputCheck VideoFileWriter::CheckOutput(const std::string& path, const std::string& videoCodec) {
  QuietLibraryLog();
  OutputCheck check;
  const AVOutputFormat* container = av_guess_format(nullptr, path.c_str(), nullptr);
  const std::string extension = Extension(path);
  if (container == nullptr) {
    check.usage = true;
    check.problem = "no known video file format for '" + path +
                    "' (use an extension such as .mkv, .mp4, .avi or .nut)";
    return check;
  }
  const std::string name = container->name;
  if (name == "image2" || name == "image2pipe") {
    check.usage = true;
    check.problem = "'" + extension + "' is a picture format, not a video file format; " +
                    "'quorvex render' writes one frame as a picture";
    return check;
  }
  // A sound format may still name a video codec, for a cover picture.
  const bool soundOnly =
      container->mime_type != nullptr && std::string(container->mime_type).rfind("audio/", 0) == 0;
  if (container->video_codec == AV_CODEC_ID_NONE || soundOnly) {
    check.usage = true;
    check.problem = "the " + name + " format of '" + path + "' holds sound only, no video";
    return check;
  }
  const AVCodec* encoder = videoCodec.empty() ? avcodec_find_encoder(container->video_codec)
                                              : avcodec_find_encoder_by_name(videoCodec.c_str());
  if (encoder == nullptr || encoder->type != AVMEDIA_TYPE_VIDEO) {
    check.usage = !videoCodec.empty();
    check.problem = videoCodec.empty() ? "the " + name + " format has no video encoder here"
                                       : "unknown video encoder '" + videoCodec + "'";
    return check;
  }
  // 1: the format carries the codec; 0: it cannot (a file that no player would decode); below
  // 0: the format does not say, and the muxer is left to judge.
  if (avformat_query_codec(container, encoder->id, FF_COMPLIANCE_NORMAL) == 0) {
    check.usage = true;
    check.problem = "the " + name + " format ('" + extension + "') cannot hold " + encoder->name +
                    " video; choose another --codec or another extension";
    return check;
  }
  check.holdsSound = container->audio_codec != AV_CODEC_ID_NONE;
  return check;
}
VideoFileWriter::~VideoFileWriter() = default;

std::unique_ptr<VideoFileWriter> VideoFileWriter::Open(const VideoFileOptions& options,
                                                       std::string& error) {
  QuietLibraryLog();
  auto impl = std::make_unique<Impl>();
  auto fail = [&](const std::string& what, int code = 0) -> std::unique_ptr<VideoFileWriter> {
    error = what + (code < 0 ? ": " + AvError(code) : std::string());
    return nullptr;
  };
  if (options.width <= 0 || options.height <= 0 || options.frameRateNum <= 0 ||
      options.frameRateDen <= 0) {
    return fail("invalid picture size or frame rate");
  }
  AVFormatContext* context = nullptr;
  int rc = avformat_alloc_output_context2(&context, nullptr, nullptr, options.path.c_str());
  impl->format.reset(context);
  if (rc < 0 || impl->format == nullptr) {
    return fail("no known video file format for '" + options.path +
                    "' (use an extension such as .mkv, .mp4, .avi or .nut)",
                rc);
  }
  const AVOutputFormat* container = impl->format->oformat;

  // Video encoder.
  const AVCodec* videoEncoder = options.videoCodec.empty()
                                    ? avcodec_find_encoder(container->video_codec)
                                    : avcodec_find_encoder_by_name(options.videoCodec.c_str());
  if (videoEncoder == nullptr || videoEncoder->type != AVMEDIA_TYPE_VIDEO) {
    return fail(options.videoCodec.empty() ? "the file format has no video encoder"
                                           : "unknown video encoder '" + options.videoCodec + "'");
  }
  impl->video.reset(avcodec_alloc_context3(videoEncoder));
  AVCodecContext* v = impl->video.get();
  v->width = options.width;
  v->height = options.height;
  v->time_base = AVRational{options.frameRateDen, options.frameRateNum};
  v->framerate = AVRational{options.frameRateNum, options.frameRateDen};
  v->sample_aspect_ratio = AVRational{1, 1};
  v->pix_fmt = ChoosePixelFormat(videoEncoder, options.width, options.height);
  // YUV4MPEG files hold YUV pictures only; full chroma keeps every colour of ours.
  if (std::string(container->name) == "yuv4mpegpipe") v->pix_fmt = AV_PIX_FMT_YUV444P;
  // x265 writes its settings to standard error itself, past FFmpeg's log.
  if (std::string(videoEncoder->name) == "libx265") {
    av_opt_set(v->priv_data, "x265-params", "log-level=error", 0);
  }
  if (videoEncoder->id == AV_CODEC_ID_H264) {
    av_opt_set(v->priv_data, "preset", "veryfast", 0);
    av_opt_set(v->priv_data, "crf", "18", 0);
  } else if (videoEncoder->id == AV_CODEC_ID_MPEG4 || videoEncoder->id == AV_CODEC_ID_MJPEG) {
    v->bit_rate = static_cast<int64_t>(options.width) * options.height * 4;
  }
  // JPEG pictures hold the full range of levels; the encoder takes nothing else.
  if (videoEncoder->id == AV_CODEC_ID_MJPEG) v->color_range = AVCOL_RANGE_JPEG;
  if (container->flags & AVFMT_GLOBALHEADER) v->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  rc = avcodec_open2(v, videoEncoder, nullptr);
  if (rc < 0) return fail("cannot start the video encoder " + std::string(videoEncoder->name), rc);
  impl->videoStream = avformat_new_stream(impl->format.get(), nullptr);
  if (impl->videoStream == nullptr) return fail("out of memory");
  impl->videoStream->time_base = v->time_base;
  impl->videoStream->avg_frame_rate = v->framerate;
  avcodec_parameters_from_context(impl->videoStream->codecpar, v);
  if (videoEncoder->id == AV_CODEC_ID_RAWVIDEO && v->pix_fmt == AV_PIX_FMT_BGR24) {
    impl->rawPictures = true;
    impl->rawBytes = av_image_get_buffer_size(AV_PIX_FMT_BGR24, v->width, v->height, 1);
    impl->rawPool.reset(av_buffer_pool_init(static_cast<size_t>(impl->rawBytes), nullptr));
    if (impl->rawBytes <= 0 || impl->rawPool == nullptr) return fail("out of memory");
  }

  // Sound encoder.
  if (options.audioSampleRate > 0 && options.audioChannels > 0) {
    const AVCodec* audioEncoder = options.audioCodec.empty()
                                      ? avcodec_find_encoder(container->audio_codec)
                                      : avcodec_find_encoder_by_name(options.audioCodec.c_str());
    if (audioEncoder == nullptr || audioEncoder->type != AVMEDIA_TYPE_AUDIO) {
      return fail("the file format has no sound encoder");
    }
    // Some encoders refuse unusual rates (8 kHz for Vorbis, say): the sound is then resampled
    // to 48 kHz.
    for (const int rate : {options.audioSampleRate, 48000}) {
      impl->audio.reset(avcodec_alloc_context3(audioEncoder));
      AVCodecContext* a = impl->audio.get();
      a->sample_rate = rate;
      av_channel_layout_default(&a->ch_layout, options.audioChannels);
      a->sample_fmt = audioEncoder->sample_fmts ? audioEncoder->sample_fmts[0] : AV_SAMPLE_FMT_FLTP;
      a->time_base = AVRational{1, rate};
      if (audioEncoder->id == AV_CODEC_ID_AAC || audioEncoder->id == AV_CODEC_ID_OPUS ||
          audioEncoder->id == AV_CODEC_ID_VORBIS || audioEncoder->id == AV_CODEC_ID_MP3) {
        a->bit_rate = 160000;
      }
      if (container->flags & AVFMT_GLOBALHEADER) a->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
      rc = avcodec_open2(a, audioEncoder, nullptr);
      if (rc >= 0) break;
    }
    if (rc < 0)
      return fail("cannot start the sound encoder " + std::string(audioEncoder->name), rc);
    AVCodecContext* a = impl->audio.get();
    impl->inputChannels = options.audioChannels;
    impl->audioStream = avformat_new_stream(impl->format.get(), nullptr);
    if (impl->audioStream == nullptr) return fail("out of memory");
    impl->audioStream->time_base = a->time_base;
    avcodec_parameters_from_context(impl->audioStream->codecpar, a);

    AVChannelLayout inLayout{};
    av_channel_layout_default(&inLayout, options.audioChannels);
    rc = SetResamplerOptions(impl->resampler, &a->ch_layout, a->sample_fmt, a->sample_rate,
                             &inLayout, AV_SAMPLE_FMT_FLT, options.audioSampleRate);
    if (rc < 0 || swr_init(impl->resampler.get()) < 0) return fail("cannot convert the sound", rc);
    impl->fifo.reset(av_audio_fifo_alloc(a->sample_fmt, a->ch_layout.nb_channels, 4096));
    impl->audioFrame.reset(av_frame_alloc());
    impl->audioFrame->format = a->sample_fmt;
    av_channel_layout_copy(&impl->audioFrame->ch_layout, &a->ch_layout);
    impl->audioFrame->sample_rate = a->sample_rate;
    impl->audioFrame->nb_samples = a->frame_size > 0 ? a->frame_size : 1024;
    rc = av_frame_get_buffer(impl->audioFrame.get(), 0);
    if (rc < 0) return fail("out of memory", rc);
  }

  impl->packet.reset(av_packet_alloc());
  if (!(container->flags & AVFMT_NOFILE)) {
    rc = avio_open(&impl->format->pb, options.path.c_str(), AVIO_FLAG_WRITE);
    if (rc < 0) return fail("cannot create '" + options.path + "'", rc);
  }
  rc = avformat_write_header(impl->format.get(), nullptr);
  if (rc < 0) return fail("cannot write the file header", rc);
  impl->headerWritten = true;
  impl->worker = std::thread([d = impl.get()] { d->Work(); });
  return std::unique_ptr<VideoFileWriter>(new VideoFileWriter(std::move(impl)));
}

bool VideoFileWriter::WriteFrame(const Picture& picture) {
  Impl& d = *impl_;
  const PixelGrid grid = picture.Grid();
  if (d.closed || grid.Empty()) return d.Fail("no picture to write", 0);
  if (d.rawPictures && grid.width == d.video->width && grid.height == d.video->height) {
    if (!d.SubmitRaw(grid)) return false;
    ++d.framesWritten;
    return true;
  }
  if (d.scaler == nullptr || d.scalerSourceWidth != grid.width ||
      d.scalerSourceHeight != grid.height) {
    d.scaler.reset(sws_getContext(grid.width, grid.height, AV_PIX_FMT_BGR24, d.video->width,
                                  d.video->height, d.video->pix_fmt, SWS_BICUBIC, nullptr, nullptr,
                                  nullptr));
    if (d.scaler == nullptr) return d.Fail("cannot convert the picture for the encoder", 0);
    d.scalerSourceWidth = grid.width;
    d.scalerSourceHeight = grid.height;
  }
  FramePtr frame = d.TakeSpareFrame();
  if (frame == nullptr) return false;
  // The encoder may still hold the frame's memory from its last round.
  const int rc = av_frame_make_writable(frame.get());
  if (rc < 0) return d.Fail("out of memory", rc);
  // Rows are stored bottom-up: start at the top row and step backwards.
  const uint8_t* top[1] = {grid.DeviceRow(0)};
  const int stride[1] = {-grid.stride};
  sws_scale(d.scaler.get(), top, stride, 0, grid.height, frame->data, frame->linesize);
  frame->pts = d.framesWritten;
  if (!d.Submit(Job{std::move(frame), nullptr, {}})) return false;
  ++d.framesWritten;
  return true;
}

bool VideoFileWriter::WriteAudio(const float* samples, int32_t sampleCount) {
  Impl& d = *impl_;
  if (d.closed) return d.Fail("the file is closed", 0);
  if (!d.audio || sampleCount <= 0) return true;
  return d.Submit(
      Job{nullptr, nullptr,
          std::vector<float>(samples, samples + int64_t{sampleCount} * d.inputChannels)});
}

bool VideoFileWriter::Close(std::string& error) {
  if (impl_->closed) return true;
  return impl_->Finish(error);
}

int64_t VideoFileWriter::FramesWritten() const {
  return impl_->framesWritten;
}
std::string VideoFileWriter::VideoCodecName() const {
  return impl_->video->codec->name;
}
std::string VideoFileWriter::LastError() const {
  std::lock_guard lock(impl_->errorMutex);
  return impl_->lastError;
}

}  // namespace qv
