#pragma once
// The video reader: opens the first video stream of a file for a playback session, hands out its
// frames by number as 24-bit pictures, and, when a file is chosen, reads its length and rate and
// guesses its stereo layout.
//
// Frame numbers are absolute: StreamStart ... StreamStart + StreamLength - 1. StreamStart is 0
// for every file: frame StreamStart is the first frame in presentation order, wherever the
// container's clock starts (the control bar and the session count frames from the same origin).
//
// Everything here belongs to the user-interface thread.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "image/BitmapFormat.h"
#include "image/Picture.h"
#include "playback/PlaybackRequest.h"
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
  // The session's open video; empty when none is open.
  std::unique_ptr<VideoFile> FrameGetter;
  int32_t StreamStart = 0;   // number of the stream's first frame (always 0, see above)
  int32_t StreamLength = 0;  // number of frames
  StreamInfoRecord StreamInfo;
  // The picture format frames are delivered in: 24 bits, bottom-up, rows padded to four bytes,
  // StreamInfo.rcFrame's size.
  BitmapInfoHeader FrameFormat;

  // Published by DetectVideo for the user interface.
  int32_t FrameCount = 0;           // the length DetectVideo returned; 0 when it could not open
  float StreamFrameRate = 0.0f;     // dwRate / dwScale of the file DetectVideo opened
  BitmapInfoHeader DetectedFormat;  // the frame format of the file DetectVideo opened
};

inline VideoReaderState gVideo;

// Opens request.FileName (a video, or a one-line script naming one) for the session. With
// request.UseStreamRate = 1 the stream's rate replaces request.FrameRate. On failure the user is
// told ("Unable to decompress this video stream." when no decoder can deliver pictures, then
// "An error occurred in OpenVideo. " followed by the reason) and the result is false; nothing
// stays open.
bool OpenVideo(PlaybackRequest& request);
// Releases what OpenVideo opened. StreamStart, StreamLength, StreamInfo and FrameFormat keep
// their values.
void CloseVideo();
// Decodes the absolute frame number `frame` straight into `into`'s pixel memory, which must be
// FrameFormat's size. Returns false, without telling the user, when no video is open, the number
// lies outside the stream, `into` has another size, or the frame cannot be decoded (damaged or
// truncated file): the caller decides what a missing frame means.
bool FetchFrame(int32_t frame, Picture& into);

// Opens fileName on its own, publishes FrameCount and StreamFrameRate, guesses the stereo layout
// (3 = 2D, 5 = Parallel, 1 = Above/Below) into `layout` and returns the number of frames; leaves
// nothing open. When the file cannot be opened or examined the user is told ("Unable to open AVI
// file.", after "No suitable decompressor found for this video stream!" when no decoder fits) and
// the result is 0.
int32_t DetectVideo(const std::string& fileName, int16_t& layout);

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
