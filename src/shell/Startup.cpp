#include "shell/Startup.h"

#include "base/DisplayConfig.h"
#include "base/HighResTimer.h"
#include "shell/DisplaySettingsModel.h"

namespace qv {

void StartEngine(SettingsStore& store, DisplaySettingsModel& dialog) {
  gDisplay.InterlaceViaOpenGL = true;
  Timing& timing = ProcessTiming();
  timing.PerfTimer = HighResTimer();
  timing.PerfFrequency = timing.PerfTimer.Frequency();
  LoadSettings(store, dialog);
}

}  // namespace qv
