#include "shell/DepthMapWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <cstring>

#include "base/Seams.h"

namespace qv {

// Shows the frame and its depth, scaled to fit, and turns presses and drags into brush strokes at
// frame pixels.
class DepthCanvas : public QWidget {
 public:
  DepthCanvas(DepthMapWindow& window, int frameWidth, int frameHeight)
      : QWidget(&window), window_(window), frameWidth_(frameWidth), frameHeight_(frameHeight) {
    const double fit = std::min({1.0, 960.0 / std::max(frameWidth, 1), 540.0 / std::max(frameHeight, 1)});
    setFixedSize(std::max(1, static_cast<int>(frameWidth * fit)), std::max(1, static_cast<int>(frameHeight * fit)));
    setCursor(Qt::CrossCursor);
  }
  void Show(QImage image) {
    image_ = std::move(image);
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.drawImage(rect(), image_);
  }
  void mousePressEvent(QMouseEvent* event) override { Stroke(event->position()); }
  void mouseMoveEvent(QMouseEvent* event) override {
    if (event->buttons() & Qt::LeftButton) Stroke(event->position());
  }

 private:
  void Stroke(QPointF at) {
    window_.PaintAt(static_cast<int>(at.x() * frameWidth_ / width()),
                    static_cast<int>(at.y() * frameHeight_ / height()));
  }

  DepthMapWindow& window_;
  int frameWidth_;
  int frameHeight_;
  QImage image_;
};

DepthMapWindow::DepthMapWindow(const Picture& picture, Picture& depthImage, QWidget* parent)
    : QDialog(parent), picture_(picture), depth_(depthImage) {
  setWindowTitle(tr("Depth Map"));
  if (depth_.Width() != picture_.Width() || depth_.Height() != picture_.Height()) {
    depth_.Create(picture_.Width(), picture_.Height());
  }
  canvas_ = new DepthCanvas(*this, picture_.Width(), picture_.Height());

  brushSize_ = new QSpinBox(this);
  brushSize_->setRange(1, 400);
  brushSize_->setValue(std::max(4, picture_.Width() / 40));
  brushSize_->setSuffix(tr(" px"));
  brushLevel_ = new QSpinBox(this);
  brushLevel_->setRange(0, 255);
  brushLevel_->setValue(200);
  brushLevel_->setToolTip(tr("255 is nearest to the viewer, 0 farthest"));
  showPicture_ = new QCheckBox(tr("Show the picture"), this);
  showPicture_->setChecked(true);
  auto* fill = new QPushButton(tr("Fill"), this);
  auto* load = new QPushButton(tr("Load depth picture..."), this);
  auto* ok = new QPushButton(tr("OK"), this);
  ok->setDefault(true);
  note_ = new QLabel(this);

  auto* tools = new QHBoxLayout;
  tools->addWidget(new QLabel(tr("Brush size:"), this));
  tools->addWidget(brushSize_);
  tools->addWidget(new QLabel(tr("Depth level:"), this));
  tools->addWidget(brushLevel_);
  tools->addWidget(fill);
  tools->addWidget(showPicture_);
  tools->addStretch(1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(load);
  buttons->addWidget(note_, 1);
  buttons->addWidget(ok);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(tools);
  layout->addWidget(canvas_, 0, Qt::AlignCenter);
  layout->addLayout(buttons);

  connect(fill, &QPushButton::clicked, this, [this] { FillAll(); });
  connect(load, &QPushButton::clicked, this, [this] { ChooseDepthPicture(); });
  connect(showPicture_, &QCheckBox::toggled, this, [this] { Refresh(); });
  connect(ok, &QPushButton::clicked, this, &QDialog::accept);
  Refresh();
}

QWidget* DepthMapWindow::Canvas() const { return canvas_; }

void DepthMapWindow::PaintAt(int x, int y) {
  const PixelGrid grid = depth_.Grid();
  if (grid.Empty()) return;
  const int radius = brushSize_->value() / 2;
  const auto level = static_cast<uint8_t>(brushLevel_->value());
  for (int row = std::max(0, y - radius); row <= std::min(grid.height - 1, y + radius); ++row) {
    uint8_t* pixels = grid.DeviceRow(row);
    for (int column = std::max(0, x - radius); column <= std::min(grid.width - 1, x + radius); ++column) {
      const int dx = column - x, dy = row - y;
      if (dx * dx + dy * dy > radius * radius) continue;
      std::memset(pixels + 3 * column, level, 3);
    }
  }
  Refresh();
}

void DepthMapWindow::FillAll() {
  const PixelGrid grid = depth_.Grid();
  for (int row = 0; row < grid.height; ++row) {
    std::memset(grid.MemoryRow(row), brushLevel_->value(), static_cast<size_t>(3) * grid.width);
  }
  Refresh();
}

bool DepthMapWindow::LoadDepthPicture(const QString& fileName) {
  QImage image(fileName);
  if (image.isNull()) {
    MsgBox("The depth picture " + fileName.toStdString() + " could not be read.");
    return false;
  }
  const int W = depth_.Width(), H = depth_.Height();
  note_->clear();
  if (image.width() != W || image.height() != H) {
    note_->setText(tr("Scaled from %1 x %2 to the frame's %3 x %4.")
                       .arg(image.width()).arg(image.height()).arg(W).arg(H));
    image = image.scaled(W, H, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
  }
  image = image.convertToFormat(QImage::Format_Grayscale8);
  const PixelGrid grid = depth_.Grid();
  for (int row = 0; row < grid.height; ++row) {
    const uchar* levels = image.constScanLine(row);
    uint8_t* pixels = grid.DeviceRow(row);
    for (int column = 0; column < grid.width; ++column) std::memset(pixels + 3 * column, levels[column], 3);
  }
  Refresh();
  return true;
}

void DepthMapWindow::ChooseDepthPicture() {
  const QString file = QFileDialog::getOpenFileName(this, tr("Load depth picture"), QString(),
                                                    tr("Pictures (*.png *.bmp *.jpg *.jpeg *.tif *.tiff);;All files (*)"));
  if (!file.isEmpty()) LoadDepthPicture(file);
}

// The depth in grey, with the picture shown through it at half strength when asked.
void DepthMapWindow::Refresh() {
  const int W = depth_.Width(), H = depth_.Height();
  QImage image(std::max(W, 1), std::max(H, 1), QImage::Format_RGB888);
  image.fill(Qt::black);
  const PixelGrid depth = depth_.ReadGrid();
  const PixelGrid picture = picture_.ReadGrid();
  const bool blend = showPicture_->isChecked() && !picture.Empty() && picture.width == W && picture.height == H;
  for (int row = 0; row < H && !depth.Empty(); ++row) {
    const uint8_t* levels = depth.DeviceRow(row);
    const uint8_t* colours = blend ? picture.DeviceRow(row) : nullptr;
    uchar* out = image.scanLine(row);
    for (int column = 0; column < W; ++column) {
      const int level = levels[3 * column];
      for (int c = 0; c < 3; ++c) {
        const int colour = blend ? colours[3 * column + 2 - c] : level;
        out[3 * column + c] = static_cast<uchar>((level + colour) / 2);
      }
    }
  }
  canvas_->Show(std::move(image));
}

void DepthMapWindowEditor::EditDepthMap(const Picture& picture, Picture& depthImage) {
  DepthMapWindow window(picture, depthImage, parent_);
  window.exec();
}

void DepthMapWindowEditor::Beep() {
  QApplication::beep();
}

}  // namespace qv
