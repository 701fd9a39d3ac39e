#pragma once
// The conversion step of the frame loop for input formats that turn 2D video into stereo: after
// the 2D decoder has put the frame into both views, the session's conversion driver makes the
// right view, and the smoothed conversion time goes to the statistics.

#include <cstdint>

#include "playback/PlaybackContext.h"

namespace qv {

// continuing: false on the first frame of a session (or of a run of frames that starts afresh).
// noFrameShift non-zero renders the nine-view grid into view 1 and OutputFrame instead of one view.
void ConvertFrame(PlaybackContext& context, bool continuing, int16_t noFrameShift = 0);

}  // namespace qv
