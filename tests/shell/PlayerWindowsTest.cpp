// The main window and the control bar on the offscreen platform. Plays either run a real session
// on the blit surface, or hand their request to a recorder that stands in for the session. (Play,
// Stop, Full during a play, a click in the picture, the caption while playing and Ctrl+Q are
// checked on the real program by the end-to-end test.)
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QDropEvent>
#include <QListWidget>
#include <QMenuBar>
#include <QMimeData>
#include <QProgressBar>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <filesystem>
#include <fstream>

#include "base/DisplayConfig.h"
#include "base/Numbers.h"
#include "display/QtSeams.h"
#include "display/BlitSurface.h"
#include "playback/PlaySession.h"
#include "playback/SoundTrack.h"
#include "playback/Surfaces.h"
#include "shell/DisplaySettingsModel.h"
#include "shell/MainWindow.h"
#include "shell/ControlBar.h"
#include "shell/DisplaySettingsDialog.h"
#include "shell/StatisticsWindow.h"
#include "shell/SettingsStore.h"
#include "shell/Startup.h"
#include "video/MediaSupport.h"
#include "video/ScriptBridge.h"

namespace qv {
namespace {

using test::Media;

QString Clip(const std::string& name) {
  return QString::fromStdString(Media(name));
}

}  // namespace

// Takes the URLs that the desktop would open.
class UrlRecorder : public QObject {
  Q_OBJECT
 public:
  QList<QUrl> urls;
  Q_INVOKABLE void open(const QUrl& url) { urls << url; }
};

namespace {

const std::string kLayoutTail =
    ". If this is incorrect then it can be changed by selecting the 'Format' drop down menu.";

class PlayerWindows : public ::testing::Test {
 protected:
  void SetUp() override {
    SetScreenInfo(&screen);
    SetEventPump(&pump);
    savedDisplay = gDisplay;
    gDisplay.GlassesType = 5;
    main.SetFileChooser([this](QWidget*, const QString& filter) {
      ++chooserCalls;
      EXPECT_EQ(filter, MainWindow::OpenFileFilter());
      return chosen;
    });
    main.SetSessionRunner([this](PlaybackRequest& request) {
      requests.push_back(request);
    });
    main.show();
    main.Bar().show();
    main.TrackControlBar();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&main));
  }
  void TearDown() override {
    SetDisplaySurface(SurfaceKind::Blit, nullptr);
    TheBlitSurface().CloseDisplay();
    ReleaseSound();
    TheBlitSurface().SetTarget(nullptr);
    SetEventPump(nullptr);
    SetScreenInfo(nullptr);
    gDisplay = savedDisplay;
  }
  // Plays through the real session on the blit surface in the main window.
  void UseRealSessions() {
    main.SetSessionRunner([this](PlaybackRequest& request) { main.Playback().PlaySession(request); });
    TheBlitSurface().SetTarget(main.PictureArea());
    SetDisplaySurface(SurfaceKind::Blit, &TheBlitSurface());
  }
  QAction* Item(const QString& menu, const QString& item) {
    for (QAction* m : main.menuBar()->actions()) {
      if (m->text() != menu) continue;
      for (QAction* a : m->menu()->actions()) {
        if (a->text() == item) return a;
      }
    }
    ADD_FAILURE() << "no item " << item.toStdString();
    return nullptr;
  }
  void ClickArea(const QRect& area) {
    QTest::mouseClick(main.Bar().Picture(), Qt::LeftButton, {}, area.center());
  }
  void Drop(const QString& path) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(path)});
    QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                          {});
    main.dragEnterEvent(&enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(20, 20), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
    drop.setAccepted(false);
    main.dropEvent(&drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_EQ(drop.dropAction(), Qt::CopyAction);
    QCoreApplication::processEvents();
  }

  QtScreenInfo screen;
  QtEventPump pump;
  test::RecordingSink sink;
  DisplayConfig savedDisplay;
  test::TempDir dir;
  test::ScopedEnv dataHome{"XDG_DATA_HOME", dir.Path().string()};
  // The window's drag-and-drop handlers are called as the window system would call them.
  struct DropTarget : MainWindow {
    using MainWindow::dragEnterEvent;
    using MainWindow::dropEvent;
  } main;
  QString chosen;
  int chooserCalls = 0;
  std::vector<PlaybackRequest> requests;
};

