// The player as a user meets it: build/quorvex started on a side-by-side clip in an X server of
// its own, driven by synthesised clicks (xdotool), watched through screenshots of the whole screen
// (ImageMagick's import), which are kept beside this test program for a person to look at.
#include <gtest/gtest.h>

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <fstream>

#include "shell/Artwork.h"
#include "shell/ControlBar.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

constexpr int kBoxWidth = 64, kBoxHeight = 48;

// Each eye sees a textured scene (so that the clip reads as side by side) with two boxes: where
// the left eye sees white the right sees black and the other way round. A red/cyan anaglyph turns
// them into a pure red and a pure cyan box.
QString SideBySideClipFilter() {
  return QString(
             "[0]format=rgb24,split[a][b];"
             "[a]crop=320:240:0:0,drawbox=x=40:y=150:w=%1:h=%2:color=white:t=fill,"
             "drawbox=x=200:y=150:w=%1:h=%2:color=black:t=fill[l];"
             "[b]crop=320:240:4:0,drawbox=x=40:y=150:w=%1:h=%2:color=black:t=fill,"
             "drawbox=x=200:y=150:w=%1:h=%2:color=white:t=fill[r];[l][r]hstack")
      .arg(kBoxWidth)
      .arg(kBoxHeight);
}

int CountPixels(const QImage& image, QRgb colour) {
  int count = 0;
  for (int y = 0; y < image.height(); ++y) {
    const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
    for (int x = 0; x < image.width(); ++x) count += (row[x] & 0xffffff) == (colour & 0xffffff);
  }
  return count;
}

class PlayerEndToEnd : public ::testing::Test {
 protected:
  void SetUp() override {
    // A home of its own: the user's settings and scripts are left alone.
    const QString dir = QString::fromStdString(home.Path().string());
    for (const auto& [name, value] : {std::pair<QString, QString>{"HOME", dir},
                                      {"XDG_CONFIG_HOME", dir + "/config"},
                                      {"XDG_DATA_HOME", dir + "/data"},
                                      {"XDG_RUNTIME_DIR", dir},
                                      {"SDL_AUDIODRIVER", "dummy"},
                                      {"QT_QPA_PLATFORM", "xcb"},
                                      {"DBUS_SESSION_BUS_ADDRESS", "disabled:"}})
      env.insert(name, value);
    QDir().mkpath(dir + "/config/Quorvex");
    std::ofstream(home.File("config/Quorvex/Quorvex.conf")) << "[3D]\nGlasses=5\n";
    clip = home.File("side-by-side.mkv");
    ASSERT_EQ(Run("ffmpeg", {"-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                             "testsrc2=size=328x240:rate=25:duration=8", "-filter_complex",
                             SideBySideClipFilter(), "-c:v", "ffv1", "-pix_fmt", "bgr0",
                             QString::fromStdString(clip)}),
              "");
  }
  void TearDown() override {
    if (player.state() != QProcess::NotRunning) {
      player.kill();
      player.waitForFinished(5000);
    }
  }

  // Runs a tool to its end and returns what it printed.
  QString Run(const QString& program, const QStringList& args) {
    QProcess tool;
    tool.setProcessEnvironment(env);
    tool.start(program, args);
    EXPECT_TRUE(tool.waitForFinished(60000)) << program.toStdString();
    return QString::fromUtf8(tool.readAllStandardOutput()).trimmed();
  }
  QString Xdo(const QStringList& args) { return Run("xdotool", args); }

  // The first window whose name matches, once there is one.
  QString WaitForWindow(const QString& pattern) {
    for (int i = 0; i < 100; ++i) {
      const QString ids = Xdo({"search", "--name", pattern});
      if (!ids.isEmpty()) return ids.split('\n').first();
      QTest::qWait(100);
    }
    ADD_FAILURE() << "no window named " << pattern.toStdString();
    return {};
  }
  QString NameOf(const QString& window) { return Xdo({"getwindowname", window}); }
  QString BarName() { return NameOf(WaitForWindow("^Toolbar")); }
  static bool Matches(const QString& text, const QString& pattern) {
    return QRegularExpression(pattern).match(text).hasMatch();
  }
  // Clicks the middle of an area of the control bar's picture, which fills the bar's bottom.
  void ClickBar(QRect ControlBarArt::*area) {
    const QString bar = WaitForWindow("^Toolbar");
    const QString shell = Xdo({"getwindowgeometry", "--shell", bar});
    const auto value = [&](const char* key) {
      return QRegularExpression(QString(key) + "=(\\d+)").match(shell).captured(1).toInt();
    };
    const QPoint at = (DrawControlBar(value("WIDTH"), ControlBar::kPictureHeight).*area).center() +
                      QPoint(0, value("HEIGHT") - ControlBar::kPictureHeight);
    Xdo({"mousemove", "--window", bar, QString::number(at.x()), QString::number(at.y()), "click",
         "1"});
  }
  QImage Screenshot(const QString& name) {
    const QString path = QUORVEX_SCREENSHOT_DIR "/" + name;
    Run("import", {"-window", "root", path});
    return QImage(path).convertToFormat(QImage::Format_RGB32);
  }

