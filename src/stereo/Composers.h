#pragma once
// The stereo frame composers. Each turns the eye views frames.StereoViews (0 = left, 1 = right)
// into frames.OutputFrame for one output layout, after setting frames.ViewWidth and
// frames.ViewHeight to the smaller width and height of the two views. Where the views differ in
// size, the composers use the top-left ViewWidth x ViewHeight of each.
//
//   SaveAboveBelow   sync-doubled: both views squeezed into a screen-sized frame, left above right,
//                    with a black band of ScreenHeight / VertOffset rows between them; quick
//                    stretches with COLORONCOLOR, otherwise with the smoothing HALFTONE stretch
//   SaveSideBySide   left view, then right view, side by side
//   SaveAnaGray      (gR, gR, gL) in (blue, green, red), g the mean of each view's channels
//   SaveAnaColour    (blue of right, green of right, luminance of left)
//   SaveAnaYellow    (luminance of right, green of left, red of left)
//   SaveInterlace    rows alternate, left view on the top row; full screen scales to the screen
//
// The anaglyphs keep view 0's size; beyond the common size only the left view's part shows.
// Screen sizes come from the display settings passed in or, for full-screen interlacing without
// OpenGL, from the screen itself (stereo/ScreenSizes.h).
//
// Errors: each statement of a composer runs on its own; one that fails shows "An error occurred
// in <routine>. Attempting to continue. " followed by the error's description, and the composer
// goes on with the next statement (so a VertOffset of 0 reports a division by zero and still
// composes, without a band). One thread at a time; the frame buffers are not locked.

#include "base/DisplayConfig.h"
#include "stereo/AnaglyphMerge.h"
#include "stereo/FrameBuffers.h"

namespace qv {

void SaveAboveBelow(FrameBuffers& frames, const DisplayConfig& display, bool quick);
void SaveSideBySide(FrameBuffers& frames);
void SaveAnaGray(FrameBuffers& frames);
void SaveAnaColour(FrameBuffers& frames);
void SaveAnaYellow(FrameBuffers& frames);
void SaveInterlace(FrameBuffers& frames, const DisplayConfig& display, bool fullscreen);

// The anaglyph composers in their two forms. Step by step is the sequence that defines them:
// OutputFrame := copy of view 0 (the previous output emptied), grey and mask it; a temporary copy
// of view 1, grey and mask it; OR its common-size rectangle onto OutputFrame. One pass computes
// the same bytes with `row`, straight from the two views; it falls back to the steps where the
// views cannot be read (missing or empty views, or an output that is one of the views).
void SaveAnaglyphStepByStep(FrameBuffers& frames, AnaglyphKind kind);
void SaveAnaglyphOnePass(FrameBuffers& frames, AnaglyphKind kind, AnaglyphRow row);

}  // namespace qv
