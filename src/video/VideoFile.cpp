#include "video/VideoFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <system_error>

#include "base/FfmpegHandles.h"
#include "image/Picture.h"
#include "video/FrameConverter.h"
#include "video/ScriptBridge.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

namespace qv {

namespace {

// Backwards steps tried when a seek lands after the frame asked for (each four times the last,
// starting at one second) before starting again from the beginning of the stream.
constexpr int kMaxSeekRetries = 5;
// Forward jumps shorter than this are decoded through rather than sought.
constexpr int32_t kShortJump = 8;
// Files up to this size have their video packets counted when the container's count is missing,
// absurd or only an estimate; larger ones keep the estimate.
constexpr int64_t kCountedBytes = int64_t{1} << 30;
// Frame rates outside this range are damaged headers; such a stream is taken as 25 frames a second
// and its frames are numbered in the order they come.
constexpr double kSlowestRate = 1.0 / 1000.0;
constexpr double kFastestRate = 1000.0;

std::string AvErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  if (av_strerror(code, text, sizeof text) < 0) return "Unknown error " + std::to_string(code);
  return text;
}

// The reason in words for a failure of FFmpeg's to open or read a file.
std::string OpenErrorText(int code) {
  if (code == AVERROR_INVALIDDATA) return "Not a video file";
  if (code == AVERROR(ENOENT)) return "No such file";
  if (code == AVERROR(EACCES)) return "Permission denied";
  return AvErrorText(code);
}

bool Valid(AVRational r) {
  return r.num > 0 && r.den > 0;
}

// "http://...", "concat:...", "pipe:1": a scheme of two or more letters and a colon.
bool LooksLikeUrl(const std::string& path) {
  if (path.find("://") != std::string::npos) return true;
  const size_t colon = path.find(':');
  if (colon == std::string::npos || colon < 2 || !std::isalpha(static_cast<unsigned char>(path[0])))
    return false;
  return std::all_of(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(colon), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.';
  });
}

// A named pipe can be read once, as it comes, and only where the caller asked for that.
std::optional<std::string> PathProblem(const std::string& path, bool pipesAllowed) {
  if (path.empty()) return "No file name";
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) {
    const int error = errno;
    // A name that exists as a file is a file, whatever it looks like; one that does not is never
    // handed to a protocol, which might wait for a server for ever.
    if (LooksLikeUrl(path)) return "Not a local file: URLs are refused";
    if (error == ENOENT || error == ENOTDIR) return "No such file";
    if (error == EACCES) return "Permission denied";
    return std::error_code(error, std::generic_category()).message();
  }
  if (S_ISDIR(info.st_mode)) return "Is a directory";
  if (S_ISFIFO(info.st_mode) && pipesAllowed) return std::nullopt;
  if (S_ISFIFO(info.st_mode) || S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode))
    return "A pipe or device cannot be read twice";
  if (S_ISSOCK(info.st_mode)) return "A socket cannot be read as a file";
  if (!S_ISREG(info.st_mode)) return "Not a regular file";
  if (::access(path.c_str(), R_OK) != 0) {
    const int error = errno;
    if (error == EACCES) return "Permission denied";
    return std::error_code(error, std::generic_category()).message();
  }
  if (info.st_size == 0) return "Empty file";
  return std::nullopt;
}

int64_t RegularFileBytes(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return -1;
  return info.st_size;
}

}  // namespace

struct VideoFile::Impl {
  InputFormatPtr fmt;
  CodecContextPtr dec;
  AVStream* st = nullptr;
  int streamIndex = -1;
  PacketPtr pkt;
  FramePtr frame;  // the decoded frame not yet handed out, when pendingValid
  FrameConverter converter;

  AVRational timeBase{1, 1};
  AVRational rate{25, 1};  // frames per second
  int32_t width = 0, height = 0;
  int32_t length = -1;        // -1 until known
  std::string target;         // the file FFmpeg opened, as a file: URL
  int64_t fileBytes = -1;     // size of a regular file; -1 for a pipe, which cannot be read again
  bool countPackets = false;  // the container's count is missing, absurd or an estimate
  // Frames are numbered in the order they come rather than by their timestamps: a damaged rate,
  // or timestamps that start again (streams joined end to end). Every seek back then starts at
  // the beginning of the file.
  bool byCount = false;
  bool restarts = false;  // the timestamps go back or leap forward somewhere in the stream

