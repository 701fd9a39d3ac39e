// The display settings dialog, the statistics list and the depth map window.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QSpinBox>
#include <QTest>

#include "playback/SessionState.h"
#include "shell/DepthMapWindow.h"
#include "shell/DisplaySettingsDialog.h"
#include "shell/StatisticsWindow.h"
#include "shell/SettingsStore.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

class GlassesSetDialog : public ::testing::Test {
 protected:
  TempDir dir;
  RecordingSink sink;
  DisplayConfig config;
  DisplaySettingsModel model{config};
  SettingsStore store{dir.File("Quorvex.conf")};
};

TEST_F(GlassesSetDialog, ShowsTheLoadedSettingsAndParsesWhatTheUserPicks) {
  store.SaveSetting("DX7", "Res", "1024x768");
  store.SaveSetting("Options", "VertFactor", "12");
  LoadSettings(store, model, config);
  DisplaySettingsDialog dialog(model, store);
  EXPECT_EQ(QStringList({dialog.GlassesList()->currentText(), dialog.ResolutionList()->currentText(),
                         dialog.MegaPixelLabel()->text(), dialog.VertOffsetBox()->text()}),
            QStringList({"Anaglyph (Red/Green)", "1024x768", "0.8 Megapixel(s)", "12"}));
  EXPECT_EQ(std::pair(dialog.GlassesList()->count(), dialog.VertOffsetBar()->value()),
            std::pair(7, 12));

  dialog.ResolutionList()->setCurrentIndex(dialog.ResolutionList()->findText("1280x1024"));
  EXPECT_EQ(std::pair(config.ScreenWidth, config.ScreenHeight), std::pair(1280, 1024));
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
  for (const auto& [section, key, text] :
       {std::tuple{"3D", "Glasses", "2"}, {"DX7", "Res", "800 x600"}, {"DX7", "Depth", "32 bit"},
        {"DX7", "Refresh", "Default"}, {"Options", "VertFactor", "10"}})
    EXPECT_EQ(reread.GetSetting(section, key, ""), text) << key;
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

TEST(DepthMapWindow, PaintsFillsAndLoadsDepthOfTheFramesSize) {
  RecordingSink sink;
  const auto picture = PatternPicture(80, 60);
  auto depth = std::make_shared<Picture>();  // nothing yet: made black at the frame's size
  DepthMapWindow window(*picture, *depth);
  ASSERT_EQ(std::pair(depth->Width(), depth->Height()), std::pair(80, 60));

  // A brush of 10 pixels at level 200: a disc of radius 5 around the point.
  window.BrushSize()->setValue(10);
  window.BrushLevel()->setValue(200);
  window.PaintAt(40, 30);
  EXPECT_EQ(PixelAt(*depth, 40, 30), Grey(200));
  EXPECT_EQ(PixelAt(*depth, 44, 33), Grey(200));
  EXPECT_EQ(PixelAt(*depth, 45, 34), Grey(0));
  // A click on the canvas paints where it lands (the canvas shows the frame at its own size).
  window.BrushLevel()->setValue(90);
  QTest::mouseClick(window.Canvas(), Qt::LeftButton, {}, QPoint(10, 50));
  EXPECT_EQ(PixelAt(*depth, 10, 50), Grey(90));

  // A depth picture of another size is scaled to the frame; an unreadable one is refused.
  TempDir dir;
  QImage small(20, 10, QImage::Format_Grayscale8);
  small.fill(77);
  ASSERT_TRUE(small.save(QString::fromStdString(dir.File("depth.png"))));
  EXPECT_TRUE(window.LoadDepthPicture(QString::fromStdString(dir.File("depth.png"))));
  EXPECT_TRUE(SamePicture(*depth, *SolidPicture(80, 60, Grey(77))));
  EXPECT_FALSE(window.LoadDepthPicture(QString::fromStdString(dir.File("missing.png"))));
  EXPECT_EQ(sink.Texts().size(), 1u);
  window.FillAll();
  EXPECT_TRUE(SamePicture(*depth, *SolidPicture(80, 60, Grey(90))));
}

}  // namespace
}  // namespace qv::test
