#pragma once
// What the program sets up before any window or command runs: the stage timer, the route of
// full-screen interlacing, and the display configuration from the stored settings.

namespace qv {

class SettingsStore;
class DisplaySettingsModel;

// Raises the timer's error when the machine has no high-resolution clock.
void StartEngine(SettingsStore& store, DisplaySettingsModel& dialog);

}  // namespace qv
