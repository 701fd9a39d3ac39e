// Loading the stored display settings (defaults, parsed texts, broken values, garbage), the
// model's refusals, and the engine's start-up.
#include <gtest/gtest.h>

#include <fstream>

#include "base/HighResTimer.h"
#include "shell/DisplaySettingsModel.h"
#include "shell/SettingsStore.h"
#include "shell/Startup.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

class Settings : public ::testing::Test {
 protected:
  TempDir dir;
  RecordingSink sink;
};

TEST_F(Settings, StoredTextsAreParsedAndWhatCannotBeReadLeavesItsTargetAlone) {
  struct Case {
    const char* name;
    std::string ini;  // empty: no settings file
    int glasses;
    const char* glassesText;
    int refresh, depth, width, height, vertOffset;
  };
  const Case cases[] = {
      {"first start", "", 5, "Anaglyph (Red/Green)", -1, 32, 640, 480, 10},
      {"stored",
       "[3D]\nGlasses=2\n[DX7]\nRefresh=120\nDepth=16 bit\nRes=1280x1024\n[Options]\n"
       "VertFactor=25\n",
       2, "Eye3D Shutter Glasses", 120, 16, 1280, 1024, 25},
      // Unknown texts: the targets keep the zeros of a fresh configuration; the scroll bar its
      // designed position.
      {"unknown",
       "[3D]\nGlasses=lots\n[DX7]\nRefresh=59\nDepth=8 bit\nRes=1920x1080\n[Options]\n"
       "VertFactor=400\n",
       0, "", 0, 0, 0, 0, 10},
      {"garbage", std::string("\x00\xff[[[=\n\x01\x02Res=\xfe\n", 15), 5, "Anaglyph (Red/Green)",
       -1, 32, 640, 480, 10},
      {"glasses above seven", "[3D]\nGlasses=9\n", 1, "eDimensional Glasses", -1, 32, 640, 480, 10},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string ini = dir.File(std::string(c.name) + ".conf");
    if (!c.ini.empty()) std::ofstream(ini, std::ios::binary) << c.ini;
    DisplayConfig config;
    DisplaySettingsModel dialog(config);
    SettingsStore store(ini);
    LoadSettings(store, dialog, config);
    EXPECT_EQ(config.GlassesType, c.glasses);
    EXPECT_EQ(dialog.Glasses().Text(), c.glassesText);
    EXPECT_EQ(std::tuple(config.RefreshRate, config.ColourDepth, config.ScreenWidth,
                         config.ScreenHeight, config.VertOffset),
              std::tuple(c.refresh, c.depth, c.width, c.height, c.vertOffset));
    EXPECT_EQ(dialog.VertOffsetText(), std::to_string(c.vertOffset));
    if (c.width == 0) {
      EXPECT_EQ(dialog.Resolutions().Index(), -1);
    }
    EXPECT_EQ(std::filesystem::exists(ini), !c.ini.empty());  // nothing written at start-up
  }
  EXPECT_TRUE(sink.messages.empty());
}

// What the user picks in the dialog is checked with the dialog itself.
TEST_F(Settings, TheModelRefusesTextsAndOffsetsItDoesNotList) {
  DisplayConfig config;
  DisplaySettingsModel dialog(config);
  dialog.Load();
  EXPECT_TRUE(dialog.SetResolutionText("1024x768"));
  EXPECT_FALSE(dialog.SetResolutionText("1024 x 768"));
  EXPECT_EQ(std::tuple(config.ScreenWidth, config.ScreenHeight), std::tuple(1024, 768));
  EXPECT_FALSE(dialog.SetVertOffset(101) || dialog.SetVertOffset(-1));
  EXPECT_TRUE(dialog.SetVertOffset(0));
  EXPECT_EQ(config.VertOffset, 0);
  EXPECT_EQ(dialog.VertOffsetText(), "0");
}

TEST_F(Settings, StartEngineSetsTheTimerAndInterlaceRoute) {
  std::ofstream(dir.File("Quorvex.conf")) << "[3D]\nGlasses=6\n";
  const DisplayConfig saved = gDisplay;
  SettingsStore store(dir.File("Quorvex.conf"));
  DisplaySettingsModel dialog;
  StartEngine(store, dialog);
  EXPECT_TRUE(gDisplay.InterlaceViaOpenGL);
  EXPECT_EQ(gDisplay.GlassesType, 6);
  EXPECT_EQ(ProcessTiming().PerfFrequency, 1e9);
  gDisplay = saved;
}

}  // namespace
}  // namespace qv::test
