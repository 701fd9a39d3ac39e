#pragma once
// The screen modes of the X server, through its RandR extension: the modes of the primary output
// (or the first connected one) and the change of its CRTC to another of them.
//
// Bits per pixel are the X screen's: a depth-24 screen reports 32, the size of its pixels, and
// accepts a request for 24 or 32; other depths are refused (an X screen keeps its depth). A
// refresh rate of 0 or 1 asks for the mode's default, as does leaving the frequency out. The
// screen grows before a larger mode is set and shrinks to it afterwards when it has one output.
//
// Every call opens its own connection to the server named by DISPLAY (or `displayName`) and
// closes it again, so that a restore from a crash does not depend on a connection the crash may
// have left half-used. Without a server or without RandR 1.2, there are no modes and every
// change is refused.

#include <string>
#include <vector>

#include "display/ScreenModes.h"

namespace qv {

class XRandRModes : public ModeSwitcher {
 public:
  explicit XRandRModes(std::string displayName = {}) : displayName_(std::move(displayName)) {}

  bool ModeAt(int32_t index, ScreenMode& mode) override;
  ScreenMode CurrentMode() override;
  bool ChangeMode(const ScreenMode& mode) override;

 private:
  std::string displayName_;
  std::vector<ScreenMode> modes_;  // read afresh when index 0 is asked for
};

// The process-wide switcher of the window surfaces.
XRandRModes& TheXRandRModes();

}  // namespace qv
