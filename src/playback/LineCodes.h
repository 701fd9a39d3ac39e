#pragma once
// The line codes that switch page-flipping shutter glasses on, into a mode and off: small
// pictures whose every row is one pure colour. A surface stretches a code across the top of the
// screen, so each row becomes one full-width scan line, and keeps it there for a second.

#include "image/Picture.h"

namespace qv {

enum class LineCode {
  EDSync,
  EDInterlace,
  EDOff,
  EDInterlaceDeactivate,
  EDPageStart,
  EyeSync,
  EyeOff,
};

// A new 24-bit picture of the code.
PictureRef CreateLineCode(LineCode code);

}  // namespace qv
