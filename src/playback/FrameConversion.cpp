#include "playback/FrameConversion.h"

namespace qv {

void ConvertFrame(PlaybackContext& context, bool continuing, int16_t noFrameShift) {
  FrameBuffers& frames = context.Frames;
  // Automatic depth, the fast tracker and the engine's renderer, the frame shift scaled to the
  // frame's width.
  context.Conversion.ConvertFrame(frames.StereoViews, frames.OutputFrame, continuing, false, 0,
                                  noFrameShift, true, FrameShiftOption::Automatic);
  context.Session.ConvertFrameTime = context.Conversion.ConvertFrameTime();
}

}  // namespace qv
