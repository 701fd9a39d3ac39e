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
// Sources. Only local files are read: names are handed to FFmpeg as file: URLs, so that no name
// is taken for a protocol, and URLs, devices, sockets and (unless asked for) pipes are refused
// before anything waits on them. Every file is opened more than once (probe passes).
//
// Used by one thread at a time.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace qv {

// What keeps `path` from being read as a video, by what the file system says of it before FFmpeg
// sees it: "No such file", "Permission denied", "Is a directory", "Empty file", "Not a local
// file: URLs are refused", "A pipe or device cannot be read twice" and the like; nullopt for a
// readable, non-empty regular file.
std::optional<std::string> LocalFileProblem(const std::string& path);

// The name under which FFmpeg opens the local file `path`: file: and its absolute path.
std::string LocalFileUrl(const std::string& path);

class VideoFile {
 public:
  enum class OpenStatus {
    kOpened,
    kNotOpened,  // missing or unreadable file, unknown container, no video stream, bad script
    kNoDecoder,  // a video stream that no decoder of ours turns into pictures
  };

  enum class Sources {
    kFilesOnly,
    kFilesAndPipes,  // also named pipes, read as they come (for tests of stalled streams)
  };

  VideoFile();
  ~VideoFile();
  VideoFile(const VideoFile&) = delete;
  VideoFile& operator=(const VideoFile&) = delete;

  // Opens the file's first video stream (a .avs or .vdr script: the video it names) and decodes
  // its first frame. On failure FailureText() says which file could not be used and why, in words
  // for the user ("<file>: Empty file"); after kNoDecoder the stream's size, rate and length are
  // still known.
  OpenStatus Open(const std::string& path, Sources sources = Sources::kFilesOnly);
  const std::string& FailureText() const { return failure_; }

  // The presentation time of frame 0 of the file's first video stream on the container's clock,
  // in microseconds (AV_TIME_BASE units); nullopt when no picture of it decodes. The sound track
  // is measured from there, so that its sample 0 goes with frame 0.
  static std::optional<int64_t> FirstPictureTime(const std::string& path);

  int32_t Width() const;  // picture size of the stream, in pixels
  int32_t Height() const;
  // Frames per second as a fraction (rate / scale); 25 / 1 when the stream does not say.
  uint32_t Rate() const;
  uint32_t Scale() const;
  // Number of frames: the stream's own count when it is believable (no more frames than the file
  // has bytes), otherwise the video packets counted in a pass over the file (always for MPEG
  // program and transport streams up to 1 GiB, whose durations are estimates), otherwise its
  // duration times its rate, rounded.
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
  OpenStatus OpenWith(const std::string& path, Sources sources, bool measure);
  bool OpenDecoder(bool measure);

  std::unique_ptr<Impl> impl_;
  std::string failure_;
};

}  // namespace qv
