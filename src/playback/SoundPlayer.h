#pragma once
// SoundPlayer: the sound track of one file, decoded ahead by FFmpeg into a buffer that this class
// owns, pulled from that buffer by an AudioOutput, and followed by a clock of what the listener
// hears.
//
// Threads: the public members belong to the frame-loop thread. A decoder thread of the player's
// own fills the buffer; the output's thread empties it through Pull. Both touch only the buffer
// and the heard-position record, under one mutex.
//
// Positions are seconds from the video's frame 0 (the first picture's presentation time), the
// origin of the video's frame numbers; in a file without pictures, from the container's start.

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/FfmpegHandles.h"
#include "playback/AudioOutput.h"

namespace qv {

struct SoundStatus {
  double heardSeconds = 0.0;  // the position the listener hears now
  bool ended = false;         // every sample of the track (from the start position) has been heard
  double endedAt = 0.0;       // SoundClock time at which the last sample was heard, when ended
};

class SoundPlayer {
 public:
  explicit SoundPlayer(SoundClock& clock);
  ~SoundPlayer();
  SoundPlayer(const SoundPlayer&) = delete;
  SoundPlayer& operator=(const SoundPlayer&) = delete;

  // Opens fileName (a local file, or a script: the video it names) and its decoder for the best
  // sound stream. Raises AppError when the file cannot be read or its sound cannot be decoded. A
  // file without any sound stream opens fine, with HasSound() false; nothing else of the player may
  // then be used but the destructor.
  void OpenFile(const std::string& fileName);
  bool HasSound() const { return streamIndex_ >= 0; }
  // Tells the demuxer to skip the packets of every other stream (pictures, subtitles), so that
  // only the sound is read. Returns how many streams were cut off.
  int DiscardOtherStreams();
  // Opens the output (paused) for the sound's rate and channels. Raises AppError.
  void OpenOutput(std::unique_ptr<AudioOutput> output);

  // Positions the track at `seconds` to the sample (negative counts as 0), decodes ahead until the
  // buffer is full (at most two seconds' wait), and lets the output pull. Called again while
  // playing, it plays from the new position. Raises AppError when the track cannot be positioned,
  // and ObjectNotSet without an open output.
  void Start(double seconds);
  // Stops the pulls and the decoder and releases the output device; the file stays open. The heard
  // position stays where the listener stopped hearing.
  void Stop();

  SoundStatus Status();
  const DeviceFormat& Format() const { return format_; }

  // For a consumer that takes the samples itself instead of a device (a video file being
  // written): waits until the next `frames` sample frames are decoded, or the track has ended,
  // and hands them over as a pull would, in the device format. Returns how many of them are real
  // samples; the rest of `out` is silence. The output must be one that never pulls on its own.
  int64_t Take(float* out, int64_t frames);

 private:
  struct Chunk {
    int64_t first = 0;  // sample index of the first real sample handed over
    int64_t count = 0;  // real samples in it (silence after them is not counted)
    double heardAt = 0.0;
  };

  void Pull(unsigned char* out, int bytes, double heardAt);             // output's thread
  size_t PullLocked(unsigned char* out, size_t bytes, double heardAt);  // under mutex_
  void DecodeLoop();                                                    // decoder thread
  void Seek(int64_t targetSample);
  void ConvertAndQueue(const AVFrame* frame);
  bool Queue(const float* samples, int64_t frames);  // false when a stop was asked
  void QueueSilence(int64_t frames);
  void ConfigureResampler(const AVFrame* frame);
  void StopDecoder();
  double HeardSamples(double now);  // under mutex_

  SoundClock& clock_;
  std::unique_ptr<AudioOutput> output_;
  DeviceFormat format_;
  int frameBytes_ = 0;

  // FFmpeg state: the caller's thread while the decoder is not running, the decoder's while it is.
  InputFormatPtr format_ctx_;
  CodecContextPtr codec_;
  ResamplerPtr swr_;
  int streamIndex_ = -1;
  int64_t timelineStart_ = 0;  // container start time, in AV_TIME_BASE units
  bool touched_ = false;       // packets have been read since the file was opened
  int swrRate_ = 0, swrFormat_ = -1, swrChannels_ = 0;
  std::vector<float> converted_;
  int64_t nextSample_ = 0;   // sample index of the next decoded sample (device rate)
  int64_t startSample_ = 0;  // where the listener is to start hearing
  int64_t queuedEnd_ = 0;    // sample index after the last sample put into the buffer
  bool aligned_ = false;     // the first decoded frame after a start has been placed

  std::thread decoder_;

  // Shared by the three threads, under mutex_.
  std::mutex mutex_;
  std::condition_variable changed_;  // the buffer gained or lost samples, or a stop is asked
  std::vector<unsigned char> ring_;
  size_t ringHead_ = 0, ringBytes_ = 0;
  bool stopDecoding_ = false;
  bool decodingDone_ = false;
  int64_t handedEnd_ = 0;  // sample index after the last real sample handed to the output
  bool haveChunk_ = false;
  Chunk last_;
  double reported_ = 0.0;  // heard sample index last reported; the position never goes back
  bool stopped_ = false;
  double stoppedAt_ = 0.0;
  double startedAt_ = 0.0;
};

}  // namespace qv
