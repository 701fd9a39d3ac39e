#pragma once
// The per-frame dispatchers of a playback session, shared by the session, `quorvex render` and
// `quorvex convert`. Each reads the tables of input formats (stereo/InputFormats.h) and output
// methods (playback/OutputMethods.h); they work on the context's frame buffers with the context's
// display settings. Frame-loop thread only.

#include "playback/PlaybackContext.h"
#include "playback/PlaybackRequest.h"

namespace qv {

// Splits Frames.SourceFrame into Frames.StereoViews with the decoder of request.InputFormat
// (statistics mode 0, not from a file). For 2D-to-3D input that is the plain 2D split; the caller
// then runs the conversion, which makes view 1. A format outside the table shows "Invalid input
// video format. " followed by the number and returns false.
bool DecodeFrame(PlaybackContext& context, PlaybackRequest& request);

// Composes Frames.OutputFrame from the views with the composer of request.OutputMethod; `flag` is
// the sync-doubled composer's quick flag. A method outside the table shows "Invalid output
// format." followed by the number and composes nothing.
void ComposeFrame(PlaybackContext& context, PlaybackRequest& request, bool flag);

// The display dispatch. Each method's route (window or full screen) names its surface, see
// OutputMethods.h. A method outside the table shows "Invalid output format." followed by the
// number in each of the three. A surface that the front end has not installed is reported once, by
// OpenOutput, and PutFrame then returns false so that the session ends after its first frame.
//
// OpenOutput opens the route's surface for Frames.OutputFrame's size, with the route's line codes.
// For the sync-doubled methods the context's refresh rate is halved first (halves to even; below
// 56 Hz, and for "Default", 60 Hz); the settings the dialog keeps are not touched, so every play
// asks for the same rate.
void OpenOutput(PlaybackContext& context, PlaybackRequest& request);
// Puts Frames.OutputFrame on the open surface; false asks the session to stop. The OpenGL
// surface's own answer is not consulted.
bool PutFrame(PlaybackContext& context, PlaybackRequest& request, bool flag);
// Closes the surface that OpenOutput chose for the request, also when it was never opened.
void CloseOutput(PlaybackContext& context, PlaybackRequest& request);

// Whether frames go to the display as they come, without decoding or composing: side-by-side
// input for the two side-by-side methods, and row-interleaved input for the windowed interlaced
// method (unless the request's option switches ask for the full path).
bool CanPassThrough(const PlaybackRequest& request);

}  // namespace qv