  int64_t firstPts = AV_NOPTS_VALUE;  // presentation time of frame 0; none: count frames
  int32_t pendingIndex = 0;
  int32_t lastIndex = -1;  // number of the frame most recently taken from the decoder
  bool pendingValid = false;
  bool positionValid = false;  // the decoder is positioned at a known point of the stream
  bool needKey = true;         // after a reposition, frames up to the first key frame are dropped
  bool demuxEnded = false;
  bool decodable = false;
  int32_t requested = -1;  // the number Decode was last asked for, until Deliver
  int64_t seeks = 0;

  int32_t IndexOf(const AVFrame* f) const {
    const int64_t ts = f->best_effort_timestamp;
    if (byCount || ts == AV_NOPTS_VALUE || firstPts == AV_NOPTS_VALUE) return lastIndex + 1;
    const int64_t index = av_rescale_q_rnd(ts - firstPts, timeBase, av_inv_q(rate),
                                           static_cast<AVRounding>(AV_ROUND_NEAR_INF));
    return static_cast<int32_t>(std::clamp<int64_t>(index, std::numeric_limits<int32_t>::min() + 1,
                                                    std::numeric_limits<int32_t>::max()));
  }

  int64_t TimestampOf(int32_t index) const {
    return firstPts + av_rescale_q(index, av_inv_q(rate), timeBase);
  }

  // The next frame out of the decoder, reading packets as needed; false at the end of the stream.
  bool DecodeNext() {
    for (;;) {
      const int received = avcodec_receive_frame(dec.get(), frame.get());
      if (received == 0) return true;
      if (received == AVERROR_EOF) return false;
      if (demuxEnded) return false;  // drained, or damaged data while draining
      const int read = av_read_frame(fmt.get(), pkt.get());
      if (read < 0) {  // end of file, or a file that cannot be read any further
        demuxEnded = true;
        avcodec_send_packet(dec.get(), nullptr);
        continue;
      }
      if (pkt->stream_index == streamIndex) {
        const int sent = avcodec_send_packet(dec.get(), pkt.get());
        (void)sent;  // a damaged packet is skipped; the frames around it still decode
      }
      av_packet_unref(pkt.get());
    }
  }

  // Takes the next frame that may be handed out into `frame` and numbers it.
  bool Take() {
    while (DecodeNext()) {
      if (needKey) {
        if (!frame->key_frame || (frame->flags & AV_FRAME_FLAG_CORRUPT)) continue;
        needKey = false;
      }
      pendingIndex = IndexOf(frame.get());
      lastIndex = pendingIndex;
      pendingValid = true;
      return true;
    }
    pendingValid = false;
    return false;
  }

  void Restart() {
    avcodec_flush_buffers(dec.get());
    demuxEnded = false;
    pendingValid = false;
    needKey = true;
    ++seeks;
  }

  // Back to the first frame. Seeks by time aim a second early: demuxers that search for a time
  // (MPEG streams) may otherwise land just after the first key frame, whose decoding time lies
  // before its presentation time.
  bool SeekToStart() {
    int64_t ts = firstPts;
    if (st->start_time != AV_NOPTS_VALUE && (ts == AV_NOPTS_VALUE || st->start_time < ts)) {
      ts = st->start_time;
    }
    if (ts == AV_NOPTS_VALUE) ts = 0;
    const int64_t early = ts - std::max<int64_t>(1, av_rescale_q(1, AVRational{1, 1}, timeBase));
    constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
    constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
    AVFormatContext* input = fmt.get();
    // Where timestamps start again, a search by time may land in a later part: go by bytes.
    const bool sought = (restarts && av_seek_frame(input, -1, 0, AVSEEK_FLAG_BYTE) >= 0) ||
                        av_seek_frame(input, streamIndex, early, AVSEEK_FLAG_BACKWARD) >= 0 ||
                        avformat_seek_file(input, streamIndex, kMin, ts, ts, 0) >= 0 ||
                        avformat_seek_file(input, streamIndex, kMin, ts, kMax, 0) >= 0 ||
                        av_seek_frame(input, -1, 0, AVSEEK_FLAG_BYTE) >= 0;
    if (sought) Restart();
    return sought;
  }

