#include "shell/Startup.h"

#include "base/DisplayConfig.h"
#include "base/HighResTimer.h"
#include "shell/DisplaySettingsModel.h"

namespace qv {

void StartEngine(SettingsStore& store, DisplaySettingsModel& dialog) {
  gDisplay.InterlaceViaOpenGL = true;
  gTiming.PerfTimer = HighResTimer();
  gTiming.PerfFrequency = gTiming.PerfTimer.Frequency();
  LoadSettings(store, dialog);
}

}  // namespace qv
