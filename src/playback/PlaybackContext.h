#pragma once
// Everything one playback session works on, owned by the session (PlaybackSession) and passed by
// reference to the stages of its frame loop. The frame loop runs on the user-interface thread;
// each field says who else may touch it.

#include "base/DisplayConfig.h"
#include "base/HighResTimer.h"
#include "convert/ConversionDriver.h"
#include "image/PixelArrays.h"
#include "playback/SessionState.h"
#include "stereo/FrameBuffers.h"
#include "video/DecoderThread.h"
#include "video/VideoReader.h"

namespace qv {

struct PlaybackContext {
  explicit PlaybackContext(qv::Timing& timing = ProcessTiming()) : Timing(timing) {}
  PlaybackContext(const PlaybackContext&) = delete;
  PlaybackContext& operator=(const PlaybackContext&) = delete;

  // Frame loop only. The decoders write the views, the conversion view 1, the composers
  // OutputFrame; a surface reads OutputFrame only inside PutImage.
  FrameBuffers Frames;
  // Frame loop only: the arrays that the session's image processors share.
  ProcessorArrays Arrays;
  // User-interface thread (the frame loop's); read by the control bar, the statistics window and
  // the video-file surface, and StopRequested set by handlers running inside the loop.
  SessionState Session;
  // Frame loop only: the open video. While the session plays, its file belongs to Decoder.
  VideoReaderState Video;
  // Frame loop only (Stop from any thread): decodes the frames of the open video on a thread of
  // its own, a few frames ahead of the loop.
  DecoderThread Decoder;
  // Frame loop only: the display settings the session was started with (a copy of the settings
  // that the dialog keeps), with the refresh rate halved for sync-doubled output.
  DisplayConfig Display;
  // The program's stage timer (user-interface thread), shared with the conversion.
  qv::Timing& Timing;
  // Frame loop only: the 2D-to-3D conversion, with its depth map and held-back frames.
  ConversionDriver Conversion{Arrays, Timing};
};

}  // namespace qv