  // After a stop the caption shows a position in `seconds` and stays there; the anaglyph is gone.
  void ExpectStopped(const QString& seconds, const QString& screenshot) {
    QTest::qWait(500);
    const QString stopped = BarName();
    EXPECT_TRUE(Matches(stopped, "^Toolbar \\(0:0:[" + seconds + "] / 0:0:8\\)$"))
        << stopped.toStdString();
    QTest::qWait(500);
    EXPECT_EQ(BarName(), stopped) << "the bar moves on after the stop";
    EXPECT_LT(CountPixels(Screenshot(screenshot), qRgb(255, 0, 0)), kBoxWidth * kBoxHeight / 10);
  }

  TempDir home;
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  std::string clip;
  QProcess player;
};

TEST_F(PlayerEndToEnd, PlaysASideBySideClipAsARedCyanAnaglyphUntilStopped) {
  player.setProcessEnvironment(env);
  player.setProcessChannelMode(QProcess::ForwardedChannels);
  player.start(QUORVEX_PROGRAM, {QString::fromStdString(clip)});
  ASSERT_TRUE(player.waitForStarted());

  // The guessed layout is announced in a message box; Return answers it.
  const QString main = WaitForWindow("^Quorvex$");
  const QString opened = "Quorvex - " + QString::fromStdString(clip);
  for (int i = 0; i < 50 && NameOf(main) != opened; ++i) {
    Xdo({"key", "Return"});
    QTest::qWait(200);
  }
  ASSERT_EQ(NameOf(main), opened);
  EXPECT_EQ(BarName(), "Toolbar (0:0:0 / 0:0:8)");
  EXPECT_EQ(CountPixels(Screenshot("player-opened.png"), qRgb(255, 0, 0)), 0);

  ClickBar(&ControlBarArt::play);
  bool moving = false;
  for (int i = 0; i < 100 && !moving; ++i, QTest::qWait(100))
    moving = Matches(BarName(), "^Toolbar \\(0:0:[1-7] / 0:0:8\\)$");
  EXPECT_TRUE(moving);
  const QImage playing = Screenshot("player-playing.png");
  const int box = kBoxWidth * kBoxHeight;
  EXPECT_GE(CountPixels(playing, qRgb(255, 0, 0)), box);
  EXPECT_GE(CountPixels(playing, qRgb(0, 255, 255)), box);

  ClickBar(&ControlBarArt::stop);
  ExpectStopped("1-7", "player-stopped.png");
  EXPECT_EQ(NameOf(main), opened);

  // Full during a play stops it and plays on full screen from where it stood; a click in the
  // picture stops that play.
  ClickBar(&ControlBarArt::play);
  QTest::qWait(500);
  ClickBar(&ControlBarArt::full);
  QImage fullscreen;
  for (int i = 0; i < 20 && CountPixels(fullscreen, qRgb(255, 0, 0)) < 4 * box; ++i) {
    QTest::qWait(250);
    fullscreen = Screenshot("player-fullscreen.png");
  }
  EXPECT_GE(CountPixels(fullscreen, qRgb(255, 0, 0)), 4 * box);
  EXPECT_GE(CountPixels(fullscreen, qRgb(0, 255, 255)), 4 * box);
  Xdo({"mousemove", QString::number(fullscreen.width() / 2),
       QString::number(fullscreen.height() / 2), "click", "1"});
  ExpectStopped("1-8", "player-after-fullscreen.png");

  // Ctrl+Q is File>Exit.
  Xdo({"windowfocus", "--sync", main});
  Xdo({"key", "ctrl+q"});
  ASSERT_TRUE(player.waitForFinished(10000));
  EXPECT_EQ(player.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(player.exitCode(), 0);
}

}  // namespace
}  // namespace qv::test
