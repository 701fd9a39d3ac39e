#pragma once
// The line codes that switch page-flipping shutter glasses on, into a mode and off: small
// pictures whose every row is one pure colour. A surface stretches a code across the top of the
// screen, so each row becomes one full-width scan line, and keeps it there for a second.

#include "image/cDIBSection.h"

namespace qv {

enum class LineCode {
  Linecode_ED_Sync,
  Linecode_ED_Interlace,
  Linecode_ED_Off,
  ED_int_Deact_image,
  eD_Page_Start,
  Linecode_Eye_Sync,
  Linecode_Eye_Off,
};

// A new 24-bit picture of the code.
DibRef CreateLineCode(LineCode code);

}  // namespace qv
