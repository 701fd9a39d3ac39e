#include <gtest/gtest.h>

#include <fstream>

#include "shell/DisplaySettingsModel.h"
#include "shell/SettingsStore.h"
#include "shell/Startup.h"
#include "playback/CTime.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

class Settings : public ::testing::Test {
 protected:
  std::string Ini() const { return dir.File("Quorvex.conf"); }
  void WriteIni(const std::string& text) const { std::ofstream(Ini()) << text; }
  DisplayConfig LoadFrom(DisplaySettingsModel& dialog) {
    SettingsStore store(Ini());
    LoadSettings(store, dialog, config);
    return config;
  }

  test::TempDir dir;
  test::RecordingSink sink;
  DisplayConfig config;
};

TEST_F(Settings, FirstStartTakesTheDefaults) {
  DisplaySettingsModel dialog(config);
  LoadFrom(dialog);
  EXPECT_EQ(config.GlassesType, 5);
  EXPECT_EQ(dialog.Glasses().Text(), "Anaglyph (Red/Green)");
  EXPECT_EQ(config.RefreshRate, -1);
  EXPECT_EQ(config.ColourDepth, 32);
  EXPECT_EQ(config.ScreenWidth, 640);
  EXPECT_EQ(config.ScreenHeight, 480);
  EXPECT_EQ(config.VertOffset, 10);
  EXPECT_EQ(dialog.VertOffsetText(), "10");
  EXPECT_EQ(dialog.MegaPixelCaption(), "0.3 Megapixel(s)");
  EXPECT_FALSE(std::filesystem::exists(Ini()));  // nothing is written at start-up
  EXPECT_TRUE(sink.messages.empty());
}

TEST_F(Settings, StoredTextsAreParsedAsTheDialogParsesThem) {
  WriteIni("[3D]\nGlasses=2\n[DX7]\nRefresh=120\nDepth=16 bit\nRes=1280x1024\n[Options]\nVertFactor=25\n");
  DisplaySettingsModel dialog(config);
  LoadFrom(dialog);
  EXPECT_EQ(config.GlassesType, 2);
  EXPECT_EQ(config.RefreshRate, 120);
  EXPECT_EQ(config.ColourDepth, 16);
  EXPECT_EQ(config.ScreenWidth, 1280);
  EXPECT_EQ(config.ScreenHeight, 1024);
  EXPECT_EQ(dialog.MegaPixelCaption(), "1.3 Megapixel(s)");
  EXPECT_EQ(config.VertOffset, 25);
  EXPECT_EQ(dialog.VertOffsetText(), "25");
}

TEST_F(Settings, UnknownAndBrokenValuesLeaveTheirTargetsAlone) {
  WriteIni("[3D]\nGlasses=lots\n[DX7]\nRefresh=59\nDepth=8 bit\nRes=1920x1080\n[Options]\nVertFactor=400\n");
  DisplaySettingsModel dialog(config);
  LoadFrom(dialog);
  EXPECT_EQ(config.GlassesType, 0);
  EXPECT_EQ(dialog.Glasses().Index(), -1);
  EXPECT_EQ(dialog.Resolutions().Index(), -1);
  EXPECT_EQ(config.ScreenWidth, 0);
  EXPECT_EQ(config.ScreenHeight, 0);
  EXPECT_EQ(config.RefreshRate, 0);
  EXPECT_EQ(config.ColourDepth, 0);
  EXPECT_EQ(config.VertOffset, 10);  // the scroll bar's designed position
  EXPECT_TRUE(sink.messages.empty());
}

TEST_F(Settings, GarbageFileReadsAsAFirstStart) {
  static constexpr char kGarbage[] = "\x00\xff[[[=\n\x01\x02Res=\xfe\n";
  std::ofstream(Ini(), std::ios::binary) << std::string(kGarbage, sizeof kGarbage - 1);
  DisplaySettingsModel dialog(config);
  LoadFrom(dialog);
  EXPECT_EQ(config.GlassesType, 5);
  EXPECT_EQ(config.ScreenWidth, 640);
}

