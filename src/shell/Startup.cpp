#include "shell/Startup.h"

#include "base/DisplayConfig.h"
#include "playback/CTime.h"
#include "shell/DisplaySettingsModel.h"

namespace qv {

void StartEngine(SettingsStore& store, DisplaySettingsModel& dialog) {
  gDisplay.InterlaceViaOpenGL = true;
  gTiming.PerfTimer = CTime();
  gTiming.PerfFrequency = gTiming.PerfTimer.Frequency();
  LoadSettings(store, dialog);
}

}  // namespace qv
