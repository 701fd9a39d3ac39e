#pragma once
// One playback session: open the video, then frame by frame fetch, decode, convert, compose, put
// and pace against the sound track, until the range ends or a stop is requested. Runs on the
// user-interface thread and lets the user interface process its messages once a frame.

#include "playback/PlaybackRequest.h"

namespace qv {

// Runs a whole session and returns when it has ended; every failure is reported inside it.
// Called while another session runs (from a handler inside that session's message processing),
// it asks that session to stop and starts once that one has closed its video and display.
void PlaySession(PlaybackRequest& request);

// Whether a session is running now.
bool SessionRunning();

}  // namespace qv
