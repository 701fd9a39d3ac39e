#pragma once
// The display settings dialog: widgets over DisplaySettingsModel. Loaded hidden at start-up (the
// stored settings reach the widgets through the model), shown modal from File>Settings, hidden by
// OK, which writes the settings.

#include <QDialog>

#include "shell/DisplaySettingsModel.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollBar;

namespace qv {

class SettingsStore;

class DisplaySettingsDialog : public QDialog {
  Q_OBJECT
 public:
  DisplaySettingsDialog(DisplaySettingsModel& model, SettingsStore& store, QWidget* parent = nullptr);

  // Shows the model's state in the widgets (after LoadSettings changed the model directly).
  void SyncFromModel();

  QComboBox* GlassesList() const { return glassesList_; }
  QComboBox* ColourDepthList() const { return colourDepthList_; }
  QComboBox* ResolutionList() const { return resolutionList_; }
  QComboBox* RefreshList() const { return refreshList_; }
  QScrollBar* VertOffsetBar() const { return vertOffsetBar_; }
  QLineEdit* VertOffsetBox() const { return vertOffsetBox_; }
  QLabel* MegaPixelLabel() const { return megaPixelLabel_; }
  QPushButton* OkButton() const { return okButton_; }

 private:
  void Confirm();

  DisplaySettingsModel& model_;
  SettingsStore& store_;
  QComboBox* glassesList_;
  QComboBox* colourDepthList_;
  QComboBox* resolutionList_;
  QComboBox* refreshList_;
  QScrollBar* vertOffsetBar_;
  QLineEdit* vertOffsetBox_;
  QLabel* megaPixelLabel_;
  QPushButton* okButton_;
};

}  // namespace qv