TEST_F(Settings, GlassesTypeAboveSevenBecomesOneWhenTheDialogLoads) {
  WriteIni("[3D]\nGlasses=9\n");
  DisplaySettingsModel dialog(config);
  LoadFrom(dialog);
  EXPECT_EQ(config.GlassesType, 1);
  EXPECT_EQ(dialog.Glasses().Text(), "eDimensional Glasses");
}

TEST_F(Settings, HandlersKeepTheConfigurationInStep) {
  DisplaySettingsModel dialog(config);
  dialog.Load();
  EXPECT_TRUE(dialog.SetResolutionText("1024x768"));
  EXPECT_EQ(config.ScreenWidth, 1024);
  EXPECT_EQ(config.ScreenHeight, 768);
  EXPECT_EQ(dialog.MegaPixelCaption(), "0.8 Megapixel(s)");
  EXPECT_FALSE(dialog.SetResolutionText("1024 x 768"));
  EXPECT_EQ(dialog.Resolutions().Text(), "1024x768");
  EXPECT_TRUE(dialog.SelectRefresh(0));
  EXPECT_EQ(config.RefreshRate, -1);
  EXPECT_TRUE(dialog.SetRefreshText("85"));
  EXPECT_EQ(config.RefreshRate, 85);
  EXPECT_TRUE(dialog.SelectDepth(1));
  EXPECT_EQ(config.ColourDepth, 24);
  EXPECT_FALSE(dialog.SetVertOffset(101));
  EXPECT_FALSE(dialog.SetVertOffset(-1));
  EXPECT_TRUE(dialog.SetVertOffset(0));
  EXPECT_EQ(config.VertOffset, 0);
  EXPECT_EQ(dialog.VertOffsetText(), "0");
}

TEST_F(Settings, OkWritesTheFiveSettingsAndHintsForShutterGlasses) {
  DisplaySettingsModel dialog(config);
  LoadFrom(dialog);
  dialog.SelectGlasses(2);  // "I-Glasses Shutter Glasses"
  dialog.SetResolutionText("800 x600");
  dialog.SetVertOffset(33);
  {
    SettingsStore store(Ini());
    dialog.Confirm(store);
  }
  EXPECT_EQ(config.GlassesType, 3);
  ASSERT_EQ(sink.messages.size(), 1u);
  EXPECT_EQ(sink.messages[0].text, kShutterGlassesHint);

  DisplayConfig reloaded;
  DisplaySettingsModel second(reloaded);
  SettingsStore store(Ini());
  LoadSettings(store, second, reloaded);
  EXPECT_EQ(reloaded.GlassesType, 3);
  EXPECT_EQ(reloaded.ScreenWidth, 800);
  EXPECT_EQ(reloaded.ScreenHeight, 600);
  EXPECT_EQ(reloaded.VertOffset, 33);
  EXPECT_EQ(store.GetSetting("DX7", "Res", ""), "800 x600");
  EXPECT_EQ(store.GetSetting("DX7", "Refresh", ""), "Default");

  dialog.SelectGlasses(4);  // anaglyph: no hint
  dialog.Confirm(store);
  EXPECT_EQ(sink.messages.size(), 1u);
}

TEST_F(Settings, StartEngineSetsTheTimerAndInterlaceRoute) {
  WriteIni("[3D]\nGlasses=6\n");
  const DisplayConfig saved = gDisplay;
  SettingsStore store(Ini());
  DisplaySettingsModel dialog;
  StartEngine(store, dialog);
  EXPECT_TRUE(gDisplay.InterlaceViaOpenGL);
  EXPECT_EQ(gDisplay.GlassesType, 6);
  EXPECT_EQ(gTiming.PerfFrequency, 1e9);
  gDisplay = saved;
}

}  // namespace
}  // namespace qv
