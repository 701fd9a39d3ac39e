#include "playback/SoundPlayer.h"

extern "C" {
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <optional>

#include "base/Error.h"
#include "video/ScriptBridge.h"
#include "video/VideoFile.h"

namespace qv {

namespace {

AppError FfmpegError(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  // AVERROR(e) is -e for an errno value; FFmpeg's own codes are far larger tags.
  const int32_t number =
      (code < 0 && code > -4096) ? err::FromErrno(-code).Number() : err::kInvalidArgument;
  return AppError(number, "FFmpeg", text);
}

AppError SoundError(const std::string& text) {
  return AppError(err::kInvalidArgument, "FFmpeg", text);
}

// Decoding ahead: one second of sound, and never less than four device buffers.
constexpr double kAheadSeconds = 1.0;
// The longest Start waits for the first second to be decoded before it lets the device play.
constexpr auto kPrefillWait = std::chrono::seconds(2);
// How far before the start position the demuxer is sent, so that the packets of the sound are
// read from before it even where the file interleaves them late; the surplus is decoded and
// dropped.
constexpr double kSeekMarginSeconds = 1.0;

}  // namespace

SoundPlayer::SoundPlayer(SoundClock& clock) : clock_(clock) {}

SoundPlayer::~SoundPlayer() {
  if (output_) output_->Close();
  StopDecoder();
}

void SoundPlayer::OpenFile(const std::string& fileName) {
  // A script's sound is that of the video it names.
  std::string path = fileName;
  if (IsScriptName(fileName)) {
    if (const std::optional<std::string> problem = LocalFileProblem(fileName)) {
      throw SoundError(fileName + ": " + *problem);
    }
    const std::optional<std::string> named = ReadScriptTarget(fileName);
    if (!named)
      throw SoundError(fileName + ": The script does not consist of one DirectShowSource line.");
    path = *named;
  }
  if (const std::optional<std::string> problem = LocalFileProblem(path)) {
    throw SoundError(path + ": " + *problem);
  }
  int r = OpenInput(format_ctx_, LocalFileUrl(path).c_str());
  if (r < 0) throw FfmpegError(r);
  r = avformat_find_stream_info(format_ctx_.get(), nullptr);
  if (r < 0) throw FfmpegError(r);
  const AVCodec* decoder = nullptr;
  r = av_find_best_stream(format_ctx_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
  if (r == AVERROR_STREAM_NOT_FOUND) return;  // a silent file
  if (r < 0) throw FfmpegError(r);
  // Sample 0 goes with the video's frame 0, whose time may lie after the container's start (MPEG
  // streams start their clocks at their earliest packet, often a sound one). Finding it decodes
  // the first picture, which a silent file is spared.
  const std::optional<int64_t> firstPicture = VideoFile::FirstPictureTime(path);
  if (firstPicture) {
    timelineStart_ = *firstPicture;
  } else {
    timelineStart_ = format_ctx_->start_time == AV_NOPTS_VALUE ? 0 : format_ctx_->start_time;
  }
  const AVStream* stream = format_ctx_->streams[r];
  codec_.reset(avcodec_alloc_context3(decoder));
  if (codec_ == nullptr) throw err::OutOfMemory();
  r = avcodec_parameters_to_context(codec_.get(), stream->codecpar);
  if (r < 0) throw FfmpegError(r);
  codec_->pkt_timebase = stream->time_base;
  r = avcodec_open2(codec_.get(), decoder, nullptr);
  if (r < 0) throw FfmpegError(r);
  if (codec_->sample_rate <= 0 || codec_->ch_layout.nb_channels <= 0) {
    throw SoundError("The sound track gives no sample rate or no channels");
  }
  streamIndex_ = stream->index;
}

int SoundPlayer::DiscardOtherStreams() {
  if (format_ctx_ == nullptr) throw err::ObjectNotSet();
  if (decoder_.joinable()) throw err::InvalidArgument();  // the decoder thread owns the file now
  int cut = 0;
  for (unsigned i = 0; i < format_ctx_->nb_streams; ++i) {
    if (static_cast<int>(i) == streamIndex_) continue;
    if (format_ctx_->streams[i]->discard != AVDISCARD_ALL) ++cut;
    format_ctx_->streams[i]->discard = AVDISCARD_ALL;
  }
  return cut;
}

void SoundPlayer::OpenOutput(std::unique_ptr<AudioOutput> output) {
  if (!HasSound()) throw err::ObjectNotSet();
  if (output_) output_->Close();
  output_ = std::move(output);
  const DeviceFormat wanted{codec_->sample_rate, std::min(codec_->ch_layout.nb_channels, 8), 0};
  format_ = output_->Open(
      wanted, [this](unsigned char* out, int bytes, double heardAt) { Pull(out, bytes, heardAt); });
  if (format_.rate <= 0 || format_.channels <= 0 || format_.channels > 8 ||
      format_.bufferFrames <= 0) {
    output_->Close();
    output_.reset();
    throw SoundError("The sound device offers no usable format");
  }
  frameBytes_ = format_.channels * static_cast<int>(sizeof(float));
  const size_t frames = std::max<size_t>(static_cast<size_t>(format_.rate * kAheadSeconds),
                                         4 * static_cast<size_t>(format_.bufferFrames));
  std::lock_guard lock(mutex_);
  ring_.assign(frames * frameBytes_, 0);
  ringHead_ = ringBytes_ = 0;
}

void SoundPlayer::Start(double seconds) {
  if (!HasSound() || !output_) throw err::ObjectNotSet();
  if (!(seconds < 1e9)) throw err::Overflow();  // also NaN
  const int64_t target = std::llround(std::max(seconds, 0.0) * format_.rate);

  output_->Pause();
  StopDecoder();
  Seek(target);
  {
    std::lock_guard lock(mutex_);
    ringHead_ = ringBytes_ = 0;
    stopDecoding_ = decodingDone_ = false;
    handedEnd_ = target;
    haveChunk_ = false;
    reported_ = static_cast<double>(target);
    stopped_ = false;
  }
  decoder_ = std::thread([this] { DecodeLoop(); });
  {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kPrefillWait,
                      [this] { return decodingDone_ || ringBytes_ == ring_.size(); });
  }
  const double now = clock_.Now();
  {
    std::lock_guard lock(mutex_);
    startedAt_ = now;
  }
  output_->Resume();
}

void SoundPlayer::Stop() {
  if (output_) {
    output_->Close();
    output_.reset();
  }
  StopDecoder();
  const double now = clock_.Now();
  std::lock_guard lock(mutex_);
  if (!stopped_) {
    stopped_ = true;
    stoppedAt_ = now;
  }
}

SoundStatus SoundPlayer::Status() {
  const double now = clock_.Now();
  std::lock_guard lock(mutex_);
  SoundStatus status;
  if (format_.rate <= 0) return status;
  status.heardSeconds = HeardSamples(now) / format_.rate;
  if (decodingDone_ && ringBytes_ == 0 && !stopped_) {
    const double lastHeard =
        haveChunk_ ? last_.heardAt + static_cast<double>(last_.count) / format_.rate : startedAt_;
    if (now >= lastHeard) {
      status.ended = true;
      status.endedAt = lastHeard;
    }
  }
  return status;
}

// The sample the listener hears at `now`: the last chunk handed to the device started to be heard
// at its heardAt and plays at the device's rate; what was before it played just as steadily, and
// nothing after its last real sample counts (silence filled in when the buffer ran dry).
double SoundPlayer::HeardSamples(double now) {
  if (!haveChunk_) return reported_;
  const double t = stopped_ ? std::min(now, stoppedAt_) : now;
  double heard = static_cast<double>(last_.first) + (t - last_.heardAt) * format_.rate;
  heard = std::min(heard, static_cast<double>(last_.first + last_.count));
  reported_ = std::max(reported_, heard);
  return reported_;
}

void SoundPlayer::Pull(unsigned char* out, int bytes, double heardAt) {
  std::lock_guard lock(mutex_);
  PullLocked(out, static_cast<size_t>(bytes), heardAt);
}

// Hands over what the buffer holds, up to `bytes` (whole sample frames), and fills the rest of
// `out` with silence. Returns the bytes of real samples.
size_t SoundPlayer::PullLocked(unsigned char* out, size_t bytes, double heardAt) {
  const size_t wanted = bytes - bytes % frameBytes_;
  const size_t n = std::min(wanted, ringBytes_);
  const size_t firstPart = std::min(n, ring_.size() - ringHead_);
  std::memcpy(out, ring_.data() + ringHead_, firstPart);
  std::memcpy(out + firstPart, ring_.data(), n - firstPart);
  ringHead_ = (ringHead_ + n) % ring_.size();
  ringBytes_ -= n;
  std::memset(out + n, 0, bytes - n);  // 0.0f is all zero bits
  if (n > 0) {
    const int64_t frames = static_cast<int64_t>(n / frameBytes_);
    last_ = Chunk{handedEnd_, frames, heardAt};
    handedEnd_ += frames;
    haveChunk_ = true;
    changed_.notify_all();
  }
  return n;
}

int64_t SoundPlayer::Take(float* out, int64_t frames) {
  // Without a running (or finished) decoder the wait below would never end.
  if (!HasSound() || !output_ || !decoder_.joinable()) throw err::ObjectNotSet();
  auto* to = reinterpret_cast<unsigned char*>(out);
  size_t left = static_cast<size_t>(std::max<int64_t>(frames, 0)) * frameBytes_;
  size_t real = 0;
  std::unique_lock lock(mutex_);
  while (left > 0) {
    // The buffer holds at most ring_.size() bytes: a longer request is served in parts.
    const size_t part = std::min(left, ring_.size());
    changed_.wait(lock, [&] { return decodingDone_ || ringBytes_ >= part; });
    real += PullLocked(to, part, clock_.Now());
    to += part;
    left -= part;
  }
  return static_cast<int64_t>(real / frameBytes_);
}

void SoundPlayer::StopDecoder() {
  {
    std::lock_guard lock(mutex_);
    stopDecoding_ = true;
  }
  changed_.notify_all();
  if (decoder_.joinable()) decoder_.join();
}

// Positions the demuxer a little before `target` and arranges for the decoded samples before it
// to be dropped, so that the first sample the listener hears is exactly the one at `target`.
void SoundPlayer::Seek(int64_t target) {
  startSample_ = target;
  queuedEnd_ = target;
  aligned_ = false;
  if (!touched_ && target == 0) {
    nextSample_ = 0;
    return;
  }
  const AVStream* stream = format_ctx_->streams[streamIndex_];
  const int64_t aim =
      std::max<int64_t>(0, target - std::llround(kSeekMarginSeconds * format_.rate));
  const int64_t aimUs = timelineStart_ + av_rescale(aim, AV_TIME_BASE, format_.rate);
  const int64_t aimInStream = av_rescale_q(aimUs, AV_TIME_BASE_Q, stream->time_base);
  int r =
      avformat_seek_file(format_ctx_.get(), streamIndex_, INT64_MIN, aimInStream, aimInStream, 0);
  if (r < 0) r = avformat_seek_file(format_ctx_.get(), -1, INT64_MIN, aimUs, aimUs, 0);
  if (r < 0) {
    // A file that cannot seek can still be read from its start, dropping up to the target.
    if (touched_) throw SoundError("The sound track cannot be positioned");
    nextSample_ = 0;
    return;
  }
  touched_ = true;
  avcodec_flush_buffers(codec_.get());
  swr_.reset();
  nextSample_ = aim;  // only used when the decoded frames carry no time stamps
}

void SoundPlayer::DecodeLoop() {
  const PacketPtr packet(av_packet_alloc());
  const FramePtr frame(av_frame_alloc());
  try {
    auto stopAsked = [this] {
      std::lock_guard lock(mutex_);
      return stopDecoding_;
    };
    auto receiveAll = [&] {
      while (!stopAsked() && avcodec_receive_frame(codec_.get(), frame.get()) >= 0) {
        ConvertAndQueue(frame.get());
        av_frame_unref(frame.get());
      }
    };
    while (packet != nullptr && frame != nullptr && !stopAsked()) {
      const int r = av_read_frame(format_ctx_.get(), packet.get());
      touched_ = true;
      if (r < 0) {
        // The end of the file, or a read error that ends the sound early.
        avcodec_send_packet(codec_.get(), nullptr);
        receiveAll();
        ConvertAndQueue(nullptr);
        break;
      }
      // A damaged packet is skipped; the decoder picks up again at the next one.
      if (packet->stream_index == streamIndex_ &&
          avcodec_send_packet(codec_.get(), packet.get()) >= 0)
        receiveAll();
      av_packet_unref(packet.get());
    }
  } catch (const std::exception&) {
    // Out of memory in the decoder thread: the sound ends here rather than the program.
  }
  {
    std::lock_guard lock(mutex_);
    decodingDone_ = true;
  }
  changed_.notify_all();
}

void SoundPlayer::ConfigureResampler(const AVFrame* frame) {
  if (swr_ != nullptr && frame->sample_rate == swrRate_ && frame->format == swrFormat_ &&
      frame->ch_layout.nb_channels == swrChannels_) {
    return;
  }
  swr_.reset();
  AVChannelLayout in{};
  if (frame->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC ||
      av_channel_layout_check(&frame->ch_layout) == 0) {
    av_channel_layout_default(&in, frame->ch_layout.nb_channels);
  } else if (av_channel_layout_copy(&in, &frame->ch_layout) < 0) {
    return;
  }
  AVChannelLayout out{};
  av_channel_layout_default(&out, format_.channels);
  const int r = SetResamplerOptions(swr_, &out, AV_SAMPLE_FMT_FLT, format_.rate, &in,
                                    static_cast<AVSampleFormat>(frame->format), frame->sample_rate);
  av_channel_layout_uninit(&in);
  av_channel_layout_uninit(&out);
  if (r < 0 || swr_init(swr_.get()) < 0) {
    swr_.reset();  // frames of this kind cannot be converted and are skipped
    return;
  }
  swrRate_ = frame->sample_rate;
  swrFormat_ = frame->format;
  swrChannels_ = frame->ch_layout.nb_channels;
}

// Converts one decoded frame (or, with nullptr, what the resampler still holds at the end) to the
// device format and queues the part of it at or after the start position.
void SoundPlayer::ConvertAndQueue(const AVFrame* frame) {
  if (frame != nullptr) {
    if (frame->nb_samples <= 0 || frame->sample_rate <= 0 || frame->ch_layout.nb_channels <= 0)
      return;
    ConfigureResampler(frame);
  }
  if (swr_ == nullptr) return;
  const int capacity = swr_get_out_samples(swr_.get(), frame != nullptr ? frame->nb_samples : 0);
  if (capacity <= 0) return;
  converted_.resize(static_cast<size_t>(capacity) * format_.channels);
  uint8_t* out = reinterpret_cast<uint8_t*>(converted_.data());
  const int got = frame != nullptr ? swr_convert(swr_.get(), &out, capacity,
                                                 const_cast<const uint8_t**>(frame->extended_data),
                                                 frame->nb_samples)
                                   : swr_convert(swr_.get(), &out, capacity, nullptr, 0);
  if (got <= 0) return;

  if (!aligned_) {
    // The first frame after a start is placed by its time stamp; the frames after it follow on.
    aligned_ = true;
    if (frame != nullptr && frame->best_effort_timestamp != AV_NOPTS_VALUE) {
      const AVRational tb = format_ctx_->streams[streamIndex_]->time_base;
      const int64_t originInStream = av_rescale_q(timelineStart_, AV_TIME_BASE_Q, tb);
      nextSample_ = av_rescale_q(frame->best_effort_timestamp - originInStream, tb,
                                 AVRational{1, format_.rate});
    }
  }
  int64_t first = nextSample_;
  int64_t count = got;
  nextSample_ += got;
  const float* data = converted_.data();
  if (first + count <= startSample_) return;  // before the start: dropped
  if (first < startSample_) {
    const int64_t skip = startSample_ - first;
    data += skip * format_.channels;
    count -= skip;
    first = startSample_;
  }
  // The sound begins later than the start position (or after a gap in its time stamps).
  if (first > queuedEnd_) QueueSilence(first - queuedEnd_);
  Queue(data, count);
}

void SoundPlayer::QueueSilence(int64_t frames) {
  static const float kZeros[1024 * 8] = {};
  const int64_t perRound = static_cast<int64_t>(std::size(kZeros)) / format_.channels;
  while (frames > 0) {
    const int64_t n = std::min(frames, perRound);
    if (!Queue(kZeros, n)) return;
    frames -= n;
  }
}

bool SoundPlayer::Queue(const float* samples, int64_t frames) {
  const unsigned char* from = reinterpret_cast<const unsigned char*>(samples);
  size_t left = static_cast<size_t>(frames) * frameBytes_;
  std::unique_lock lock(mutex_);
  while (left > 0) {
    changed_.wait(lock, [this] { return stopDecoding_ || ringBytes_ < ring_.size(); });
    if (stopDecoding_) return false;
    const size_t tail = (ringHead_ + ringBytes_) % ring_.size();
    const size_t n = std::min(left, ring_.size() - ringBytes_);
    const size_t firstPart = std::min(n, ring_.size() - tail);
    std::memcpy(ring_.data() + tail, from, firstPart);
    std::memcpy(ring_.data(), from + firstPart, n - firstPart);
    ringBytes_ += n;
    queuedEnd_ += static_cast<int64_t>(n / frameBytes_);
    from += n;
    left -= n;
    changed_.notify_all();
  }
  return true;
}

}  // namespace qv