  // Positions the decoder so that decoding on reaches frame `index` first.
  bool SeekTo(int32_t index) {
    if (byCount || firstPts == AV_NOPTS_VALUE) {  // only counting from the start is exact
      if (!SeekToStart()) return false;
      lastIndex = -1;
      positionValid = true;
      return true;
    }
    const int64_t target = TimestampOf(index);
    const int64_t oneSecond = std::max<int64_t>(1, av_rescale_q(1, AVRational{1, 1}, timeBase));
    int64_t back = 0;
    for (int attempt = 0;; ++attempt) {
      const bool fromStart = attempt > kMaxSeekRetries || target - back <= firstPts;
      if (fromStart) {
        if (!SeekToStart()) return false;
      } else if (av_seek_frame(fmt.get(), streamIndex, target - back, AVSEEK_FLAG_BACKWARD) >= 0) {
        Restart();
      } else {
        back = back == 0 ? oneSecond : back * 4;
        continue;
      }
      positionValid = false;
      const bool taken = Take();
      if (fromStart && !taken) return false;
      // Landed after the frame, or after the last key frame (seeks by time in streams without an
      // index need not land on one): go back further.
      if (!fromStart && (!taken || pendingIndex > index)) {
        back = back == 0 ? oneSecond : back * 4;
        continue;
      }
      positionValid = true;
      return true;
    }
  }

  // Whether a forward jump from `next` to `index` passes a key frame, so that a seek saves work.
  bool WorthSeekingForward(int32_t next, int32_t index) const {
    if (index - next < kShortJump || byCount || firstPts == AV_NOPTS_VALUE) return false;
    const int entry = av_index_search_timestamp(st, TimestampOf(index), AVSEEK_FLAG_BACKWARD);
    if (entry >= 0) {
      const AVIndexEntry* e = avformat_index_get_entry(st, entry);
      return e != nullptr && e->timestamp > TimestampOf(next);
    }
    // Without an index: seek for jumps of more than two seconds.
    return av_rescale_q(index - next, av_inv_q(rate), AVRational{1, 1}) > 2;
  }

  // The number of frames of a stream that does not state it: from the end of its last packet,
  // found by seeking to its last key frame in a second look at the file, or, where the file
  // cannot seek, by counting its packets. The container's duration is the last resort.
  int32_t MeasureLength() const {
    InputFormatPtr probe;
    int64_t frames = -1;
    if (fileBytes >= 0 && OpenInput(probe, target.c_str()) >= 0 &&
        streamIndex < static_cast<int>(probe->nb_streams)) {
      for (unsigned i = 0; i < probe->nb_streams; ++i) {
        if (static_cast<int>(i) != streamIndex) probe->streams[i]->discard = AVDISCARD_ALL;
      }
      const AVRational probeBase = probe->streams[streamIndex]->time_base;
      const bool nearEnd =
          firstPts != AV_NOPTS_VALUE &&
          av_seek_frame(probe.get(), streamIndex, std::numeric_limits<int64_t>::max() / 2,
                        AVSEEK_FLAG_BACKWARD) >= 0;
      const PacketPtr packet(av_packet_alloc());
      int64_t count = 0;
      int64_t end = AV_NOPTS_VALUE;
      const int64_t period = std::max<int64_t>(1, av_rescale_q(1, av_inv_q(rate), probeBase));
      while (packet != nullptr && av_read_frame(probe.get(), packet.get()) >= 0) {
        if (packet->stream_index == streamIndex) {
          ++count;
          const int64_t ts = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
          if (ts != AV_NOPTS_VALUE) {
            const int64_t packetEnd = ts + (packet->duration > 0 ? packet->duration : period);
            if (end == AV_NOPTS_VALUE || packetEnd > end) end = packetEnd;
          }
        }
        av_packet_unref(packet.get());
      }
      if (nearEnd && end != AV_NOPTS_VALUE) {
        frames = av_rescale_q_rnd(av_rescale_q(end, probeBase, timeBase) - firstPts, timeBase,
                                  av_inv_q(rate), static_cast<AVRounding>(AV_ROUND_NEAR_INF));
      } else if (!nearEnd) {
        frames = count;
      }
    }
    if (frames <= 0 && fmt->duration != AV_NOPTS_VALUE && fmt->duration > 0) {
      frames = av_rescale_q_rnd(fmt->duration, AVRational{1, AV_TIME_BASE}, av_inv_q(rate),
                                static_cast<AVRounding>(AV_ROUND_NEAR_INF));
    }
    return static_cast<int32_t>(
        std::clamp<int64_t>(frames, 0, std::numeric_limits<int32_t>::max()));
  }

