#pragma once
// VideoFile: the first video stream of a file, decoded by FFmpeg and handed out by frame number.
//
// Numbering. Frame 0 is the first frame in presentation order and frame k the one shown k frame
// periods later; numbers come from the frames' presentation timestamps measured from the first
// frame's, so they do not depend on the codec's reordering, on where the container's clock
// starts or on how the frame was reached (decoded in sequence or after a seek). A stream whose
// timestamps leave a gap gives the next frame for the missing number; two frames on one number
// give the first.
//
// Access. Fetching the frame after the previous one decodes on without seeking; a jump back, or
// forward past a key frame, seeks to the nearest key frame before the frame asked for and decodes
// up to it; decoded frames on the way are not converted. A frame that cannot be reached (past the
// end of a truncated file, undecodable data) makes the fetch return false; the object stays usable.
//
// Used by one thread at a time.

#include <cstdint>
#include <memory>
#include <string>

namespace qv {

class VideoFile {
 public:
  enum class OpenStatus {
    kOpened,
    kNotOpened,  // missing or unreadable file, unknown container, no video stream, bad script
    kNoDecoder,  // a video stream that no decoder of ours turns into pictures
  };

  VideoFile();
  ~VideoFile();
  VideoFile(const VideoFile&) = delete;
  VideoFile& operator=(const VideoFile&) = delete;

  // Opens the file's first video stream (a .avs or .vdr script: the video it names) and decodes
  // its first frame. On failure FailureText() says why, in words for the user; after kNoDecoder
  // the stream's size, rate and length are still known.
  OpenStatus Open(const std::string& path);
  const std::string& FailureText() const { return failure_; }

  int32_t Width() const;  // picture size of the stream, in pixels
  int32_t Height() const;
  // Frames per second as a fraction (rate / scale); 25 / 1 when the stream does not say.
  uint32_t Rate() const;
  uint32_t Scale() const;
  // Number of frames: the stream's own count when it has one, otherwise its duration times its
  // rate, rounded.
  int32_t Length() const;

  // Decodes frame `index` into a width x height picture: three bytes a pixel (blue, green, red),
  // rows bottom-up and `stride` bytes apart (see FrameConverter). False when the frame cannot be
  // delivered.
  bool ReadFrame(int32_t index, uint8_t* bits, int32_t stride, int32_t width, int32_t height);
  // The same in two steps, for callers that want the destination only once there is a frame to
  // write: DecodeFrame decodes up to frame `index` (false when it cannot be reached), and
  // DeliverFrame then converts it into the picture memory.
  bool DecodeFrame(int32_t index);
  bool DeliverFrame(uint8_t* bits, int32_t stride, int32_t width, int32_t height);

  // How many times the file has been repositioned since it was opened (for tests and benchmarks).
  int64_t SeekCount() const;

 private:
  struct Impl;
  bool OpenDecoder();

  std::unique_ptr<Impl> impl_;
  std::string failure_;
};

}  // namespace qv
