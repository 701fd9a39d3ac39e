#include "display/QtSeams.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>

namespace qv {

namespace {
constexpr double kTwipsPerInch = 1440.0;
constexpr double kUsualTwipsPerPixel = 15.0;
}  // namespace

void QtEventPump::ProcessEvents() {
  QCoreApplication::processEvents();
}

int32_t QtScreenInfo::WidthPixels() const {
  const QScreen* screen = QGuiApplication::primaryScreen();
  return screen ? screen->geometry().width() : 0;
}

int32_t QtScreenInfo::HeightPixels() const {
  const QScreen* screen = QGuiApplication::primaryScreen();
  return screen ? screen->geometry().height() : 0;
}

double QtScreenInfo::TwipsPerPixelX() const {
  const QScreen* screen = QGuiApplication::primaryScreen();
  const double dpi = screen ? screen->logicalDotsPerInchX() : 0.0;
  return dpi > 0 ? kTwipsPerInch / dpi : kUsualTwipsPerPixel;
}

double QtScreenInfo::TwipsPerPixelY() const {
  const QScreen* screen = QGuiApplication::primaryScreen();
  const double dpi = screen ? screen->logicalDotsPerInchY() : 0.0;
  return dpi > 0 ? kTwipsPerInch / dpi : kUsualTwipsPerPixel;
}

}  // namespace qv