  // The frames of the stream by a second pass over the file that counts its video packets from
  // the first key frame on, noting whether their decoding times go back or leap forward (streams
  // joined end to end). Where the times are regular and reach further than the count (packets
  // lost to damage), the frames up to the last one's time. -1 when the file cannot be read again.
  int64_t CountPackets() {
    InputFormatPtr probe;
    if (OpenInput(probe, target.c_str()) < 0 ||
        avformat_find_stream_info(probe.get(), nullptr) < 0 ||
        streamIndex >= static_cast<int>(probe->nb_streams) ||
        probe->streams[streamIndex]->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) {
      return -1;
    }
    for (unsigned i = 0; i < probe->nb_streams; ++i) {
      if (static_cast<int>(i) != streamIndex) probe->streams[i]->discard = AVDISCARD_ALL;
    }
    const AVRational probeBase = probe->streams[streamIndex]->time_base;
    const int64_t period = std::max<int64_t>(1, av_rescale_q(1, av_inv_q(rate), probeBase));
    const int64_t leap = std::max(period, av_rescale_q(1, AVRational{1, 1}, probeBase));
    const PacketPtr packet(av_packet_alloc());
    int64_t count = 0;
    int64_t lastDts = AV_NOPTS_VALUE;
    int64_t lastPts = AV_NOPTS_VALUE;
    bool started = false;
    while (packet != nullptr && av_read_frame(probe.get(), packet.get()) >= 0) {
      if (packet->stream_index == streamIndex &&
          (started || (packet->flags & AV_PKT_FLAG_KEY) != 0)) {
        started = true;
        ++count;
        if (packet->dts != AV_NOPTS_VALUE) {
          if (lastDts != AV_NOPTS_VALUE && (packet->dts <= lastDts || packet->dts - lastDts > leap))
            restarts = true;
          lastDts = packet->dts;
        }
        if (packet->pts != AV_NOPTS_VALUE && (lastPts == AV_NOPTS_VALUE || packet->pts > lastPts))
          lastPts = packet->pts;
      }
      av_packet_unref(packet.get());
    }
    if (!restarts && !byCount && lastPts != AV_NOPTS_VALUE && firstPts != AV_NOPTS_VALUE) {
      const int64_t span =
          av_rescale_q_rnd(av_rescale_q(lastPts + period, probeBase, timeBase) - firstPts, timeBase,
                           av_inv_q(rate), static_cast<AVRounding>(AV_ROUND_NEAR_INF));
      count = std::max(count, span);
    }
    return count;
  }

  // The length of a stream whose container does not give a believable one.
  void MeasureFrames() {
    if (countPackets && fileBytes >= 0 && fileBytes <= kCountedBytes) {
      const int64_t counted = CountPackets();
      if (counted > 0) {
        length =
            static_cast<int32_t>(std::min<int64_t>(counted, std::numeric_limits<int32_t>::max()));
        // Numbers by time would start again with the timestamps; seeks then go back to the
        // beginning and decode forward, which is slow but gives the right frames.
        if (restarts) byCount = true;
        return;
      }
    }
    if (length < 0) length = MeasureLength();
  }

  // Decodes up to the first frame numbered `index` or later and keeps it pending.
  bool Decode(int32_t index) {
    requested = -1;
    if (index < 0) return false;
    const int32_t next = pendingValid ? pendingIndex : lastIndex + 1;
    if (!positionValid || index < next || WorthSeekingForward(next, index)) {
      if (!SeekTo(index)) return false;
    }
    for (;;) {
      if (!pendingValid && !Take()) return false;
      if (pendingIndex >= index) break;
      pendingValid = false;
    }
    requested = index;
    return true;
  }

