#pragma once
// Screen-mode switching for the full-screen surfaces: remember the mode the screen has, find and
// set the mode chosen in the display settings, and put the remembered mode back when the surface
// closes. What the screen offers and how a mode is changed comes from a ModeSwitcher: the X
// server's RandR extension in the program (XRandRModes.h), a fake in tests.
//
// A mode that was changed is also put back when the program ends without closing its surface:
// at exit (Ctrl+Q, the end of main) and when it is stopped by a fatal signal (a crash, SIGTERM,
// Ctrl+C). See ModeRestoreGuard below.

#include <cstdint>
#include <string>

namespace qv {

// Which fields of a ScreenMode a change asks for.
namespace mode {
inline constexpr uint32_t kBitsPerPel = 0x00040000;
inline constexpr uint32_t kPelsWidth = 0x00080000;
inline constexpr uint32_t kPelsHeight = 0x00100000;
inline constexpr uint32_t kDisplayFrequency = 0x00400000;
inline constexpr uint32_t kSizeAndDepth = kBitsPerPel | kPelsWidth | kPelsHeight;  // 0x001C0000
inline constexpr uint32_t kAll = kSizeAndDepth | kDisplayFrequency;                 // 0x005C0000
}  // namespace mode

struct ScreenMode {
  int32_t BitsPerPel = 0;
  int32_t PelsWidth = 0;
  int32_t PelsHeight = 0;
  int32_t DisplayFrequency = 0;  // hertz
  uint32_t Fields = 0;           // mode::k... of the fields a change asks for
  bool operator==(const ScreenMode&) const = default;
};

class ModeSwitcher {
 public:
  virtual ~ModeSwitcher() = default;
  // The index-th mode the primary display offers (0, 1, 2, ...): false when there is none.
  virtual bool ModeAt(int32_t index, ScreenMode& mode) = 0;
  // The screen as it is now: width, height, bits per pixel and refresh rate (0 when unknown).
  virtual ScreenMode CurrentMode() = 0;
  // Changes the screen to `mode` for as long as the program runs, honouring only the fields named
  // in mode.Fields. False when the display refuses (or there is none).
  virtual bool ChangeMode(const ScreenMode& mode) = 0;
};

// The shown text of a refused mode.
inline constexpr const char* kModeRefused =
    "Unable to set requested screen mode. Please check the options in settings.";

// The mode routines of one full-screen surface, with the mode it remembered.
class ScreenModes {
 public:
  explicit ScreenModes(ModeSwitcher& switcher) : switcher_(&switcher) {}
  ~ScreenModes();
  ScreenModes(const ScreenModes&) = delete;
  ScreenModes& operator=(const ScreenModes&) = delete;

  // Remembers the screen's width, height, bits per pixel and refresh rate.
  void SaveCurrentMode();
  // The first offered mode of width x height at bitsPerPixel whose refresh rate is refreshRate
  // (any when -1). None matching: the last mode offered; none offered at all: a zero record.
  ScreenMode FindMode(int32_t width, int32_t height, int32_t bitsPerPixel, int32_t refreshRate);
  // Remembers the current mode, then asks for width x height at bitsPerPixel, and for
  // refreshRate unless it is -1 (the display's default for that size). A refusal shows
  // kModeRefused and gives false. fullscreen is not consulted.
  bool SetScreenMode(int32_t width, int32_t height, int32_t bitsPerPixel, bool fullscreen,
                     int32_t& refreshRate);
  // Asks for the remembered mode again (its refresh rate as offered), unchecked, and forgets it.
  // Nothing when no mode is remembered; the exit and crash guard forgets this surface's change.
  void ResetDisplayMode();

  const ScreenMode& Remembered() const { return remembered_; }
  // Whether a change made by SetScreenMode is still to be put back.
  bool Changed() const { return changed_; }

 private:
  ModeSwitcher* switcher_;
  ScreenMode remembered_;
  bool saved_ = false;
  bool changed_ = false;
};

// Puts changed modes back when the program ends without closing its surfaces: installed by the
// first successful change, it runs at normal exit and on SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT,
// SIGTERM, SIGINT and SIGHUP (after which the signal takes its usual course). A restore from a
// crash talks to the display server from inside a signal handler: a best effort, which a
// server that is itself gone cannot need.
namespace ModeRestoreGuard {
// While `owner` has a change outstanding, `previous` is what to put back through `switcher`.
void Arm(const void* owner, ModeSwitcher& switcher, const ScreenMode& previous);
void Disarm(const void* owner);
// Puts back every outstanding change now (what the exit and signal paths call).
void RestoreAll();
}  // namespace ModeRestoreGuard

}  // namespace qv
