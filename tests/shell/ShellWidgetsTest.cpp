// The display settings dialog and the statistics list.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>

#include "playback/SessionState.h"
#include "shell/DisplaySettingsDialog.h"
#include "shell/StatisticsWindow.h"
#include "shell/SettingsStore.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

class GlassesSetDialog : public ::testing::Test {
 protected:
  test::TempDir dir;
  test::RecordingSink sink;
  DisplayConfig config;
  DisplaySettingsModel model{config};
  SettingsStore store{dir.File("Quorvex.conf")};
};

TEST_F(GlassesSetDialog, ShowsTheLoadedSettingsAndParsesWhatTheUserPicks) {
  store.SaveSetting("DX7", "Res", "1024x768");
  store.SaveSetting("Options", "VertFactor", "12");
  LoadSettings(store, model, config);
  DisplaySettingsDialog dialog(model, store);
  EXPECT_EQ(dialog.GlassesList()->currentText(), "Anaglyph (Red/Green)");
  EXPECT_EQ(dialog.GlassesList()->count(), 7);
  EXPECT_EQ(dialog.ResolutionList()->currentText(), "1024x768");
  EXPECT_EQ(dialog.MegaPixelLabel()->text(), "0.8 Megapixel(s)");
  EXPECT_EQ(dialog.VertOffsetBar()->value(), 12);
  EXPECT_EQ(dialog.VertOffsetBox()->text(), "12");

  dialog.ResolutionList()->setCurrentIndex(dialog.ResolutionList()->findText("1280x1024"));
  EXPECT_EQ(config.ScreenWidth, 1280);
  EXPECT_EQ(config.ScreenHeight, 1024);
  EXPECT_EQ(dialog.MegaPixelLabel()->text(), "1.3 Megapixel(s)");
  dialog.RefreshList()->setCurrentIndex(dialog.RefreshList()->findText("Default"));
  EXPECT_EQ(config.RefreshRate, -1);
  dialog.RefreshList()->setCurrentIndex(dialog.RefreshList()->findText("100"));
  EXPECT_EQ(config.RefreshRate, 100);
  dialog.ColourDepthList()->setCurrentIndex(dialog.ColourDepthList()->findText("16 bit"));
  EXPECT_EQ(config.ColourDepth, 16);
  dialog.VertOffsetBar()->setValue(40);
  EXPECT_EQ(config.VertOffset, 40);
  EXPECT_EQ(dialog.VertOffsetBox()->text(), "40");
}

TEST_F(GlassesSetDialog, OkStoresTheTextsThatLoadAgainAndHintsOnlyForShutterGlasses) {
  LoadSettings(store, model, config);
  DisplaySettingsDialog dialog(model, store);
  dialog.show();
  dialog.GlassesList()->setCurrentIndex(1);  // "Eye3D Shutter Glasses"
  dialog.ResolutionList()->setCurrentIndex(dialog.ResolutionList()->findText("800 x600"));
  dialog.OkButton()->click();
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_EQ(config.GlassesType, 2);
  EXPECT_EQ(sink.Texts(), std::vector<std::string>{kShutterGlassesHint});
  SettingsStore reread(dir.File("Quorvex.conf"));
  EXPECT_EQ(reread.GetSetting("3D", "Glasses", ""), "2");
  EXPECT_EQ(reread.GetSetting("DX7", "Res", ""), "800 x600");
  EXPECT_EQ(reread.GetSetting("DX7", "Depth", ""), "32 bit");
  EXPECT_EQ(reread.GetSetting("DX7", "Refresh", ""), "Default");
  EXPECT_EQ(reread.GetSetting("Options", "VertFactor", ""), "10");
  DisplayConfig reloaded;
  DisplaySettingsModel second(reloaded);
  LoadSettings(reread, second, reloaded);
  EXPECT_EQ(std::tuple(reloaded.GlassesType, reloaded.ScreenWidth, reloaded.ScreenHeight),
            std::tuple(2, 800, 600));

  dialog.GlassesList()->setCurrentIndex(3);  // anaglyph: no hint
  dialog.OkButton()->click();
  EXPECT_EQ(sink.messages.size(), 1u);
}

TEST(StatisticsWindow, ListsTheStageTimesAndTheConversionRateOnceThereIsOne) {
  SessionState state;
  StatisticsWindow statistics(state);
  state.ConvertFrameTime = 0.04f;
  state.StageTimes = {0.0125f, 0.002f, 0.00003f, 0.0333333f};
  statistics.LoadProfile();
  QStringList lines;
  for (int i = 0; i < statistics.StatsList()->count(); ++i)
    lines << statistics.StatsList()->item(i)->text();
  EXPECT_EQ(lines, QStringList({"FPS: 25", "Get Frame: 0.0125", "Decode: 0.002", "Encode: 3E-05",
                                "Put: 0.0333333"}));
  state.ConvertFrameTime = -1.0f;
  statistics.LoadProfile();
  EXPECT_EQ(statistics.StatsList()->count(), 4);
}

}  // namespace
}  // namespace qv