  bool Deliver(uint8_t* bits, int32_t stride, int32_t w, int32_t h) {
    if (requested < 0 || !pendingValid) return false;
    const bool ok = converter.Convert(*frame, bits, stride, w, h);
    // A frame numbered past the one asked for (a gap in the timestamps) stood in for it and stays
    // pending for its own number.
    if (pendingIndex == requested) pendingValid = false;
    requested = -1;
    return ok;
  }
};

VideoFile::VideoFile() = default;
VideoFile::~VideoFile() = default;

VideoFile::OpenStatus VideoFile::Open(const std::string& path, Sources sources) {
  return OpenWith(path, sources, true);
}

std::optional<int64_t> VideoFile::FirstPictureTime(const std::string& path) {
  VideoFile file;
  if (file.OpenWith(path, Sources::kFilesOnly, false) != OpenStatus::kOpened ||
      file.impl_->firstPts == AV_NOPTS_VALUE) {
    return std::nullopt;
  }
  return av_rescale_q(file.impl_->firstPts, file.impl_->timeBase, AV_TIME_BASE_Q);
}

VideoFile::OpenStatus VideoFile::OpenWith(const std::string& path, Sources sources, bool measure) {
  impl_.reset();
  failure_.clear();
  auto impl = std::make_unique<Impl>();

  if (path.empty()) {
    failure_ = "No file name";
    return OpenStatus::kNotOpened;
  }
  std::string target = path;
  std::string name = path;  // the file as the user is told of it
  if (IsScriptName(path)) {
    if (const std::optional<std::string> problem = PathProblem(path, false)) {
      failure_ = path + ": " + *problem;
      return OpenStatus::kNotOpened;
    }
    const std::optional<std::string> named = ReadScriptTarget(path);
    if (!named) {
      failure_ = path + ": The script does not consist of one DirectShowSource line.";
      return OpenStatus::kNotOpened;
    }
    target = *named;
    name = target + " (named by " + path + ")";
  }
  if (const std::optional<std::string> problem =
          PathProblem(target, sources == Sources::kFilesAndPipes)) {
    failure_ = name + ": " + *problem;
    return OpenStatus::kNotOpened;
  }
  impl->fileBytes = RegularFileBytes(target);
  impl->target = LocalFileUrl(target);

  int r = OpenInput(impl->fmt, impl->target.c_str());
  if (r >= 0) r = avformat_find_stream_info(impl->fmt.get(), nullptr);
  if (r < 0) {
    failure_ = name + ": " + OpenErrorText(r);
    return OpenStatus::kNotOpened;
  }
  for (unsigned i = 0; i < impl->fmt->nb_streams; ++i) {
    AVStream* s = impl->fmt->streams[i];
    if (impl->st == nullptr && s->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
        !(s->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
      impl->st = s;
      impl->streamIndex = static_cast<int>(i);
    } else {
      s->discard = AVDISCARD_ALL;
    }
  }
  if (impl->st == nullptr) {
    failure_ = name + ": No video stream";
    return OpenStatus::kNotOpened;
  }
  AVStream* st = impl->st;
  impl->timeBase = Valid(st->time_base) ? st->time_base : AVRational{1, AV_TIME_BASE};

  // The rate: the stream's base rate when its average agrees with it (the base rate is the
  // exact fraction), else the average, else the base rate, else 25 frames a second.
  const AVRational base = st->r_frame_rate;
  const AVRational average = st->avg_frame_rate;
  if (Valid(base) && Valid(average) && std::abs(av_q2d(base) / av_q2d(average) - 1.0) < 0.01) {
    impl->rate = base;
  } else if (Valid(average)) {
    impl->rate = average;
  } else if (Valid(base)) {
    impl->rate = base;
  }
  if (!(av_q2d(impl->rate) >= kSlowestRate && av_q2d(impl->rate) <= kFastestRate)) {
    impl->rate = AVRational{25, 1};
    impl->byCount = true;
  }

  // The length: the stream's own frame count, else its duration. A count larger than the file
  // has bytes is a damaged header; MPEG program and transport streams only estimate theirs from
  // the clock. Such lengths, and those of streams that state none (Matroska, still pictures), are
  // measured once the first frame's time is known.
  int64_t length = st->nb_frames;
  if (length <= 0 && st->duration != AV_NOPTS_VALUE && st->duration > 0) {
    length = av_rescale_q_rnd(st->duration, impl->timeBase, av_inv_q(impl->rate),
                              static_cast<AVRounding>(AV_ROUND_NEAR_INF));
  }
  const bool absurd = impl->fileBytes >= 0 && length > impl->fileBytes;
  if (absurd) length = -1;
  const std::string container = impl->fmt->iformat->name;
  impl->countPackets =
      absurd || container == "mpeg" || container == "mpegts" || container == "mpegvideo";
  impl->length =
      static_cast<int32_t>(std::clamp<int64_t>(length, -1, std::numeric_limits<int32_t>::max()));
  if (impl->length == 0) impl->length = -1;

  impl->width = st->codecpar->width;
  impl->height = st->codecpar->height;
  impl_ = std::move(impl);  // the stream's facts stay readable even when it cannot be decoded
  if (!OpenDecoder(measure)) {
    failure_ = name + ": " + failure_;
    impl_->dec.reset();
    return OpenStatus::kNoDecoder;
  }
  impl_->decodable = true;
  return OpenStatus::kOpened;
}

bool VideoFile::OpenDecoder(bool measure) {
  Impl& impl = *impl_;
  const AVCodec* codec = avcodec_find_decoder(impl.st->codecpar->codec_id);
  if (codec == nullptr || impl.width <= 0 || impl.height <= 0) {
    failure_ = "No decoder for the video stream.";
    return false;
  }
  if (StrideFor(impl.width) * impl.height > kMaxPictureBytes) {
    failure_ = "The video's pictures are too large.";
    return false;
  }
  impl.dec.reset(avcodec_alloc_context3(codec));
  impl.pkt.reset(av_packet_alloc());
  impl.frame.reset(av_frame_alloc());
  if (impl.dec == nullptr || impl.pkt == nullptr || impl.frame == nullptr) {
    failure_ = AvErrorText(AVERROR(ENOMEM));
    return false;
  }
  avcodec_parameters_to_context(impl.dec.get(), impl.st->codecpar);
  impl.dec->pkt_timebase = impl.timeBase;
  impl.dec->thread_count = 0;  // as many as the machine has
  impl.dec->flags &= ~AV_CODEC_FLAG_OUTPUT_CORRUPT;
  const int r = avcodec_open2(impl.dec.get(), codec, nullptr);
  if (r < 0) {
    failure_ = AvErrorText(r);
    return false;
  }
  // Frame 0 is the first key frame that decodes; its timestamp is where the numbering starts.
  if (!impl.Take()) {
    failure_ = "No picture could be decoded from the video stream.";
    return false;
  }
  impl.firstPts = impl.frame->best_effort_timestamp;
  impl.pendingIndex = impl.lastIndex = 0;
  if (measure) impl.MeasureFrames();
  impl.positionValid = true;
  impl.seeks = 0;
  return true;
}

int32_t VideoFile::Width() const {
  return impl_ ? impl_->width : 0;
}
int32_t VideoFile::Height() const {
  return impl_ ? impl_->height : 0;
}
uint32_t VideoFile::Rate() const {
  return impl_ ? static_cast<uint32_t>(impl_->rate.num) : 0;
}
uint32_t VideoFile::Scale() const {
  return impl_ ? static_cast<uint32_t>(impl_->rate.den) : 0;
}
int32_t VideoFile::Length() const {
  return impl_ ? std::max(impl_->length, 0) : 0;
}
int64_t VideoFile::SeekCount() const {
  return impl_ ? impl_->seeks : 0;
}

bool VideoFile::DecodeFrame(int32_t index) {
  return impl_ != nullptr && impl_->decodable && impl_->Decode(index);
}

bool VideoFile::DeliverFrame(uint8_t* bits, int32_t stride, int32_t width, int32_t height) {
  return impl_ != nullptr && impl_->decodable && impl_->Deliver(bits, stride, width, height);
}

std::optional<std::string> LocalFileProblem(const std::string& path) {
  return PathProblem(path, false);
}

std::string LocalFileUrl(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return "file:" + (error ? path : absolute.string());
}

bool VideoFile::ReadFrame(int32_t index, uint8_t* bits, int32_t stride, int32_t width,
                          int32_t height) {
  return DecodeFrame(index) && DeliverFrame(bits, stride, width, height);
}

}  // namespace qv
