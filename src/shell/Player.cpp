#include "shell/Player.h"

#include <QApplication>
#include <QFileInfo>
#include <QPalette>
#include <QScreen>
#include <QStyleFactory>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

#include "base/Error.h"
#include "base/Seams.h"
#include "display/QtSeams.h"
#include "display/BlitSurface.h"
#include "display/NvidiaStereoSurface.h"
#include "display/OpenGLSurface.h"
#include "playback/SoundTrack.h"
#include "playback/Surfaces.h"
#include "shell/Artwork.h"
#include "shell/DisplaySettingsModel.h"
#include "shell/MainWindow.h"
#include "shell/ControlBar.h"
#include "shell/DisplaySettingsDialog.h"
#include "shell/QtSeams.h"
#include "shell/SettingsStore.h"
#include "shell/Startup.h"

#ifndef QUORVEX_VERSION
#define QUORVEX_VERSION "0.0.0"
#endif
#ifndef QUORVEX_APP_ID
#define QUORVEX_APP_ID "quorvex"
#endif

namespace qv {

namespace {

constexpr const char* kNoDisplay =
    "quorvex: no display to show the player on. Start it from a desktop session, or use "
    "'quorvex convert' or 'quorvex render', which need no display.\n";

// Without a platform named in the environment Qt looks for an X11 or Wayland display.
bool DisplayNamed() {
  return !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") ||
         !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// Qt ends the program with a fatal message when its platform cannot start (an X server that does
// not answer); while the application is made, that message becomes ours and a plain exit.
void FatalDisplayHandler(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type != QtFatalMsg) {
    std::fprintf(stderr, "%s\n", qPrintable(text));
    return;
  }
  std::fputs(kNoDisplay, stderr);
  std::fflush(stderr);
  std::_Exit(1);
}

void UseDarkLook(QApplication& app) {
  app.setStyle(QStyleFactory::create("Fusion"));
  QPalette dark;
  const QColor window(0x2b, 0x2f, 0x36), base(0x1f, 0x23, 0x29), text(0xe8, 0xec, 0xf1);
  dark.setColor(QPalette::Window, window);
  dark.setColor(QPalette::WindowText, text);
  dark.setColor(QPalette::Base, base);
  dark.setColor(QPalette::AlternateBase, window);
  dark.setColor(QPalette::ToolTipBase, base);
  dark.setColor(QPalette::ToolTipText, text);
  dark.setColor(QPalette::Text, text);
  dark.setColor(QPalette::Button, window);
  dark.setColor(QPalette::ButtonText, text);
  dark.setColor(QPalette::Highlight, QColor(0x4f, 0xa3, 0xff));
  dark.setColor(QPalette::HighlightedText, Qt::black);
  dark.setColor(QPalette::Link, QColor(0x4f, 0xa3, 0xff));
  dark.setColor(QPalette::Disabled, QPalette::Text, QColor(0x7a, 0x80, 0x8a));
  dark.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x7a, 0x80, 0x8a));
  dark.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x7a, 0x80, 0x8a));
  app.setPalette(dark);
}

}  // namespace

int RunPlayer(int argc, char** argv, const std::string& file) {
  if (!DisplayNamed()) {
    std::fputs(kNoDisplay, stderr);
    return 1;
  }
  static int qtArgc;  // QApplication keeps a reference to it
  qtArgc = argc;
  const QtMessageHandler previous = qInstallMessageHandler(FatalDisplayHandler);
  QApplication app(qtArgc, argv);
  qInstallMessageHandler(previous);
  QApplication::setApplicationName(kAppName);
  QApplication::setApplicationVersion(QUORVEX_VERSION);
  QApplication::setWindowIcon(AppIcon());
  // Desktops match the windows to the installed desktop entry and icon by this name.
  QGuiApplication::setDesktopFileName(QStringLiteral(QUORVEX_APP_ID));
  UseDarkLook(app);

  QtScreenInfo screen;
  QtEventPump pump;
  QtMessageSink messages;
  QtClipboard clipboard;
  SetScreenInfo(&screen);
  SetEventPump(&pump);
  SetMessageSink(&messages);
  SetClipboardHook(&clipboard);

  int status = 0;
  {
    MainWindow main;
    messages.SetParent(&main);
    SettingsStore store;
    DisplaySettingsModel model;
    StartEngine(store, model);
    DisplaySettingsDialog glassesSet(model, store, &main);
    main.SetSettingsDialog(&glassesSet);

    TheBlitSurface().SetTarget(main.PictureArea());
    SetDisplaySurface(SurfaceKind::Blit, &TheBlitSurface());
    TheOpenGLSurface().SetTarget(main.PictureArea());
    SetDisplaySurface(SurfaceKind::OpenGL, &TheOpenGLSurface());
    SetDisplaySurface(SurfaceKind::DirectX, &TheNvidiaStereoSurface());

    // The window and the bar under it start in the middle of the screen.
    if (const QScreen* primary = QGuiApplication::primaryScreen()) {
      const QRect free = primary->availableGeometry();
      main.move(free.center() -
                QPoint(main.width() / 2, (main.height() + main.Bar().height()) / 2));
    }
    main.show();
    main.Bar().show();
    main.TrackControlBar();
    QTimer::singleShot(0, &main, [] { OpenGLSurface::LoadDriver(); });
    if (!file.empty()) {
      // Dropped files come with their full path; so does this one.
      const QString name = QFileInfo(QString::fromStdString(file)).absoluteFilePath();
      QTimer::singleShot(0, &main, [&main, name] { main.DropFile(name); });
    }
    status = QApplication::exec();

    ReleaseSound();
    // A surface still open (the program ended during a play) puts the screen mode back here.
    SetDisplaySurface(SurfaceKind::Blit, nullptr);
    SetDisplaySurface(SurfaceKind::OpenGL, nullptr);
    SetDisplaySurface(SurfaceKind::DirectX, nullptr);
    TheBlitSurface().CloseDisplay();
    TheBlitSurface().SetTarget(nullptr);
    TheOpenGLSurface().CloseDisplay();
    TheOpenGLSurface().SetTarget(nullptr);
    TheNvidiaStereoSurface().CloseDisplay();
  }
  SetMessageSink(nullptr);
  SetClipboardHook(nullptr);
  SetEventPump(nullptr);
  SetScreenInfo(nullptr);
  return status;
}

}  // namespace qv
