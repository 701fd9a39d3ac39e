#pragma once
// The depth map window: where the user prepares the depth of a 2D video by hand (the conversion's
// options that take a user's depth map). It shows the frame with the depth image over it and lets
// the user paint depth levels with a round brush of a chosen size and level (255 nearest, 0
// farthest), fill the whole image with a level, or load a depth picture from a file (grey levels;
// a picture of another size is scaled to the frame's). The conversion goes on when it closes.
//
// The depth image is changed in place: levels go into all three channels of each pixel, as the
// conversion's depth images hold them.

#include <QDialog>
#include <QImage>

#include "convert/ConversionDriver.h"
#include "image/Picture.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QSpinBox;

namespace qv {

class DepthCanvas;

class DepthMapWindow : public QDialog {
  Q_OBJECT
 public:
  DepthMapWindow(const Picture& picture, Picture& depthImage, QWidget* parent = nullptr);

  // A brush stroke at pixel (x, y) of the frame, rows counted from the top.
  void PaintAt(int x, int y);
  void FillAll();
  // Loads a depth picture; false (after telling the user why) when the file cannot be read.
  bool LoadDepthPicture(const QString& fileName);

  QSpinBox* BrushSize() const { return brushSize_; }
  QSpinBox* BrushLevel() const { return brushLevel_; }
  QWidget* Canvas() const;

 private:
  void ChooseDepthPicture();
  void Refresh();

  const Picture& picture_;
  Picture& depth_;
  DepthCanvas* canvas_;
  QSpinBox* brushSize_;
  QSpinBox* brushLevel_;
  QCheckBox* showPicture_;
  QLabel* note_;
};

// The conversion's editor in the player: shows the depth map window, owned by `parent`.
class DepthMapWindowEditor : public DepthMapEditor {
 public:
  explicit DepthMapWindowEditor(QWidget* parent) : parent_(parent) {}
  void EditDepthMap(const Picture& picture, Picture& depthImage) override;
  void Beep() override;

 private:
  QWidget* parent_;
};

}  // namespace qv
