#pragma once
// The per-frame dispatchers of a playback session that decode and compose, shared by the session,
// `quorvex render` and `quorvex convert`. Both work on the frame buffers of image/FrameBuffers.h.
// Playback thread only.

#include "playback/PlaybackRequest.h"

namespace qv {

// Splits gFrames.SourceFrame into gFrames.StereoViews with the decoder of request.InputFormat
// (statistics mode 0, not from a file). For 2D-to-3D input (4) that is the plain 2D split; the
// caller then runs the conversion, which makes view 1. An InputFormat outside 1 ... 7 shows
// "Invalid input video format. " followed by the number and returns false.
bool DecodeFrame(PlaybackRequest& request);

// Composes gFrames.OutputFrame from the views with the composer of request.OutputMethod:
// 1, 7 sync-doubled (`flag` is the composer's quick flag), 2 grey anaglyph, 3 red/green
// anaglyph, 4 blue/yellow anaglyph, 5 interlaced (full screen as request.Fullscreen says), 6, 8
// side by side. Another method shows "Invalid output format." followed by the number and composes
// nothing.
void ComposeFrame(PlaybackRequest& request, bool flag);

// Whether frames go to the display as they come, without decoding or composing: side-by-side
// input for the two side-by-side methods, and row-interleaved input for the windowed interlaced
// method (unless the request's option switches ask for the full path).
bool CanPassThrough(const PlaybackRequest& request);

}  // namespace qv
