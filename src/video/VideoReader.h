#pragma once
// The video reader: opens the first video stream of a file for a playback session and hands out
// its frames by number as 24-bit pictures.
//
// Frame numbers are absolute: StreamStart ... StreamStart + StreamLength - 1. StreamStart is 0
// for every file: frame StreamStart is the first frame in presentation order, wherever the
// container's clock starts (the control bar and the session count frames from the same origin).
//
// A VideoReaderState belongs to one thread at a time (the frame loop's).

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "image/BitmapFormat.h"
#include "image/Picture.h"
#include "video/VideoFile.h"

namespace qv {

struct FrameRect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
};

// What the reader knows of the open stream.
struct StreamInfoRecord {
  uint32_t dwScale = 0;  // frames per second = dwRate / dwScale
  uint32_t dwRate = 0;
  FrameRect rcFrame;  // (0, 0, width, height)
};

struct VideoReaderState {
  // The open video; empty when none is open.
  std::unique_ptr<VideoFile> FrameGetter;
  int32_t StreamStart = 0;   // number of the stream's first frame (always 0, see above)
  int32_t StreamLength = 0;  // number of frames
  StreamInfoRecord StreamInfo;
  // The picture format frames are delivered in: 24 bits, bottom-up, rows padded to four bytes,
  // StreamInfo.rcFrame's size.
  BitmapInfoHeader FrameFormat;

  // Frames per second of the open stream.
  double FrameRate() const {
    return StreamInfo.dwScale == 0 ? 0.0
                                   : static_cast<double>(StreamInfo.dwRate) / StreamInfo.dwScale;
  }
};

// Opens fileName (a video, or a one-line script naming one) into `video`. On failure the user is
// told ("Unable to decompress this video stream." when no decoder can deliver pictures, then
// "An error occurred in OpenVideo. " and, on a line of its own, the file and the reason) and the
// result is false; nothing stays open, but after a decoder failure the stream's facts are filled
// in.
bool OpenVideo(const std::string& fileName, VideoReaderState& video);
// Releases what OpenVideo opened. StreamStart, StreamLength, StreamInfo and FrameFormat keep
// their values.
void CloseVideo(VideoReaderState& video);
// Decodes the absolute frame number `frame` straight into `into`'s pixel memory, which must be
// FrameFormat's size. Returns false, without telling the user, when no video is open, the number
// lies outside the stream, `into` has another size, or the frame cannot be decoded (damaged or
// truncated file): the caller decides what a missing frame means.
bool FetchFrame(VideoReaderState& video, int32_t frame, Picture& into);

// The stream facts of an open file, and the 24-bit frame format they give.
StreamInfoRecord InfoOf(const VideoFile& file);
BitmapInfoHeader FormatOf(const StreamInfoRecord& info);

// Frames as packed bitmaps: a 40-byte info header directly followed by the pixel rows in the
// getter's format. The layout detection reads its sample frames this way.
class PackedFrameGetter {
 public:
  PackedFrameGetter(VideoFile& file, const BitmapInfoHeader& format);
  // The packed bitmap of frame `frame` (0 = the stream's first), in memory owned by the getter
  // and valid until the next GetFrame or the getter's end; nullptr when the frame lies outside
  // the stream or cannot be decoded.
  const uint8_t* GetFrame(int32_t frame);

 private:
  VideoFile& file_;
  BitmapInfoHeader format_;
  std::vector<uint8_t> packed_;
};

}  // namespace qv
