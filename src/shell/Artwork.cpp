#include "shell/Artwork.h"

#include <QFont>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

#include "playback/GlassesTypes.h"

namespace qv {

namespace {

const QColor kBarTop(0x3a, 0x3f, 0x47);
const QColor kBarBottom(0x1f, 0x23, 0x29);
const QColor kGlyph(0xe8, 0xec, 0xf1);
const QColor kAccent(0x4f, 0xa3, 0xff);

void DrawButton(QPainter& p, const QRectF& r, bool accent) {
  QLinearGradient face(r.topLeft(), r.bottomLeft());
  face.setColorAt(0, accent ? kAccent.lighter(115) : QColor(0x55, 0x5b, 0x66));
  face.setColorAt(1, accent ? kAccent.darker(125) : QColor(0x34, 0x39, 0x41));
  p.setPen(QPen(QColor(0, 0, 0, 90), 1));
  p.setBrush(face);
  p.drawRoundedRect(r, r.height() * 0.22, r.height() * 0.22);
}

void DrawGrip(QPainter& p, const QRectF& r) {
  p.setPen(Qt::NoPen);
  p.setBrush(QColor(255, 255, 255, 70));
  const qreal d = std::min(r.width(), r.height()) * 0.12;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 2; ++col) {
      const QPointF c(r.center().x() + (col - 0.5) * 3 * d, r.center().y() + (row - 1) * 3 * d);
      p.drawEllipse(c, d, d);
    }
  }
}

}  // namespace

