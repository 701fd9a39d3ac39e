#pragma once
// The frame buffers of one piece of stereo work (a playback session, a layout guess, a render):
// the decoders write the views, the conversion writes view 1, the composers write OutputFrame and
// the display surfaces only read it. One thread at a time.

#include <array>
#include <cstdint>

#include "image/Picture.h"

namespace qv {

struct FrameBuffers {
  PictureRef SourceFrame;                 // the current decoded frame
  std::array<PictureRef, 2> StereoViews;  // 0 = left eye, 1 = right eye
  PictureRef OutputFrame;                 // the composed frame handed to the display
  int32_t ViewWidth = 0;                  // the smaller width of the two views, set by every composer
  int32_t ViewHeight = 0;                 // the smaller height of the two views
};

}  // namespace qv
