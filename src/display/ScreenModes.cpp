#include "display/ScreenModes.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <mutex>

#include "base/Seams.h"

namespace qv {

ScreenModes::~ScreenModes() {
  ModeRestoreGuard::Disarm(this);
}

void ScreenModes::SaveCurrentMode() {
  remembered_ = switcher_->CurrentMode();
  remembered_.Fields = 0;
  saved_ = true;
}

ScreenMode ScreenModes::FindMode(int32_t width, int32_t height, int32_t bitsPerPixel,
                                 int32_t refreshRate) {
  ScreenMode found;
  ScreenMode candidate;
  for (int32_t index = 0; switcher_->ModeAt(index, candidate); ++index) {
    found = candidate;
    if (candidate.PelsWidth == width && candidate.PelsHeight == height &&
        candidate.BitsPerPel == bitsPerPixel &&
        (refreshRate == -1 || candidate.DisplayFrequency == refreshRate)) {
      break;
    }
  }
  found.Fields = 0;
  return found;
}

bool ScreenModes::SetScreenMode(int32_t width, int32_t height, int32_t bitsPerPixel,
                                bool fullscreen, int32_t& refreshRate) {
  (void)fullscreen;
  SaveCurrentMode();
  ScreenMode wanted = FindMode(width, height, bitsPerPixel, refreshRate);
  wanted.BitsPerPel = bitsPerPixel;
  wanted.PelsWidth = width;
  wanted.PelsHeight = height;
  wanted.Fields = mode::kSizeAndDepth;
  if (refreshRate != -1) {
    wanted.DisplayFrequency = refreshRate;
    wanted.Fields = mode::kAll;
  }
  if (!switcher_->ChangeMode(wanted)) {
    MsgBox(kModeRefused);
    return false;
  }
  if (!changed_) {
    ScreenMode previous = remembered_;
    previous.Fields = mode::kAll;
    ModeRestoreGuard::Arm(this, *switcher_, previous);
  }
  changed_ = true;
  return true;
}

void ScreenModes::ResetDisplayMode() {
  if (!saved_) return;
  ScreenMode back = FindMode(remembered_.PelsWidth, remembered_.PelsHeight, remembered_.BitsPerPel,
                             remembered_.DisplayFrequency);
  back.PelsWidth = remembered_.PelsWidth;
  back.PelsHeight = remembered_.PelsHeight;
  back.BitsPerPel = remembered_.BitsPerPel;
  back.Fields = remembered_.DisplayFrequency != -1 ? mode::kAll : mode::kSizeAndDepth;
  (void)switcher_->ChangeMode(back);
  saved_ = false;
  changed_ = false;
  ModeRestoreGuard::Disarm(this);
}

namespace ModeRestoreGuard {

namespace {

struct Outstanding {
  const void* owner = nullptr;
  ModeSwitcher* switcher = nullptr;
  ScreenMode previous;
};

// One slot for each full-screen surface; the program has two.
std::array<Outstanding, 4> gOutstanding;
std::recursive_mutex gLock;

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTERM, SIGINT, SIGHUP};
struct sigaction gPreviousActions[std::size(kSignals)];

// Puts the modes back, then gives the signal to whoever handled it before (the default action,
// or a sanitizer's report) by raising it again.
extern "C" void RestoreOnSignal(int signal) {
  RestoreAll();
  for (size_t k = 0; k < std::size(kSignals); ++k) {
    if (kSignals[k] == signal) sigaction(signal, &gPreviousActions[k], nullptr);
  }
  std::raise(signal);
}

void RestoreAtExit() {
  RestoreAll();
}

void InstallOnce() {
  static bool installed = false;
  if (installed) return;
  installed = true;
  std::atexit(RestoreAtExit);
  for (size_t k = 0; k < std::size(kSignals); ++k) {
    sigaction(kSignals[k], nullptr, &gPreviousActions[k]);
    // A signal the program chose to ignore stays ignored.
    if (gPreviousActions[k].sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = RestoreOnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_NODEFER;
    sigaction(kSignals[k], &action, nullptr);
  }
}

}  // namespace

void Arm(const void* owner, ModeSwitcher& switcher, const ScreenMode& previous) {
  std::lock_guard lock(gLock);
  InstallOnce();
  Outstanding* free = nullptr;
  for (Outstanding& slot : gOutstanding) {
    if (slot.owner == owner) return;  // the first change's mode is the one to go back to
    if (!free && !slot.owner) free = &slot;
  }
  if (free) *free = {owner, &switcher, previous};
}

void Disarm(const void* owner) {
  std::lock_guard lock(gLock);
  for (Outstanding& slot : gOutstanding) {
    if (slot.owner == owner) slot = {};
  }
}

void RestoreAll() {
  // Taken again from a signal that interrupted Arm or Disarm on this thread: the recursive lock
  // lets the restore go ahead rather than hang.
  std::unique_lock lock(gLock, std::try_to_lock);
  for (Outstanding& slot : gOutstanding) {
    if (!slot.owner) continue;
    const Outstanding restore = slot;
    slot = {};
    restore.switcher->ChangeMode(restore.previous);
  }
}

}  // namespace ModeRestoreGuard

}  // namespace qv