ControlBarArt DrawControlBar(int width, int height, qreal devicePixelRatio) {
  ControlBarArt art;
  QPixmap pixmap(QSize(width, height) * devicePixelRatio);
  pixmap.setDevicePixelRatio(devicePixelRatio);
  pixmap.fill(Qt::transparent);
  QPainter p(&pixmap);
  p.setRenderHint(QPainter::Antialiasing);

  QLinearGradient back(0, 0, 0, height);
  back.setColorAt(0, kBarTop);
  back.setColorAt(1, kBarBottom);
  p.setPen(Qt::NoPen);
  p.setBrush(back);
  p.drawRect(QRectF(0, 0, width, height));

  const int pad = std::max(2, height / 8);
  const int size = height - 2 * pad;
  const int grip = std::max(8, size / 2);
  art.move1 = QRect(0, 0, grip + pad, height);
  art.move2 = QRect(width - grip - pad, 0, grip + pad, height);
  DrawGrip(p, art.move1);
  DrawGrip(p, art.move2);

  int x = art.move1.right() + 1 + pad;
  auto next = [&](QRect& area) {
    area = QRect(x, pad, size, size);
    x += size + pad;
  };
  next(art.open);
  x += pad;  // a little space between Open and the transport buttons
  next(art.play);
  next(art.stop);
  x = art.move2.left() - pad - size;
  art.full = QRect(x, pad, size, size);

  DrawButton(p, art.open, false);
  DrawButton(p, art.play, true);
  DrawButton(p, art.stop, false);
  DrawButton(p, art.full, false);

  p.setBrush(kGlyph);
  p.setPen(Qt::NoPen);
  const auto inset = [](const QRect& r, qreal f) {
    const qreal m = r.width() * f;
    return QRectF(r).adjusted(m, m, -m, -m);
  };
  // Open: a folder.
  {
    const QRectF g = inset(art.open, 0.24);
    QPainterPath folder;
    folder.moveTo(g.left(), g.top() + g.height() * 0.18);
    folder.lineTo(g.left() + g.width() * 0.38, g.top() + g.height() * 0.18);
    folder.lineTo(g.left() + g.width() * 0.48, g.top() + g.height() * 0.32);
    folder.lineTo(g.right(), g.top() + g.height() * 0.32);
    folder.lineTo(g.right(), g.bottom() - g.height() * 0.08);
    folder.lineTo(g.left(), g.bottom() - g.height() * 0.08);
    folder.closeSubpath();
    p.drawPath(folder);
  }
  // Play: a triangle.
  {
    const QRectF g = inset(art.play, 0.27);
    QPainterPath play;
    play.moveTo(g.left() + g.width() * 0.12, g.top());
    play.lineTo(g.right(), g.center().y());
    play.lineTo(g.left() + g.width() * 0.12, g.bottom());
    play.closeSubpath();
    p.drawPath(play);
  }
  // Stop: a square.
  p.drawRoundedRect(inset(art.stop, 0.3), 1.5, 1.5);
  // Full: four corner brackets.
  {
    const QRectF g = inset(art.full, 0.26);
    QPen pen(kGlyph, std::max<qreal>(1.5, size * 0.08), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    const qreal l = g.width() * 0.32;
    for (const QPointF& corner : {g.topLeft(), g.topRight(), g.bottomLeft(), g.bottomRight()}) {
      const qreal sx = corner.x() == g.left() ? 1 : -1;
      const qreal sy = corner.y() == g.top() ? 1 : -1;
      QPainterPath bracket;
      bracket.moveTo(corner.x() + sx * l, corner.y());
      bracket.lineTo(corner);
      bracket.lineTo(corner.x(), corner.y() + sy * l);
      p.drawPath(bracket);
    }
  }
  p.end();
  art.picture = pixmap;
  return art;
}

void DrawBackdrop(QPainter& p, const QRect& area) {
  QRadialGradient glow(area.center(), std::max(area.width(), area.height()) * 0.7);
  glow.setColorAt(0, QColor(0x2a, 0x2f, 0x38));
  glow.setColorAt(1, QColor(0x14, 0x16, 0x1a));
  p.fillRect(area, glow);
}

void DrawWelcome(QPainter& p, const QRect& area, const QString& title, const QString& hint) {
  p.save();
  p.setRenderHint(QPainter::Antialiasing);
  const int icon = std::clamp(std::min(area.width(), area.height()) / 3, 32, 128);
  const int textHeight = icon / 2;
  const int top = area.center().y() - (icon + textHeight) / 2;
  p.drawPixmap(area.center().x() - icon / 2, top, GlassesIcon(5, icon).pixmap(icon, icon));

  QFont titleFont = p.font();
  titleFont.setPixelSize(std::max(12, icon / 5));
  titleFont.setBold(true);
  p.setFont(titleFont);
  p.setPen(QColor(0xe8, 0xec, 0xf1));
  const QRect titleRect(area.left() + 8, top + icon, area.width() - 16,
                        titleFont.pixelSize() * 3 / 2);
  p.drawText(titleRect, Qt::AlignCenter,
             p.fontMetrics().elidedText(title, Qt::ElideMiddle, titleRect.width()));

  QFont hintFont = p.font();
  hintFont.setBold(false);
  hintFont.setPixelSize(std::max(10, icon / 9));
  p.setFont(hintFont);
  p.setPen(QColor(0x9a, 0xa3, 0xaf));
  p.drawText(
      QRect(area.left() + 8, titleRect.bottom() + 2, area.width() - 16, hintFont.pixelSize() * 2),
      Qt::AlignHCenter | Qt::AlignTop, hint);
  p.restore();
}

QIcon GlassesIcon(int glassesType, int size) {
  QPixmap pixmap(size, size);
  pixmap.fill(Qt::transparent);
  QPainter p(&pixmap);
  p.setRenderHint(QPainter::Antialiasing);
  const qreal s = size;
  const GlassesTypeInfo* type = FindGlassesType(glassesType);
  const QColor left = type != nullptr ? QColor::fromRgb(type->leftLens) : QColor(40, 44, 52);
  const QColor right = type != nullptr ? QColor::fromRgb(type->rightLens) : QColor(40, 44, 52);
  const QRectF leftLens(s * 0.06, s * 0.32, s * 0.38, s * 0.34);
  const QRectF rightLens(s * 0.56, s * 0.32, s * 0.38, s * 0.34);
  p.setPen(QPen(QColor(20, 20, 24), s * 0.06));
  p.setBrush(Qt::NoBrush);
  p.drawArc(QRectF(s * 0.42, s * 0.36, s * 0.16, s * 0.16), 0, 180 * 16);  // bridge, under the rims
  p.setBrush(left);
  p.drawRoundedRect(leftLens, s * 0.1, s * 0.1);
  p.setBrush(right);
  p.drawRoundedRect(rightLens, s * 0.1, s * 0.1);
  if (type != nullptr && type->shutter) {
    // Shutter glasses carry a small receiver on the bridge.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(230, 60, 60));
    p.drawEllipse(QPointF(s * 0.5, s * 0.3), s * 0.05, s * 0.05);
  }
  if (type != nullptr && type->type == GlassesType::GenericOpenGL) {
    // A monitor behind the glasses for generic quad-buffered stereo.
    p.setPen(QPen(QColor(20, 20, 24), s * 0.04));
    p.drawLine(QPointF(s * 0.2, s * 0.82), QPointF(s * 0.8, s * 0.82));
  }
  return QIcon(pixmap);
}

}  // namespace qv
