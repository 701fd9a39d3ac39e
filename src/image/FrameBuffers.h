#pragma once
// The frame buffers of the playback engine, shared by the decoders (which write the views), the
// conversion (which writes view 1), the composers (which write OutputFrame) and the surfaces
// (which only read it). Used from the playback thread only.

#include <array>
#include <cstdint>

#include "image/Picture.h"

namespace qv {

struct FrameBuffers {
  PictureRef SourceFrame;                 // the current decoded frame
  std::array<PictureRef, 2> StereoViews;  // 0 = left eye, 1 = right eye
  PictureRef OutputFrame;                 // the composed frame handed to the display
  int32_t ViewWidth = 0;              // the smaller width of the two views, set by every composer
  int32_t ViewHeight = 0;             // the smaller height of the two views
};

inline FrameBuffers gFrames;

// The picture in a slot, creating an empty one when the slot is still empty.
Picture& AutoCreate(PictureRef& slot);

}  // namespace qv
