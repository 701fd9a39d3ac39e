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

// The display dispatch. Each method has one surface (see Surfaces.h): 2, 3, 4 and windowed 5 the
// blit surface; 1, 7, 8 and full-screen 5 (interlacing goes through OpenGL) the OpenGL surface;
// 6 the DirectX surface. A method outside 1 ... 8 shows "Invalid output format." followed by the
// number in each of the three. A surface that this program has not installed is reported once, by
// OpenOutput, and PutFrame then returns false so that the session ends after its first frame.
//
// OpenOutput opens the method's surface for gFrames.OutputFrame's size, with the line codes of
// the shutter-glasses methods. For the sync-doubled methods (1, 7) the surface is asked for half
// the configured refresh rate (halves to even; below 56 Hz, and for "Default", 60 Hz); the
// configured rate comes back when the display closes, so every play asks for the same rate.
void OpenOutput(PlaybackRequest& request);
// Puts gFrames.OutputFrame on the open surface; false asks the session to stop. The OpenGL
// surface's own answer is not consulted.
bool PutFrame(PlaybackRequest& request, bool flag);
// Closes the surface that OpenOutput chose for the request, also when it was never opened.
void CloseOutput(PlaybackRequest& request);

// Whether frames go to the display as they come, without decoding or composing: side-by-side
// input for the two side-by-side methods, and row-interleaved input for the windowed interlaced
// method (unless the request's option switches ask for the full path).
bool CanPassThrough(const PlaybackRequest& request);

}  // namespace qv
