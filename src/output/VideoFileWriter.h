#pragma once
// Encodes 24-bit pictures and float sound samples into a video file with FFmpeg (libavformat,
// libavcodec, libswscale, libswresample). Used by the video-file surface of `quorvex convert` and
// by the demo clip. One thread at a time.

#include <cstdint>
#include <memory>
#include <string>

#include "image/Picture.h"

namespace qv {

struct VideoFileOptions {
  std::string path;
  int32_t width = 0;
  int32_t height = 0;
  int32_t frameRateNum = 25;  // frames per second as a fraction
  int32_t frameRateDen = 1;
  std::string videoCodec;     // encoder name; empty = the container's usual one
  int32_t audioSampleRate = 0;  // 0: no sound track
  int32_t audioChannels = 0;
  std::string audioCodec;     // empty = the container's usual one
};

// What an output name and encoder make of a conversion, found before anything is written.
struct OutputCheck {
  std::string problem;      // why the pair cannot make a playable video file; empty when it can
  bool usage = false;       // the problem is in what was asked for (unknown encoder, say)
  bool holdsSound = false;  // the file format can carry a sound track
};

class VideoFileWriter {
 public:
  // Checks that the file format that `path`'s extension picks holds video, and that the encoder
  // (empty: the format's usual one) makes video that the format can carry.
  static OutputCheck CheckOutput(const std::string& path, const std::string& videoCodec);
  // Opens the file and its encoders; nullptr with a reason in `error` when that fails.
  static std::unique_ptr<VideoFileWriter> Open(const VideoFileOptions& options, std::string& error);
  ~VideoFileWriter();
  VideoFileWriter(const VideoFileWriter&) = delete;
  VideoFileWriter& operator=(const VideoFileWriter&) = delete;

  // Appends one frame. A picture of another size than the file's is scaled to it.
  bool WriteFrame(const Picture& picture);
  // Appends interleaved samples (channels values per sample, -1 ... 1).
  bool WriteAudio(const float* samples, int32_t sampleCount);
  // Flushes the encoders and writes the trailer; false with a reason when that fails. The
  // destructor closes a writer that was not closed, without reporting.
  bool Close(std::string& error);

  int64_t FramesWritten() const;
  std::string VideoCodecName() const;
  std::string LastError() const;

 private:
  struct Impl;
  explicit VideoFileWriter(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace qv
