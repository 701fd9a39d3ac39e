#pragma once
// The display surface of `quorvex convert`: every frame put on it is encoded into a video file,
// together with the input's sound for exactly that frame's time span, so the file plays in sync
// from whichever frame the session started at.
//
// The surface learns the frame rate and the frame being played from the context of the session
// that puts frames on it (its open video, and CurrentFrame, which the session sets before every
// put). Failures are told to the user through MsgBox, ask the session to stop and make PutImage
// return false. Frame-loop thread only.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "playback/DisplaySurface.h"
#include "output/VideoFileWriter.h"

namespace qv {

class SoundPlayer;
struct PlaybackContext;

struct VideoFileSurfaceOptions {
  std::string path;                   // the file to write; its extension picks the container
  std::string videoCodec;             // encoder name; empty = the container's usual one
  std::string soundFile;              // whose sound track goes with the frames; empty = none
  std::optional<int64_t> frameLimit;  // PutImage asks the session to stop after this many
};

class VideoFileSurface : public DisplaySurface {
 public:
  VideoFileSurface(PlaybackContext& context, VideoFileSurfaceOptions options);
  ~VideoFileSurface() override;

  // Opens the file for frames of srcX x srcY at the open video's rate; the other arguments mean
  // nothing to a file.
  bool OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool modeFlag, bool useLineCode,
                   const PictureRef& lineCodeStart, const PictureRef& lineCodeEnd) override;
  // Encodes the picture (scaled to the file's size when it differs) and its sound. False after a
  // failure and once the frame limit has been reached.
  bool PutImage(const Picture& picture, bool resize, bool quick) override;
  void ResizeSurface(int32_t srcX, int32_t srcY) override {}
  // Flushes the encoders and finishes the file. False when that fails (the user has been told).
  bool CloseDisplay() override;

  bool Opened() const { return opened_; }
  bool Failed() const { return failed_; }
  bool HasSound() const { return sound_ != nullptr; }
  int64_t FramesWritten() const { return framesWritten_; }

 private:
  bool Fail(const std::string& why);
  bool OpenSound(int32_t& sampleRate, int32_t& channels);
  bool WriteSoundOf(int64_t frame);
  int64_t FirstSampleOf(int64_t frame) const;

  PlaybackContext& context_;
  VideoFileSurfaceOptions options_;
  std::unique_ptr<VideoFileWriter> writer_;
  std::unique_ptr<SoundPlayer> sound_;
  std::vector<float> samples_;
  uint32_t rate_ = 25;  // frames per second = rate_ / scale_
  uint32_t scale_ = 1;
  int64_t nextSoundFrame_ = -1;  // frame whose sound the player delivers next; -1 = not started
  int64_t framesWritten_ = 0;
  bool opened_ = false;
  bool failed_ = false;
};

}  // namespace qv
