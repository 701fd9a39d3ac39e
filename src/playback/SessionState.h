#pragma once
// What a playback session shows the rest of the program: the frame it plays, whether it is asked
// to stop, and its smoothed stage times. All of it belongs to the user-interface thread, on which
// the frame loop runs: handlers that run inside the loop's event processing (the control bar, the
// menus, the display windows) talk to the loop only through StopRequested and CurrentFrame.

#include <array>
#include <cstdint>

namespace qv {

struct SessionState {
  int32_t CurrentFrame = 0;           // absolute stream frame number being played
  bool StopRequested = false;         // the loop ends after the frame in hand
  bool DisplayPending = false;        // true from the start of a session until the display opens
  std::array<float, 4> StageTimes{};  // smoothed seconds per frame: Get Frame, Decode, Encode, Put
  float ConvertFrameTime = 0.0f;      // smoothed seconds per converted 2D frame; 0 until one ran
};

// Folds one measurement into a smoothed stage time: an exponential average over about 30 frames.
inline float FoldStageTime(float smoothed, double seconds) {
  return static_cast<float>((smoothed * 29.0 + seconds) / 30.0);
}

}  // namespace qv