TEST_F(PlayerWindows, MenusHaveTheirItemsInOrderAndStartWith2DAndTheControlBarChecked) {
  QStringList layout;
  for (QAction* menu : main.menuBar()->actions()) {
    QStringList items;
    for (QAction* a : menu->menu()->actions()) items << (a->isSeparator() ? "-" : a->text());
    layout << menu->text() + ": " + items.join(", ");
  }
  EXPECT_EQ(layout,
            QStringList({"&File: Open, Settings, -, Exit",
                         "View: Control Bar, -, Statistics, -, Fullscreen", "Play: Start, Stop",
                         "Format: 2D, Parallel, Above/Below", "Help: About, Contents"}));
  EXPECT_TRUE(Item("Format", "2D")->isChecked());
  EXPECT_EQ(main.CheckedInputFormat(), InputFormat::Converted2D);
  EXPECT_TRUE(Item("View", "Control Bar")->isChecked());

  // Exactly one Format item stays checked, whichever is chosen, even chosen twice.
  for (const auto& [caption, format] :
       {std::pair{"Parallel", InputFormat::Parallel}, {"Parallel", InputFormat::Parallel},
        {"Above/Below", InputFormat::AboveBelow}, {"2D", InputFormat::Converted2D}}) {
    Item("Format", caption)->trigger();
    int checked = 0;
    for (const char* c : {"2D", "Parallel", "Above/Below"})
      checked += Item("Format", c)->isChecked();
    EXPECT_EQ(checked, 1) << caption;
    EXPECT_EQ(main.CheckedInputFormat(), format) << caption;
  }
}

TEST_F(PlayerWindows, OpenChecksTheGuessedLayoutOrForgetsAFileThatDoesNotOpen) {
  for (const auto& [clip, caption] : {std::pair{"sbs_scene.mkv", "Parallel"},
                                      {"ab_scene.mkv", "Above/Below"},
                                      {"flat_valley.mkv", "2D"}}) {
    sink.messages.clear();
    main.OpenFile(Clip(clip));
    EXPECT_EQ(sink.Texts(), std::vector<std::string>{"This video appears to be " +
                                                     std::string(caption) + kLayoutTail});
    EXPECT_TRUE(Item("Format", caption)->isChecked()) << clip;
  }

  // Nothing chosen in the file dialog: an open with an empty name.
  sink.messages.clear();
  Item("&File", "Open")->trigger();
  EXPECT_EQ(chooserCalls, 1);
  EXPECT_EQ(sink.Texts(), (std::vector<std::string>{"Filename does not contain a valid extension.",
                                                    "Unable to open AVI file.\nNo file name",
                                                    "This video appears to be " + kLayoutTail}));
  EXPECT_EQ(QStringList({main.CurrentFile(), main.windowTitle(), main.Bar().windowTitle()}),
            QStringList({"", "Quorvex - ", "Toolbar"}));
  EXPECT_EQ(main.Bar().ProgressBar()->maximum(), 1);
  EXPECT_TRUE(Item("Format", "2D")->isChecked());
}

TEST_F(PlayerWindows, PlayBuildsTheRequestFromTheMenusTheGlassesAndTheBar) {
  Item("Play", "Start")->trigger();
  EXPECT_EQ(sink.Texts(),
            std::vector<std::string>{"Please select a video file to play first. (File>Open)"});
  EXPECT_TRUE(requests.empty());
  EXPECT_EQ(main.Bar().VidState, 1);

  main.OpenFile(Clip("sbs_scene.mkv"));
  main.Bar().SetPosition(3.7);
  Item("Play", "Start")->trigger();
  ASSERT_EQ(requests.size(), 1u);
  const PlaybackRequest& r = requests[0];
  EXPECT_EQ(std::tuple(r.FileName, r.AudioFile),
            std::tuple(Media("sbs_scene.mkv"), Media("sbs_scene.mkv")));
  EXPECT_EQ(std::tuple(r.InputFormat, r.OutputMethod, r.Fullscreen, r.StartOffset),
            std::tuple(InputFormat::Parallel, OutputMethod::AnaglyphRedGreen, false, 3));
  EXPECT_EQ(std::tuple(r.ResizeFactor, r.OptionFlagA, r.OptionFlagB, r.FrameRate),
            std::tuple(1.0, false, false, 24.0));
  EXPECT_EQ(std::tuple(r.RepeatMode, r.AudioSource, r.AudioSync, r.UseStreamRate, r.OptionMode),
            std::tuple(0, 3, 1, 1, 0));

  // Full screen takes the glasses' full-screen method; glasses the table lacks keep the last one.
  gDisplay.GlassesType = 7;
  Item("Format", "Above/Below")->trigger();
  Item("View", "Fullscreen")->trigger();
  gDisplay.GlassesType = 9;
  main.VideoPlay(false);
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(std::tuple(requests[1].InputFormat, requests[1].OutputMethod, requests[1].Fullscreen),
            std::tuple(InputFormat::AboveBelow, OutputMethod::NvidiaStereo, true));
  // OnStop left the bar at CurrentFrame.
  EXPECT_EQ(std::pair(requests[2].OutputMethod, requests[2].StartOffset),
            std::pair(OutputMethod::NvidiaStereo, 0));

  // Names that go through the script bridge play the script, with the file's own sound.
  main.OpenFile(Clip("sbs_scene.mpg"));
  main.VideoPlay(false);
  EXPECT_EQ(requests.back().AudioFile, Media("sbs_scene.mpg"));
  EXPECT_EQ(std::filesystem::path(requests.back().FileName).parent_path(), dir.File("Quorvex"));
  EXPECT_EQ(ReadScriptTarget(requests.back().FileName), Media("sbs_scene.mpg"));
}

