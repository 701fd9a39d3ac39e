#include "output/VideoFileSurface.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/rational.h>
}

#include <limits>

#include "base/Error.h"
#include "base/Seams.h"
#include "playback/PlaybackContext.h"
#include "playback/SoundPlayer.h"

namespace qv {

namespace {

// The sound player's output when its samples go into a file: it never pulls on its own, the
// surface takes each frame's samples when it writes the frame.
class TakenOutput : public AudioOutput {
 public:
  DeviceFormat Open(const DeviceFormat& wanted, PullSamples) override {
    return DeviceFormat{wanted.rate, wanted.channels, 4096};
  }
  void Resume() override {}
  void Pause() override {}
  void Close() override {}
};

}  // namespace

VideoFileSurface::VideoFileSurface(PlaybackContext& context, VideoFileSurfaceOptions options)
    : context_(context), options_(std::move(options)) {}

VideoFileSurface::~VideoFileSurface() = default;

bool VideoFileSurface::Fail(const std::string& why) {
  if (!failed_) MsgBox(why, msg::kCritical);
  failed_ = true;
  context_.Session.StopRequested = true;
  return false;
}

bool VideoFileSurface::OpenDisplay(bool, int32_t srcX, int32_t srcY, bool, bool, const PictureRef&,
                                   const PictureRef&) {
  CloseDisplay();
  failed_ = false;
  opened_ = false;
  framesWritten_ = 0;
  nextSoundFrame_ = -1;

  rate_ = context_.Video.StreamInfo.dwRate;
  scale_ = context_.Video.StreamInfo.dwScale;
  if (rate_ == 0 || scale_ == 0) rate_ = 25, scale_ = 1;
  AVRational fps{};
  av_reduce(&fps.num, &fps.den, rate_, scale_, std::numeric_limits<int32_t>::max());

  int32_t sampleRate = 0, channels = 0;
  if (!OpenSound(sampleRate, channels)) return false;
  VideoFileOptions file;
  file.path = options_.path;
  file.width = srcX;
  file.height = srcY;
  file.frameRateNum = fps.num;
  file.frameRateDen = fps.den;
  file.videoCodec = options_.videoCodec;
  file.audioSampleRate = sampleRate;
  file.audioChannels = channels;
  std::string error;
  writer_ = VideoFileWriter::Open(file, error);
  if (!writer_) return Fail("The video file could not be written: " + error);
  opened_ = true;
  return true;
}

bool VideoFileSurface::OpenSound(int32_t& sampleRate, int32_t& channels) {
  sampleRate = channels = 0;
  sound_.reset();
  if (options_.soundFile.empty()) return true;
  try {
    auto player = std::make_unique<SoundPlayer>(SteadySoundClock());
    player->OpenFile(options_.soundFile);
    if (!player->HasSound()) return true;
    player->DiscardOtherStreams();
    player->OpenOutput(std::make_unique<TakenOutput>());
    sampleRate = player->Format().rate;
    channels = player->Format().channels;
    sound_ = std::move(player);
    return true;
  } catch (const std::exception& e) {
    return Fail("The sound track of " + options_.soundFile +
                " could not be read: " + DescribeError(e));
  }
}

// Frame n covers [n, n + 1) frame periods of the sound; its samples start at the one nearest to
// the start of that span, so consecutive frames tile the sound without gap or overlap.
int64_t VideoFileSurface::FirstSampleOf(int64_t frame) const {
  return av_rescale_rnd(frame, int64_t{sound_->Format().rate} * scale_, rate_, AV_ROUND_NEAR_INF);
}

bool VideoFileSurface::WriteSoundOf(int64_t frame) {
  if (!sound_ || frame < 0) return true;
  const int64_t first = FirstSampleOf(frame);
  const int64_t count = FirstSampleOf(frame + 1) - first;
  try {
    // The first frame, or a jump: the player positions the sound to the sample.
    if (frame != nextSoundFrame_) sound_->Start(static_cast<double>(first) / sound_->Format().rate);
    samples_.resize(static_cast<size_t>(count * sound_->Format().channels));
    sound_->Take(samples_.data(), count);
    nextSoundFrame_ = frame + 1;
  } catch (const std::exception& e) {
    return Fail("The sound track of " + options_.soundFile +
                " could not be read: " + DescribeError(e));
  }
  if (!writer_->WriteAudio(samples_.data(), static_cast<int32_t>(count))) {
    return Fail("The video file could not be written: " + writer_->LastError());
  }
  return true;
}

bool VideoFileSurface::PutImage(const Picture& picture, bool, bool) {
  if (!writer_ || failed_) return false;
  if (!writer_->WriteFrame(picture)) {
    return Fail("The video file could not be written: " + writer_->LastError());
  }
  ++framesWritten_;
  if (!WriteSoundOf(int64_t{context_.Session.CurrentFrame} - context_.Video.StreamStart)) {
    return false;
  }
  if (options_.frameLimit && framesWritten_ >= *options_.frameLimit) {
    // Some surfaces' put results are not consulted by the dispatch; the stop request always is.
    context_.Session.StopRequested = true;
    return false;
  }
  return true;
}

bool VideoFileSurface::CloseDisplay() {
  if (sound_) sound_->Stop();
  if (!writer_) return !failed_;
  std::string error;
  const bool ok = writer_->Close(error);
  writer_.reset();
  if (!ok) return Fail("The video file could not be finished: " + error);
  return !failed_;
}

}  // namespace qv
