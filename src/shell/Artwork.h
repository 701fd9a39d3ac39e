#pragma once
// The program's pictures, drawn as vector shapes when they are first needed: the control bar with
// its click areas, and an icon for every kind of glasses.

#include <QIcon>
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
// The main window's background picture, drawn over the backdrop: red/cyan glasses with a title
// and a hint under them.
void DrawWelcome(QPainter& painter, const QRect& area, const QString& title, const QString& hint);

// The icon of a glasses type (1 ... 7; anything else gives a plain frame).
QIcon GlassesIcon(int glassesType, int size = 32);

}  // namespace qv