TEST_F(PlayerWindows, BarCaptionShowsPositionAndLengthAsHoursMinutesSeconds) {
  // Half seconds round to the even second.
  const auto at25 = [](double frames) { return ControlBar::FormatTime(frames, 25); };
  EXPECT_EQ(QStringList({at25(65 * 25), at25(3 * 3600 * 25 + 25 * 61), at25(12.5), at25(37.5)}),
            QStringList({"0:1:5", "3:1:1", "0:0:0", "0:0:2"}));
  EXPECT_EQ(ControlBar::FormatTime(100, 0), "");
}

TEST_F(PlayerWindows, BarAreasAnswerOnlyStrictlyInsideTheirEdges) {
  const ControlBar& bar = main.Bar();
  const ControlBarArt& art = bar.Art();
  ASSERT_EQ(art.picture.size(), bar.Picture()->size());
  using Area = ControlBar::Area;
  for (const auto& [r, area] : {std::pair{art.move1, Area::Move}, {art.move2, Area::Move},
                                {art.play, Area::Play}, {art.stop, Area::Stop},
                                {art.full, Area::Full}, {art.open, Area::Open}}) {
    const int l = r.left(), t = r.top(), cx = r.center().x(), cy = r.center().y();
    const int right = l + r.width(), bottom = t + r.height();
    for (const QPoint edge : {QPoint(l, cy), QPoint(right, cy), QPoint(cx, t), QPoint(cx, bottom)})
      EXPECT_NE(bar.AreaAt(edge), area) << edge.x() << "," << edge.y();
    for (const QPoint in : {QPoint(l + 1, t + 1), QPoint(right - 1, bottom - 1), QPoint(cx, cy)})
      EXPECT_EQ(bar.AreaAt(in), area) << in.x() << "," << in.y();
  }
}

TEST_F(PlayerWindows, BarButtonsDoTheirCommandsAndClosingOnlyHidesTheBar) {
  ControlBar& bar = main.Bar();
  const ControlBarArt art = bar.Art();
  chosen = Clip("ab_scene.mkv");
  ClickArea(art.open);
  EXPECT_EQ(std::pair(chooserCalls, main.CurrentFile()), std::pair(1, chosen));
  bar.move(bar.pos() + QPoint(70, 90));
  ClickArea(art.move2);
  EXPECT_EQ(bar.frameGeometry().topLeft(), main.frameGeometry().bottomLeft() + QPoint(0, 1));
  EXPECT_TRUE(requests.empty());

  // Closing the bar hides it; View>Control Bar brings it back.
  bar.close();
  EXPECT_FALSE(bar.isVisible() || Item("View", "Control Bar")->isChecked());
  Item("View", "Control Bar")->trigger();
  EXPECT_TRUE(bar.isVisible() && Item("View", "Control Bar")->isChecked());

  // Full while stopped plays full screen at once.
  ClickArea(art.full);
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_TRUE(requests[0].Fullscreen);

  // Resizing the window docks the bar again; the background picture leaves half an inch free.
  bar.move(bar.pos() + QPoint(70, 90));
  main.resize(main.width() + 40, main.height() + 30);
  EXPECT_EQ(bar.frameGeometry().topLeft(), main.frameGeometry().bottomLeft() + QPoint(0, 1));
  EXPECT_EQ(main.BackImage()->geometry(),
            QRect(0, 0, main.PictureArea()->width(),
                  main.PictureArea()->height() - ToInt32Checked(720 / screen.TwipsPerPixelY())));
}

TEST_F(PlayerWindows, PressOnTheProgressBarSeeksOnlyWithAFile) {
  ControlBar& bar = main.Bar();
  QProgressBar* progress = bar.ProgressBar();
  QTest::mousePress(progress, Qt::LeftButton, {}, QPoint(progress->width() / 2, 3));
  EXPECT_EQ(bar.Position(), 0);

  main.OpenFile(Clip("sbs_scene.mkv"));
  const int x = progress->width() * 9 / 20;
  QTest::mousePress(progress, Qt::LeftButton, {}, QPoint(x, 3));
  EXPECT_DOUBLE_EQ(bar.Position(), 10.0 * x / progress->width());
  EXPECT_EQ(progress->value(), 4);
  main.VideoPlay(false);
  EXPECT_EQ(requests.at(0).StartOffset, 4);
}

