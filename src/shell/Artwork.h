#pragma once
// The program's pictures, drawn as vector shapes when they are first needed: the control bar with
// its click areas, and an icon for every kind of glasses.

#include <QIcon>
#include <QImage>
#include <QPixmap>
#include <QRect>
#include <QString>

class QPainter;

namespace qv {

// The control bar's picture and where its areas are, in the picture's pixels.
struct ControlBarArt {
  QPixmap picture;
  QRect open, play, stop, full, move1, move2;
};

ControlBarArt DrawControlBar(int width, int height, qreal devicePixelRatio = 1.0);

// The dark backdrop of the main window's picture area.
void DrawBackdrop(QPainter& painter, const QRect& area);
// The main window's background picture, drawn over the backdrop: the program's icon with a title
// and a hint under them.
void DrawWelcome(QPainter& painter, const QRect& area, const QString& title, const QString& hint);

// Draws the glasses of a type (1 ... 7; anything else gives a plain frame) into the square from
// (0, 0) to (size, size) of the painter's device.
void DrawGlasses(QPainter& painter, int glassesType, qreal size);

// The icon of a glasses type.
QIcon GlassesIcon(int glassesType, int size = 32);

// The program's icon, the red/cyan glasses: the window icon, the picture on the empty main window
// and the icons installed for the desktop are all drawn here.
void DrawAppIcon(QPainter& painter, qreal size);
// The sizes the desktop's icon theme asks for, in pixels.
inline constexpr int kAppIconSizes[] = {16, 22, 24, 32, 48, 64, 128, 256};
QImage AppIconImage(int size);
QIcon AppIcon();

}  // namespace qv