TEST_F(PlayerWindows, StatisticsAndHelpOpenFromTheMenus) {
  QStringList lines;
  QTimer::singleShot(0, [&] {
    auto* profiler = qobject_cast<StatisticsWindow*>(QApplication::activeModalWidget());
    ASSERT_NE(profiler, nullptr);
    for (int i = 0; i < profiler->StatsList()->count(); ++i)
      lines << profiler->StatsList()->item(i)->text();
    profiler->close();
  });
  Item("View", "Statistics")->trigger();
  EXPECT_EQ(lines, QStringList({"Get Frame: 0", "Decode: 0", "Encode: 0", "Put: 0"}));

  UrlRecorder recorder;
  QDesktopServices::setUrlHandler("file", &recorder, "open");
  Item("Help", "Contents")->trigger();
  QDesktopServices::unsetUrlHandler("file");
  ASSERT_EQ(recorder.urls.size(), 1);
  EXPECT_TRUE(recorder.urls[0].toLocalFile().endsWith("/docs/manual.html"));
  EXPECT_TRUE(sink.messages.empty());
}

TEST_F(PlayerWindows, DroppedDirectoriesAndNonVideosGiveMessagesAndAreForgotten) {
  std::ofstream(dir.File("notes.txt")) << "not a video\n";
  for (const std::string& path : {dir.Path().string(), dir.File("notes.txt")}) {
    sink.messages.clear();
    Drop(QString::fromStdString(path));
    EXPECT_EQ(main.DroppedFile().toStdString(), path);
    ASSERT_FALSE(sink.messages.empty()) << path;
    EXPECT_EQ(sink.Texts().back(), "This video appears to be " + kLayoutTail);
    EXPECT_EQ(QStringList({main.CurrentFile(), main.windowTitle()}),
              QStringList({"", "Quorvex - "}));
  }
  Drop(Clip("sbs_scene.mkv"));
  EXPECT_EQ(main.CurrentFile().toStdString(), Media("sbs_scene.mkv"));
}

TEST_F(PlayerWindows, AVanishedFileOrNonsenseSettingsGiveAMessageAndThePlayerGoesOn) {
  UseRealSessions();
  const std::string copy = dir.File("clip.mkv");
  std::filesystem::copy_file(Media("sbs_scene.mkv"), copy);
  main.OpenFile(QString::fromStdString(copy));
  std::filesystem::remove(copy);
  sink.messages.clear();
  main.VideoPlay(false);
  ASSERT_FALSE(sink.messages.empty());
  EXPECT_EQ(sink.Texts()[0].rfind("An error occurred in OpenVideo. ", 0), 0u) << sink.Texts()[0];
  EXPECT_FALSE(main.Bar().IsPlayingState());
  EXPECT_TRUE(main.BackImage()->isVisible());

  // Settings edited into nonsense leave the glasses unknown, so a fresh window has no method.
  std::ofstream(dir.File("Quorvex.conf")) << "[3D]\nGlasses=banana\n\x01\x02=[[\n[DX7\nRes=huge\n";
  SettingsStore store(dir.File("Quorvex.conf"));
  DisplaySettingsModel model;
  gDisplay.GlassesType = 0;
  StartEngine(store, model);
  DisplaySettingsDialog dialog(model, store);
  EXPECT_EQ(gDisplay.GlassesType, 0);
  MainWindow fresh;
  fresh.OpenFile(Clip("sbs_scene.mkv"));
  sink.messages.clear();
  fresh.VideoPlay(false);
  EXPECT_EQ(sink.Texts().at(0), "Invalid output format.0");
  EXPECT_FALSE(fresh.Playback().Running());
}

TEST_F(PlayerWindows, ADropDuringAPlayStopsItBeforeTheFileIsOpened) {
  UseRealSessions();
  main.OpenFile(Clip("sbs_valley.mkv"));
  main.Bar().SetPosition(0);
  bool playingAtDrop = false;
  QTimer::singleShot(50, [&] {
    playingAtDrop = main.Playback().Running();
    Drop(Clip("ab_scene.mkv"));
    EXPECT_EQ(main.CurrentFile().toStdString(), Media("sbs_valley.mkv"));  // not yet
  });
  sink.messages.clear();
  main.VideoPlay(false);
  EXPECT_TRUE(playingAtDrop);
  QTRY_COMPARE(main.CurrentFile().toStdString(), Media("ab_scene.mkv"));
  EXPECT_TRUE(main.Bar().VidState == 1);
}

}  // namespace
}  // namespace qv

#include "PlayerWindowsTest.moc"
